#pragma once

#include <QString>

// The order in which people expect names listed: case and accents do not matter and numbers
// compare by value ("Quest 2" before "Quest 10"). Names equal in that order fall back to a plain
// comparison, so the order is total and the same on every machine, whatever its locale.
bool NaturalLess(const QString &a, const QString &b);
