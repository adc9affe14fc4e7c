#pragma once

#include <QString>

// A file's description as bookmarks and window titles show it: 51 characters or more become the
// first 47 and "...", so the text fits the bookmark's 50-character column.
QString ShortDesc(const QString &desc);
