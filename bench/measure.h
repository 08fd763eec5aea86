// Wall times, their medians, and failures that end the program.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace tarn::bench {

inline void require(bool holds, const char *what)
{
    if (!holds) {
        fprintf(stderr, "failed: %s\n", what);
        exit(1);
    }
}

template <class Work> double secondsOf(Work work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <class Work> double medianSecondsOf(size_t runs, Work work)
{
    std::vector<double> times;
    for (size_t run = 0; run < runs; ++run) {
        times.push_back(secondsOf(work));
    }
    return median(times);
}

} // namespace tarn::bench
