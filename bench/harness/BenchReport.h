#pragma once

#include <QString>

// The one line a measurement prints, in the form every suite shares so that scripts can compare
// runs: "SUITE/NAME ours_ms=A baseline_ms=B ratio=R".
class BenchReport final
{
public:
    static QString line(const QString &suite, const QString &name, double oursMs, double baselineMs);
    // Writes the line to standard output at once; nothing else ever goes there.
    static void print(const QString &suite, const QString &name, double oursMs, double baselineMs);
    // Progress and notes, on standard error.
    static void note(const QString &text);
};
