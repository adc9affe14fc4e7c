#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QStringList>

struct ErrObject;

// "quickfind.log" in the home: the phrases Find Files... offers in its list, one a line, in UTF-8,
// the latest search first.
namespace QuickFindLog {

// How many phrases the log keeps.
constexpr int MaxPhrases = 25;

// The phrases the log's bytes hold, in their order: every line that is not empty.
QStringList Phrases(QByteArrayView bytes);
// The log's bytes for `phrases`: one a line, each ended by CR LF.
QByteArray Bytes(const QStringList &phrases);
// `phrases` with `phrase` at the top: its older place (same case) dropped, the list cut to MaxPhrases.
QStringList Remember(QStringList phrases, const QString &phrase);
// Puts `phrase` at the top of the log at `path`; the log is replaced whole or left as it was.
bool Add(const QString &path, const QString &phrase, ErrObject *err);

} // namespace QuickFindLog
