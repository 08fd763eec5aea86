// Reading packages for display.
#include "package_reader.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include <tarn_basic/ini.h>

#include "exit_status.h"
#include "library_log.h"
#include "packaging/error.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr char kListName[] = "signature_pss_filelist";
constexpr char kSignatureName[] = "signature_pss_cms";
constexpr size_t kMaxListSize = 4 * 1024 * 1024; // as the platform bounds it

[[noreturn]] void failWithErrno(const std::string &path, const char *action)
{
    const int error = errno;
    failWith(escaped(path) + ": cannot " + action + ": " + packaging::errorText(error));
}

struct FreeProfile {
    void operator()(SwmIniSection *profile) const { SWM_FreeProfile(profile); }
};

const char *valueOf(const SwmIniSection &section, const char *name)
{
    for (const SwmIniKey *key = section.keys; key != nullptr; key = key->next) {
        if (strcmp(key->name, name) == 0 && key->value != nullptr) {
            return key->value;
        }
    }
    return nullptr;
}

} // namespace

OpenPackage openPackage(const std::string &path)
{
    OpenPackage package;
    package.path = path;
    package.descriptor = packaging::Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status = {};
    if (package.descriptor.get() < 0 || fstat(package.descriptor.get(), &status) != 0) {
        failWithErrno(path, "open");
    }
    if (!S_ISREG(status.st_mode)) {
        failWith(escaped(path) + ": not a regular file");
    }
    package.size = static_cast<uint64_t>(status.st_size);
    return package;
}

std::string readAt(const OpenPackage &package, uint64_t offset, size_t size)
{
    std::string bytes(size, '\0');
    if (lseek(package.descriptor.get(), static_cast<off_t>(offset), SEEK_SET) < 0) {
        failWithErrno(package.path, "seek");
    }
    bytes.resize(packaging::readFully(package.descriptor, bytes.data(), size, package.path));
    return bytes;
}

MemberList::MemberList(const OpenPackage &package)
{
    head.next = head.prev = reinterpret_cast<SwmListNode *>(&head);
    head.count = 0;
    takeLibraryReason();
    sound = TARN_SafeCheckHeader(package.descriptor.get(), &head) == SWM_OK;
    fault = takeLibraryReason();
}

MemberList::~MemberList()
{
    for (const PkgMemberRecord *record : members()) {
        free(const_cast<PkgMemberRecord *>(record));
    }
}

UnverifiedList readUnverifiedList(const OpenPackage &package, const SwmListHead &members)
{
    UnverifiedList list;
    const PkgMemberRecord *member = TARN_SafeFindTarget(&members, kListName);
    if (member == nullptr) {
        return list;
    }
    list.state = ListState::Unreadable;
    if (member->payloadLength > kMaxListSize) {
        return list;
    }
    const uint64_t payload = static_cast<uint64_t>(member->memberOffset) + sizeof(MemberFileHeader);
    const std::string text = readAt(package, payload, member->payloadLength);
    const std::unique_ptr<SwmIniSection, FreeProfile> profile(
        text.find('\0') == std::string::npos ? SWM_IniLoadProfileFromFileMem(text.c_str()) : nullptr);
    for (const SwmIniSection *section = profile.get(); section != nullptr; section = section->next) {
        const char *name = valueOf(*section, "FILENAME");
        const char *digest = valueOf(*section, "SHA256-DIGEST");
        list.state = ListState::Present;
        if (name != nullptr && digest != nullptr) {
            list.digests.emplace(name, digest);
        }
    }
    return list;
}

bool isSignatureMember(const SwmListHead &members, const PkgMemberRecord *member)
{
    return member == TARN_SafeFindTarget(&members, kListName) ||
           member == TARN_SafeFindTarget(&members, kSignatureName);
}

std::string memberLabel(const PkgMemberRecord &member)
{
    return member.subfileName[0] != '\0' ? member.subfileName : member.fileName;
}

} // namespace tarn::tool
