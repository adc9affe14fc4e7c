#include "BenchReport.h"

#include <cstdio>

QString BenchReport::line(const QString &suite, const QString &name, double oursMs, double baselineMs)
{
    // QString::number ignores the user's locale, so the figures always use a decimal point.
    const QString ratio = baselineMs > 0 ? QString::number(oursMs / baselineMs, 'f', 2) : QStringLiteral("inf");
    return suite + QLatin1Char('/') + name + QStringLiteral(" ours_ms=") + QString::number(oursMs, 'f', 3) +
           QStringLiteral(" baseline_ms=") + QString::number(baselineMs, 'f', 3) + QStringLiteral(" ratio=") + ratio;
}

void BenchReport::print(const QString &suite, const QString &name, double oursMs, double baselineMs)
{
    std::fputs((line(suite, name, oursMs, baselineMs) + QLatin1Char('\n')).toUtf8().constData(), stdout);
    std::fflush(stdout);
}

void BenchReport::note(const QString &text)
{
    std::fputs((text + QLatin1Char('\n')).toLocal8Bit().constData(), stderr);
}
