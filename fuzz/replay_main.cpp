// Runs a target over the files named on the command line, and over all files of directories named there.
#include "fuzz_target.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int *argc, char ***argv);

namespace {

void replay(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string input{std::istreambuf_iterator<char>(file), {}};
    tarn::fuzz::require(!file.bad(), "the corpus can be read");
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
}

} // namespace

int main(int argc, char **argv)
{
    if (LLVMFuzzerInitialize != nullptr) {
        LLVMFuzzerInitialize(&argc, &argv);
    }
    size_t inputs = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            replay(argv[i]);
            ++inputs;
            continue;
        }
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            replay(entry.path());
            ++inputs;
        }
    }
    printf("%zu inputs replayed\n", inputs);
    return inputs == 0;
}
