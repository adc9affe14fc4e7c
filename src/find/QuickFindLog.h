#pragma once

#include <QByteArrayView>
#include <QStringList>

// "quickfind.log" in the home: the phrases Find Files... offers in its list, one a line, in UTF-8.
namespace QuickFindLog {

// The phrases the log's bytes hold, in their order: every line that is not empty.
QStringList Phrases(QByteArrayView bytes);

} // namespace QuickFindLog
