// Loading, sorting and comparing record lists, without what the installed files cost.
//     record_lists make COUNT OLD NEW   shuffled file lists that differ in one record of a hundred
//     record_lists update OLD NEW       what an installer does with them, as a whole program, its releases included
//     record_lists load LIST            loads a list and prints the memory it takes
//     record_lists phases OLD NEW       where the time of `update` goes
//     record_lists growth               time per record over the length of the lists
//     record_lists time update OLD NEW  the median seconds of `update`, repeated in one process
//     record_lists time links LIST      the same for reading a link list
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

#include <tarn_boot/records.h>

#include "measure.h"
#include "record_list_data.h"

using namespace tarn::bench;

namespace {

constexpr size_t kRuns = 7;

struct FileLists {
    SwmListHead oldList = {};
    SwmListHead newList = {};
    SwmListHead updates = {};
    SwmListHead deletions = {};

    void load(const std::string &oldPath, const std::string &newPath)
    {
        require(SWM_GetAllRecordFromFilelistTxtNoCreateDir(oldPath.c_str(), &oldList) == SWM_OK &&
                    SWM_GetAllRecordFromFilelistTxtNoCreateDir(newPath.c_str(), &newList) == SWM_OK,
                "both lists can be loaded");
    }
    void compare()
    {
        require(SWM_GetAllRecordNeedUpdate(&oldList, &newList, &updates, &deletions) == SWM_OK,
                "the lists can be compared");
        require(updates.count == newList.count / 100 && deletions.count == oldList.count / 200,
                "the differences are found");
    }
    void release()
    {
        for (SwmListHead *list : {&oldList, &newList, &updates, &deletions}) {
            SWM_FreeFilelistTxtRecord(list);
        }
    }
};

void update(const std::string &oldPath, const std::string &newPath)
{
    FileLists lists;
    lists.load(oldPath, newPath);
    lists.compare();
    lists.release();
}

void loadAndRelease(const std::string &path, SwmFilelistCompare compare)
{
    SwmListHead list = {reinterpret_cast<SwmListNode *>(&list), reinterpret_cast<SwmListNode *>(&list), 0};
    require(SwmLoadFileToList(path.c_str(), &list, compare) == SWM_OK, "the list can be loaded");
    SWM_FreeFilelistTxtRecord(&list);
}

void printMemory(const std::string &path)
{
    struct rusage before = {};
    struct rusage after = {};
    getrusage(RUSAGE_SELF, &before);
    SwmListHead list = {};
    require(SWM_GetAllRecordFromFilelistTxtNoCreateDir(path.c_str(), &list) == SWM_OK, "the list can be loaded");
    getrusage(RUSAGE_SELF, &after);
    const double bytes = 1024.0 * static_cast<double>(after.ru_maxrss - before.ru_maxrss);
    printf("  %.0f bytes for each of %u records, %.0f of them the text of its line; a node is %zu\n",
           bytes / list.count, list.count, static_cast<double>(std::filesystem::file_size(path)) / list.count,
           sizeof(FilelistTxtNode));
    SWM_FreeFilelistTxtRecord(&list);
}

void printPhases(const std::string &oldPath, const std::string &newPath)
{
    const auto ofBoth = [&](auto work) {
        return medianSecondsOf(kRuns, [&] {
            work(oldPath);
            work(newPath);
        });
    };
    const double reading = ofBoth([](const std::string &path) {
        char *content = nullptr;
        uint64_t length = 0;
        require(SwmLoadFileContent(path.c_str(), &content, &length) == SWM_OK, "the list can be read");
        free(content);
    });
    const double appended = ofBoth([](const std::string &path) { loadAndRelease(path, nullptr); });
    std::vector<double> phases[3];
    for (size_t run = 0; run < kRuns; ++run) {
        FileLists lists;
        phases[0].push_back(secondsOf([&] { lists.load(oldPath, newPath); }));
        phases[1].push_back(secondsOf([&] { lists.compare(); }));
        phases[2].push_back(secondsOf([&] { lists.release(); }));
    }
    const double loading = median(phases[0]);
    const double releasing = median(phases[2]);
    // An unsorted list is released in the order of its blocks, a sorted one is not: that is part of sorting's price.
    printf("  reading %.3f s, converting (and releasing unsorted) %.3f s, loading sorted %.3f s, comparing %.3f s, "
           "releasing %.3f s\n",
           reading, appended - reading, loading, median(phases[1]), releasing);
}

// One measurement in a new process, so that no run finds the memory of a larger one before it.
double inNewProcess(const std::string &arguments)
{
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    FILE *output = popen(("'" + self + "' time " + arguments).c_str(), "r");
    require(output != nullptr, "a new process can be started");
    double seconds = 0;
    require(fscanf(output, "%lf", &seconds) == 1 && pclose(output) == 0, arguments.c_str());
    return seconds;
}

struct Growth {
    std::vector<std::vector<double>> seconds; // one row per size
    std::vector<std::vector<double>> ratios;  // to the first size, of the same round
};

// The sizes take turns, so that whatever else the machine does meets them all.
Growth measureGrowth(const std::vector<std::string> &arguments)
{
    Growth growth;
    growth.seconds.resize(arguments.size());
    growth.ratios.resize(arguments.size());
    for (size_t round = 0; round < kRuns; ++round) {
        for (size_t i = 0; i < arguments.size(); ++i) {
            const double seconds = inNewProcess(arguments[i]);
            growth.seconds[i].push_back(seconds);
            growth.ratios[i].push_back(seconds / growth.seconds[0].back());
        }
    }
    return growth;
}

void printUpdateGrowth(const std::filesystem::path &dir)
{
    constexpr size_t kSizes[] = {1000, 10000, 200000};
    puts("time per record of loading, comparing and releasing two lists");
    std::vector<std::string> arguments;
    for (const size_t size : kSizes) {
        const std::string oldPath = dir / ("old" + std::to_string(size));
        const std::string newPath = dir / ("new" + std::to_string(size));
        writeFileLists(oldPath, newPath, size, Order::Shuffled);
        arguments.push_back("update " + oldPath + " " + newPath);
    }
    const Growth growth = measureGrowth(arguments);
    for (size_t i = 0; i < std::size(kSizes); ++i) {
        const double records = static_cast<double>(2 * kSizes[i]);
        printf("  %7zu records: %6.0f ns each, ratio %.2f\n", kSizes[i], median(growth.seconds[i]) * 1e9 / records,
               median(growth.ratios[i]) * static_cast<double>(kSizes[0]) / static_cast<double>(kSizes[i]));
    }
}

void printSortedCost(const std::filesystem::path &dir)
{
    const std::string path = dir / "sorted";
    puts("loading and releasing a list of 200000 that is sorted already against one that is only appended to");
    writeFileLists(path, dir / "unused", 200000, Order::Sorted);
    std::vector<double> sorted;
    std::vector<double> appended;
    for (size_t run = 0; run < kRuns; ++run) {
        sorted.push_back(secondsOf([&] { loadAndRelease(path, SWM_ComparebyPoolname); }));
        appended.push_back(secondsOf([&] { loadAndRelease(path, nullptr); }));
    }
    printf("  %.3f s against %.3f s, ratio %.3f\n", median(sorted), median(appended),
           median(sorted) / median(appended));
}

void readLinks(const std::string &path)
{
    SwmListHead list = {};
    require(SWM_GetAllRecordFromLinklist(path.c_str(), &list) == SWM_OK && list.count > 0, "the links can be read");
    SWM_FreeLinklistRecord(&list);
}

void printLinkGrowth(const std::filesystem::path &dir)
{
    constexpr size_t kSizes[] = {10000, 100000};
    puts("reading and releasing a link list");
    std::vector<std::string> arguments;
    for (const size_t size : kSizes) {
        const std::string path = dir / ("links" + std::to_string(size));
        writeLinkList(path, size);
        arguments.push_back("links " + path);
    }
    const Growth growth = measureGrowth(arguments);
    for (size_t i = 0; i < std::size(kSizes); ++i) {
        printf("  %7zu links: %6.2f ms, ratio %.2f\n", kSizes[i], median(growth.seconds[i]) * 1e3,
               median(growth.ratios[i]));
    }
}

void printGrowth()
{
    char pattern[] = "/tmp/record_lists.XXXXXX";
    require(mkdtemp(pattern) != nullptr, "a directory for the lists can be made");
    const std::filesystem::path dir = pattern;
    printUpdateGrowth(dir);
    printSortedCost(dir);
    printLinkGrowth(dir);
    std::filesystem::remove_all(dir);
}

} // namespace

int main(int argc, char **argv)
{
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "make" && argc == 5) {
        writeFileLists(argv[3], argv[4], strtoul(argv[2], nullptr, 10), Order::Shuffled);
    } else if (command == "update" && argc == 4) {
        update(argv[2], argv[3]);
    } else if (command == "load" && argc == 3) {
        printMemory(argv[2]);
    } else if (command == "phases" && argc == 4) {
        printPhases(argv[2], argv[3]);
    } else if (command == "time" && argc == 5 && strcmp(argv[2], "update") == 0) {
        printf("%.9f\n", medianSecondsOf(kRuns, [&] { update(argv[3], argv[4]); }));
    } else if (command == "time" && argc == 4 && strcmp(argv[2], "links") == 0) {
        printf("%.9f\n", medianSecondsOf(kRuns, [&] { readLinks(argv[3]); }));
    } else if (command == "growth" && argc == 2) {
        setvbuf(stdout, nullptr, _IOLBF, 0);
        printGrowth();
    } else {
        fputs("usage: record_lists make COUNT OLD NEW | update OLD NEW | load LIST | phases OLD NEW | growth | "
              "time update OLD NEW | time links LIST\n",
              stderr);
        return 2;
    }
    return 0;
}
