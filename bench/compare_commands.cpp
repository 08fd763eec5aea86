// compare_commands RUNS COMMAND BASELINE: runs two shell commands in turn, A B A B ..., and prints the median wall time
// and peak memory of each and the median of the pairwise ratios, of the wall and of the processor time. Both get one
// run that is not counted.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "measure.h"

using tarn::bench::median;

namespace {

struct Run {
    double milliseconds;
    double processorMilliseconds;
    long peakKib; // of the largest process
};

double toMilliseconds(const struct timeval &time)
{
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

Run timeCommand(const char *command)
{
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        execl("/bin/sh", "sh", "-c", command, nullptr);
        _exit(127);
    }
    int status = 0;
    struct rusage usage = {};
    wait4(child, &status, 0, &usage);
    const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - begin;
    if (status != 0) {
        fprintf(stderr, "failed: %s\n", command);
        exit(1);
    }
    return {elapsed.count(), toMilliseconds(usage.ru_utime) + toMilliseconds(usage.ru_stime), usage.ru_maxrss};
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        fputs("usage: compare_commands RUNS COMMAND BASELINE\n", stderr);
        return 2;
    }
    std::vector<double> times[2];
    std::vector<double> ratios;
    std::vector<double> processorRatios;
    long peak[2] = {0, 0};
    const long runs = strtol(argv[1], nullptr, 10);
    for (long run = 0; run <= runs; ++run) {
        const Run pair[2] = {timeCommand(argv[2]), timeCommand(argv[3])};
        if (run == 0) {
            continue;
        }
        for (int side = 0; side < 2; ++side) {
            times[side].push_back(pair[side].milliseconds);
            peak[side] = std::max(peak[side], pair[side].peakKib);
        }
        ratios.push_back(pair[0].milliseconds / pair[1].milliseconds);
        processorRatios.push_back(pair[0].processorMilliseconds / pair[1].processorMilliseconds);
    }
    printf("  %9.2f ms %7.1f MiB   against %9.2f ms %7.1f MiB   ratio %.3f, processor time %.3f (of %ld pairs)\n",
           median(times[0]), static_cast<double>(peak[0]) / 1024, median(times[1]), static_cast<double>(peak[1]) / 1024,
           median(ratios), median(processorRatios), runs);
    return 0;
}
