// Reading packages for display.
#include "package/reader.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include <tarn_basic/ini.h>

#include "exit_status.h"
#include "library_log.h"
#include "packaging/error.h"
#include "packaging/names.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr size_t kMaxListSize = 4u << 20; // as the platform bounds it

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
    try {
        package.descriptor = packaging::openSource(path);
    } catch (const packaging::PackagingError &error) {
        failWith(escaped(error.what()), "name an existing package that you may read");
    }
    struct stat status = {};
    if (fstat(package.descriptor.get(), &status) != 0) {
        failWithErrno(path, "examine");
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

UnverifiedList parseSignedList(const std::string &text)
{
    UnverifiedList list;
    list.state = ListState::Unreadable;
    const std::unique_ptr<SwmIniSection, FreeProfile> profile(
        text.find('\0') == std::string::npos ? SWM_IniLoadProfileFromFileMem(text.c_str()) : nullptr);
    for (const SwmIniSection *section = profile.get(); section != nullptr; section = section->next) {
        const char *name = valueOf(*section, "FILENAME");
        const char *digest = valueOf(*section, "SHA256-DIGEST");
        list.state = ListState::Present;
        if (name != nullptr && digest != nullptr) {
            list.files.push_back({name, digest});
        }
    }
    return list;
}

UnverifiedList readUnverifiedList(const OpenPackage &package, const SwmListHead &members)
{
    UnverifiedList list;
    const PkgMemberRecord *member = TARN_SafeFindTarget(&members, packaging::kListName);
    if (member == nullptr) {
        return list;
    }
    list.state = ListState::Unreadable;
    if (member->payloadLength > kMaxListSize) {
        return list;
    }
    const uint64_t payload = static_cast<uint64_t>(member->memberOffset) + sizeof(MemberFileHeader);
    return parseSignedList(readAt(package, payload, member->payloadLength));
}

bool isSignatureMember(const SwmListHead &members, const PkgMemberRecord *member)
{
    return member == TARN_SafeFindTarget(&members, packaging::kListName) ||
           member == TARN_SafeFindTarget(&members, packaging::kSignatureName);
}

bool isShadowed(const SwmListHead &members, const PkgMemberRecord *member)
{
    return TARN_SafeFindTarget(&members, member->fileName) != member ||
           TARN_SafeFindTarget(&members, member->subfileName) != member;
}

bool isOverlong(const PkgMemberRecord &member)
{
    return static_cast<uint64_t>(member.payloadLength) + sizeof(MemberFileHeader) > member.memberLength;
}

Coverage::Coverage(const SwmListHead &packageMembers, const std::vector<packaging::ListedFile> &files)
    : members(packageMembers)
{
    for (const packaging::ListedFile &file : files) {
        const PkgMemberRecord *member = TARN_SafeFindTarget(&members, file.fileName.c_str());
        if (member == nullptr) {
            absent.push_back(file.fileName);
        } else {
            listed[member].push_back(file.digest);
        }
    }
}

Standing Coverage::standing(const PkgMemberRecord *member) const
{
    if (listed.count(member) != 0) {
        return Standing::Listed;
    }
    if (isSignatureMember(members, member)) {
        return Standing::Signature;
    }
    return isShadowed(members, member) ? Standing::Shadowed : Standing::Unlisted;
}

const std::vector<std::string> &Coverage::digestsOf(const PkgMemberRecord *member) const
{
    static const std::vector<std::string> none;
    const auto found = listed.find(member);
    return found == listed.end() ? none : found->second;
}

std::vector<const PkgMemberRecord *> Coverage::unlisted() const
{
    std::vector<const PkgMemberRecord *> found;
    for (const PkgMemberRecord *member : recordsOf<PkgMemberRecord>(members)) {
        const Standing standing = this->standing(member);
        if (standing == Standing::Unlisted || standing == Standing::Shadowed) {
            found.push_back(member);
        }
    }
    return found;
}

std::vector<const PkgMemberRecord *> Coverage::overlong() const
{
    std::vector<const PkgMemberRecord *> found = recordsOf<PkgMemberRecord>(members);
    found.erase(
        std::remove_if(found.begin(), found.end(), [](const PkgMemberRecord *member) { return !isOverlong(*member); }),
        found.end());
    return found;
}

std::string memberLabel(const PkgMemberRecord &member)
{
    return member.subfileName[0] != '\0' ? member.subfileName : member.fileName;
}

} // namespace tarn::tool
