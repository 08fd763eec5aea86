// Base of the tests of the older access paths: a signed package that carries a legacy signature list, mappings watched.
#pragma once

#include <cstring>
#include <fstream>

#include <unistd.h>

#include <tarn_basic/tarn_basic.h>

#include "line_list_test.h"
#include "packaging/package.h"
#include "packaging/signed_list.h"
#include "support/extract_test.h"

namespace tarn::test {

using Lines = std::vector<LogLine>;

constexpr uint32_t kPage = 4096;
constexpr const char *kLegacyFile = "tarn_package_extract.cpp";
#define LEGACY_LINE(...) errorOf(kLegacyFile, "SWM_BASE", __VA_ARGS__)

inline Lines operator+(Lines first, const Lines &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// A text that a call stores whole: whatever is not written shows.
template <size_t size> struct Text {
    Text() { memset(bytes, 'u', sizeof(bytes)); }
    bool isUntouched() const { return std::string(bytes, sizeof(bytes)) == std::string(sizeof(bytes), 'u'); }
    char bytes[size];
};

// Lines of this process's mappings that name the file.
inline size_t mappingsOf(const fs::path &path)
{
    std::ifstream maps("/proc/self/maps");
    size_t found = 0;
    for (std::string line; std::getline(maps, line);) {
        found += line.ends_with(path.string()) ? 1 : 0;
    }
    return found;
}

// A directory whose path has exactly that many bytes, below `base`.
inline std::string directoryOfLength(const fs::path &base, size_t length)
{
    std::string path = base.string();
    while (path.size() + 1 + 200 < length) {
        path += "/" + std::string(100, 'd');
    }
    const size_t left = length - path.size() - 1;
    path += "/" + std::string(left / 2, 'e');
    path += "/" + std::string(length - path.size() - 1, 'f');
    fs::create_directories(path);
    return path;
}

inline bool isRoot()
{
    return geteuid() == 0;
}

class LegacyTest : public ExtractTest {
protected:
    const std::string legacyList = "[legacy]\nname=1\n";

    LegacyTest()
    {
        members =
            writeSigned(package, {member("app", app), member("conf", conf), member("signature_filelist", legacyList)});
        fs::create_directory(dest);
    }
    void TearDown() override
    {
        EXPECT_EQ(mappingsOf(package), 0u) << "a mapping was left";
        fs::remove_all(programDir() / "swm");
        ExtractTest::TearDown();
    }

    uint32_t payloadOffset(size_t index) const { return memberOffset(members, index) + kMemberHeaderSize; }
    std::string signedText(const std::vector<packaging::Member> &listed) const
    {
        std::vector<packaging::ListedFile> files;
        for (const packaging::Member &file : listed) {
            files.push_back({file.fileName, packaging::memberDigest(file)});
        }
        return packaging::signedListText(files);
    }
    // The next requests find the package in the cache: what they do then is their own.
    void warmUp()
    {
        const Descriptor fd(package);
        FileSite site = {};
        site.name = "app";
        ASSERT_EQ(SWM_FindFileSiteFromCc(fd, &site), TARN_EXTRACT_OK);
        clearFaults();
        takeLog();
    }
};

} // namespace tarn::test
