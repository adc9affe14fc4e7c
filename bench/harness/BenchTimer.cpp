#include "BenchTimer.h"

#include <QElapsedTimer>
#include <QVector>

#include <algorithm>

std::optional<double> BenchTimer::medianMs(const std::function<bool()> &op, int runs, const std::function<void()> &tidy)
{
    if (runs < 1)
        return std::nullopt;
    const bool warmed = op();
    if (tidy)
        tidy();
    if (!warmed)
        return std::nullopt;
    QVector<qint64> nanoseconds;
    nanoseconds.reserve(runs);
    QElapsedTimer clock;
    for (int i = 0; i < runs; ++i) {
        clock.start();
        const bool ok = op();
        nanoseconds.append(clock.nsecsElapsed());
        if (tidy)
            tidy();
        if (!ok)
            return std::nullopt;
    }
    std::sort(nanoseconds.begin(), nanoseconds.end());
    const int middle = runs / 2;
    const double median = runs % 2 == 1 ? double(nanoseconds.at(middle))
                                        : (double(nanoseconds.at(middle - 1)) + double(nanoseconds.at(middle))) / 2;
    return median / 1e6;
}
