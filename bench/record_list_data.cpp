#include "record_list_data.h"

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <random>
#include <vector>

namespace tarn::bench {
namespace {

class OutputFile {
public:
    explicit OutputFile(const std::string &path) : file(fopen(path.c_str(), "w"))
    {
        if (file == nullptr) {
            perror(path.c_str());
            exit(1);
        }
    }
    OutputFile(const OutputFile &) = delete;
    ~OutputFile()
    {
        if (fclose(file) != 0) {
            perror("writing a list");
            exit(1);
        }
    }
    operator FILE *() const { return file; }

private:
    FILE *file;
};

// A digest that `seed` decides.
void writeDigest(FILE *file, uint64_t seed)
{
    std::mt19937_64 random(seed);
    for (int word = 0; word < 4; ++word) {
        fprintf(file, "%016" PRIx64, random());
    }
}

// Numbers that ascend give names that ascend.
void writeFileRecord(FILE *file, size_t number, uint64_t digestSeed)
{
    writeDigest(file, digestSeed);
    const size_t module = number / 1000;
    fprintf(file,
            " usr/lib/module-%04zu /opt/tarn/software/control-plane/module-%04zu/lib"
            " /opt/tarn/pool/control-plane-services/V100R023C10SPC500/module-%04zu/libservice-%08zu.so"
            " libservice-%08zu.so 1 LIB root:0 tarn:1000 550 NA 0 none 7\n",
            module, module, module, number, number);
}

std::vector<size_t> numbersIn(size_t count, Order order, unsigned seed)
{
    std::vector<size_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), size_t{0});
    if (order == Order::Shuffled) {
        std::shuffle(numbers.begin(), numbers.end(), std::mt19937(seed));
    }
    return numbers;
}

} // namespace

void writeFileLists(const std::string &oldPath, const std::string &newPath, size_t count, Order order)
{
    const OutputFile oldFile(oldPath);
    for (const size_t number : numbersIn(count, order, 1)) {
        // Every second number is left free for what only the new list has.
        writeFileRecord(oldFile, 2 * number, number);
    }
    const OutputFile newFile(newPath);
    for (const size_t number : numbersIn(count, order, 2)) {
        const bool changed = number % 200 == 0;
        const bool replaced = number % 200 == 100;
        writeFileRecord(newFile, 2 * number + (replaced ? 1 : 0), changed ? ~number : number);
    }
}

void writeLinkList(const std::string &path, size_t count)
{
    const OutputFile file(path);
    for (size_t number = 0; number < count; ++number) {
        fprintf(file,
                "/opt/tarn/pool/control-plane-services/V100R023C10SPC500/libservice-%08zu.so"
                " /opt/tarn/software/control-plane/lib/libservice-%08zu.so.1\n",
                number, number);
    }
}

} // namespace tarn::bench
