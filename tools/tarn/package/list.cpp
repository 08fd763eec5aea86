// tarn package list: the members of a package, signed or not.
#include <memory>

#include "json.h"
#include "package/commands.h"
#include "package/reader.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

struct Options {
    std::string package;
};

const char *stateWord(ListState state)
{
    switch (state) {
    case ListState::Present:
        return "present";
    case ListState::Unreadable:
        return "unreadable";
    default:
        return "missing";
    }
}

Json memberJson(const MemberList &list, const Coverage &coverage, const PkgMemberRecord &member)
{
    const std::vector<std::string> &digests = coverage.digestsOf(&member);
    Json json;
    putName(json, "subfile_name", member.subfileName);
    putName(json, "file_name", member.fileName);
    json.update({{"offset", member.memberOffset},
                 {"size", member.memberLength},
                 {"payload_size", member.payloadLength},
                 {"listed", !digests.empty()},
                 {"digest", digests.empty() ? Json() : Json(digests.front())},
                 {"signature_member", isSignatureMember(list.list(), &member)},
                 {"shadowed", isShadowed(list.list(), &member)}});
    return json;
}

// A list may name the signature's own members.
std::string standingWord(const MemberList &list, const Coverage &coverage, const PkgMemberRecord &member)
{
    switch (coverage.standing(&member)) {
    case Standing::Listed:
        return isSignatureMember(list.list(), &member) ? "yes, signature" : "yes";
    case Standing::Signature:
        return "signature";
    case Standing::Shadowed:
        return "shadowed";
    default:
        return "no";
    }
}

Json listJson(const OpenPackage &package, const MemberList &list, const UnverifiedList &names)
{
    const Coverage coverage(list.list(), names.files);
    Json members = Json::array();
    for (const PkgMemberRecord *member : list.members()) {
        members.push_back(memberJson(list, coverage, *member));
    }
    return {{"package", package.path},
            {"size", package.size},
            {"verified", false},
            {"signed_list", stateWord(names.state)},
            {"members", members}};
}

std::string listText(const OpenPackage &package, const MemberList &list, const UnverifiedList &names)
{
    const Coverage coverage(list.list(), names.files);
    Table table("rllrrrl");
    table.add({"#", "name", "file name", "offset", "size", "payload", "listed"});
    const auto members = list.members();
    for (size_t index = 0; index < members.size(); ++index) {
        const PkgMemberRecord &member = *members[index];
        table.add({std::to_string(index), escaped(member.subfileName), escaped(member.fileName),
                   std::to_string(member.memberOffset), std::to_string(member.memberLength),
                   std::to_string(member.payloadLength), standingWord(list, coverage, member)});
    }
    return table.text() + escaped(package.path) + ": " + counted(members.size(), "member") + ", " +
           counted(package.size, "byte") + ", signed list " + stateWord(names.state) + "; " +
           inColour(Colour::Warning, "nothing verified") + "\n";
}

ExitStatus run(const Options &options, const Globals &globals)
{
    const OpenPackage package = openPackage(options.package);
    const MemberList list(package);
    if (!list.isSound()) {
        Failure failure;
        failure.status = ExitStatus::No;
        failure.what = escaped(package.path) + ": not a sound package";
        failure.reason = list.reason();
        failure.next = "\"tarn package header\" shows what can be read of it";
        setReport(failure, {{"package", package.path}, {"size", package.size}});
        throw failure;
    }
    const UnverifiedList names = readUnverifiedList(package, list.list());
    if (globals.json) {
        printJson(listJson(package, list, names));
    } else {
        printOut(listText(package, list, names));
    }
    return ExitStatus::Done;
}

} // namespace

void addPackageList(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "list", "PACKAGE", "Show the members of a package; verifies nothing",
        "Exit status: 0 shown; 1 not a sound package; 2 wrong usage; 3 cannot be read."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.operand("PACKAGE", "The package", options->package);
}

} // namespace tarn::tool
