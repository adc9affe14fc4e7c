#pragma once

#include <functional>
#include <optional>

// Times one operation the same way for every suite: a warm-up call that fills the caches and
// is not counted, then a number of timed calls, of which the median is kept.
class BenchTimer final
{
public:
    static constexpr int DefaultRuns = 7;

    // The median of `runs` timed calls of `op`, in milliseconds; nothing when a call returns false.
    // `tidy`, when given, runs after every call, outside the timing: it undoes what a call leaves
    // behind that the next call should not find (a window, say).
    static std::optional<double> medianMs(const std::function<bool()> &op, int runs = DefaultRuns,
                                          const std::function<void()> &tidy = {});
};
