// Base of the extraction and verification tests: a sound package of two files.
#pragma once

#include "support/boot_test.h"

namespace tarn::test {

class ExtractTest : public BootTest {
protected:
    const fs::path package = dir / "sound.cc";
    const fs::path dest = dir / "dest";
    const std::string app = pattern(70000, 1);
    const std::string conf = "key = value\n";
    std::vector<packaging::Member> members;

    ExtractTest() { members = writeSigned(package, {member("app", app), member("conf", conf)}); }

    uint32_t extract(const std::string &target) { return extractFrom(package, target); }
    uint32_t extractFrom(const fs::path &from, const std::string &target)
    {
        return TARN_ExtractFromPackage(from.c_str(), target.c_str(), dest.c_str());
    }
    LogLine requested(const std::string &target) { return requestedFrom(package, target); }
    LogLine requestedFrom(const fs::path &from, const std::string &target)
    {
        return notice("TARN_ExtractFromPackage: package(%s) target(%s) destdir(%s).", from.c_str(), target.c_str(),
                      dest.c_str());
    }
    // Header and payload of a member as they lie in the package.
    std::string wholeMember(size_t index)
    {
        return readFile(package).substr(memberOffset(members, index), memberLength(members[index]));
    }
    static bool cacheIsEmpty()
    {
        return g_pkgCacheInfo.identity.st_ino == 0 && g_pkgCacheInfo.identity.st_size == 0 &&
               g_pkgCacheInfo.reuseFlag == 0 && isEmptyList(g_pkgCacheInfo.memberList) &&
               isEmptyList(g_pkgCacheInfo.signedList);
    }
};

} // namespace tarn::test
