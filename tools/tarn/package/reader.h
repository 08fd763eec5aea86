// Packages as the read-only commands see them: structure checked by the library, nothing verified.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <tarn_boot/container.h>

#include "packaging/output_file.h"
#include "packaging/signed_list.h"

namespace tarn::tool {

struct OpenPackage {
    std::string path;
    packaging::Descriptor descriptor;
    uint64_t size = 0;
};

// Opens a regular file for reading. Throws Failure.
OpenPackage openPackage(const std::string &path);

// `size` bytes at `offset`, fewer at the end of the file. Throws Failure.
std::string readAt(const OpenPackage &package, uint64_t offset, size_t size);

// The records of one of the library's lists, in order; a zero-filled head is an empty list.
template <typename Record> std::vector<const Record *> recordsOf(const SwmListHead &head)
{
    std::vector<const Record *> records;
    const auto *end = reinterpret_cast<const SwmListNode *>(&head);
    for (const SwmListNode *node = head.next; node != nullptr && node != end; node = node->next) {
        records.push_back(reinterpret_cast<const Record *>(node));
    }
    return records;
}

// The structure of an open package. Of one that is not sound it has the members before the fault.
class MemberList {
public:
    explicit MemberList(const OpenPackage &package);
    MemberList(const MemberList &) = delete;
    MemberList &operator=(const MemberList &) = delete;
    ~MemberList();

    bool isSound() const { return sound; }
    const std::string &reason() const { return fault; }
    const SwmListHead &list() const { return head; }
    std::vector<const PkgMemberRecord *> members() const { return recordsOf<PkgMemberRecord>(head); }

private:
    SwmListHead head;
    bool sound;
    std::string fault;
};

enum class ListState { Missing, Unreadable, Present };

struct UnverifiedList {
    ListState state = ListState::Missing;
    std::vector<packaging::ListedFile> files;
};

// The text of a list: Present or Unreadable.
UnverifiedList parseSignedList(const std::string &text);

// The signed list inside the package, its signature not checked: for display only.
UnverifiedList readUnverifiedList(const OpenPackage &package, const SwmListHead &members);

// The members that the library takes for signed list and signature: the first that answer to these names.
bool isSignatureMember(const SwmListHead &members, const PkgMemberRecord *member);

// An earlier member answers to one of its names: by that name the library never finds this one.
bool isShadowed(const SwmListHead &members, const PkgMemberRecord *member);

// Its header claims a longer payload than its bytes hold. The library copies what is claimed, also from behind the
// member, where nothing is signed.
bool isOverlong(const PkgMemberRecord &member);

// How a signed list relates to a member.
enum class Standing { Listed, Signature, Shadowed, Unlisted };

// Which members a signed list speaks of, looked up as the library does.
class Coverage {
public:
    Coverage(const SwmListHead &packageMembers, const std::vector<packaging::ListedFile> &files);

    Standing standing(const PkgMemberRecord *member) const;
    // The digests listed for a member; usually one.
    const std::vector<std::string> &digestsOf(const PkgMemberRecord *member) const;
    size_t listedCount() const { return listed.size(); }
    // In the list, not in the package.
    const std::vector<std::string> &missing() const { return absent; }
    // Neither listed nor signature members: nobody signed them.
    std::vector<const PkgMemberRecord *> unlisted() const;
    std::vector<const PkgMemberRecord *> overlong() const;

private:
    const SwmListHead &members;
    std::map<const PkgMemberRecord *, std::vector<std::string>> listed;
    std::vector<std::string> absent;
};

// What a member is called in messages: its subfile name, or its file name when that is empty.
std::string memberLabel(const PkgMemberRecord &member);

} // namespace tarn::tool
