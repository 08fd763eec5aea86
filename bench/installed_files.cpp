// What hashes every installed file, against reading and hashing the same files with libcrypto, in one process:
// comparing a file list with itself, and verifying a board file list, which loads the list first.
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <openssl/evp.h>
#include <random>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <tarn_boot/records.h>
#include <tarn_boot/verification.h>

#include "measure.h"

using namespace tarn::bench;

namespace {

constexpr size_t kFiles = 10000;
constexpr size_t kFileSize = 16 * 1024;
constexpr size_t kRuns = 9;

using Digest = std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

// One buffer, one context and one algorithm handle for all files.
class BareHasher {
public:
    void hashFile(const char *path, unsigned char *out)
    {
        const int fd = open(path, O_RDONLY | O_CLOEXEC);
        require(fd >= 0, path);
        require(EVP_DigestInit_ex2(context.get(), algorithm.get(), nullptr) == 1, "digest");
        ssize_t got;
        while ((got = read(fd, buffer.data(), buffer.size())) > 0) {
            EVP_DigestUpdate(context.get(), buffer.data(), static_cast<size_t>(got));
        }
        require(got == 0 && EVP_DigestFinal_ex(context.get(), out, nullptr) == 1, path);
        close(fd);
    }

private:
    Digest algorithm{EVP_MD_fetch(nullptr, "SHA256", nullptr), &EVP_MD_free};
    DigestContext context{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
    std::vector<unsigned char> buffer = std::vector<unsigned char>(128 * 1024);
};

class InstalledFiles {
public:
    InstalledFiles()
    {
        char pattern[] = "/tmp/installed_files.XXXXXX";
        require(mkdtemp(pattern) != nullptr, "a directory for the files can be made");
        dir = pattern;
        std::mt19937_64 random(1);
        FILE *file = fopen(listPath().c_str(), "w");
        require(file != nullptr, "the list can be made");
        for (size_t number = 0; number < kFiles; ++number) {
            addFile(file, number, random);
        }
        require(fclose(file) == 0, "the list can be written");
    }
    InstalledFiles(const InstalledFiles &) = delete;
    ~InstalledFiles() { std::filesystem::remove_all(dir); }

    std::string listPath() const { return dir / "filelist.txt"; }
    const std::vector<std::string> &paths() const { return files; }

private:
    void addFile(FILE *list, size_t number, std::mt19937_64 &random)
    {
        std::vector<uint64_t> content(kFileSize / sizeof(uint64_t));
        std::generate(content.begin(), content.end(), random);
        const std::string name = "file-" + std::to_string(number);
        files.push_back(dir / name);
        FILE *file = fopen(files.back().c_str(), "w");
        require(file != nullptr && fwrite(content.data(), kFileSize, 1, file) == 1 && fclose(file) == 0, name.c_str());
        unsigned char digest[32];
        hasher.hashFile(files.back().c_str(), digest);
        for (const unsigned char byte : digest) {
            fprintf(list, "%02x", byte);
        }
        fprintf(list, " bin/%s %s pool/%05zu %s 1 BIN root root 550 NA 0 none\n", name.c_str(), dir.c_str(), number,
                name.c_str());
    }

    std::filesystem::path dir;
    std::vector<std::string> files;
    BareHasher hasher;
};

void compareWithItself(const SwmListHead &list)
{
    SwmListHead updates = {};
    SwmListHead deletions = {};
    require(SWM_GetAllRecordNeedUpdate(&list, &list, &updates, &deletions) == SWM_OK && updates.count == 0 &&
                deletions.count == 0,
            "all files are sound");
}

void hashAll(const InstalledFiles &installed)
{
    BareHasher hasher;
    unsigned char digest[32];
    for (const std::string &path : installed.paths()) {
        hasher.hashFile(path.c_str(), digest);
    }
}

template <class Work> void report(const char *what, const InstalledFiles &installed, Work work)
{
    std::vector<double> times[2];
    std::vector<double> ratios;
    for (size_t run = 0; run <= kRuns; ++run) {
        const double ours = secondsOf(work);
        const double bare = secondsOf([&] { hashAll(installed); });
        if (run > 0) {
            times[0].push_back(ours);
            times[1].push_back(bare);
            ratios.push_back(ours / bare);
        }
    }
    printf("  %s: %.1f ms against %.1f ms, ratio %.3f (of %zu pairs)\n", what, median(times[0]) * 1e3,
           median(times[1]) * 1e3, median(ratios), kRuns);
}

} // namespace

int main()
{
    const InstalledFiles installed;
    const std::string path = installed.listPath();
    SwmListHead list = {};
    require(SWM_GetAllRecordFromFilelistTxtNoCreateDir(path.c_str(), &list) == SWM_OK && list.count == kFiles,
            "the list can be loaded");
    report("comparing", installed, [&] { compareWithItself(list); });
    report("verifying a board list", installed,
           [&] { require(SWM_VerifyFilesInBoardFileList(path.c_str()) == SWM_OK, "all files verify"); });
    SWM_FreeFilelistTxtRecord(&list);
    return 0;
}
