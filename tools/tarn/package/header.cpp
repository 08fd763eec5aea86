// tarn package header: the raw fields of a package, for one that is broken above all.
#include <algorithm>
#include <cstring>
#include <memory>

#include <tarn_boot/container.h>

#include "json.h"
#include "package/commands.h"
#include "package/reader.h"
#include "packaging/big_endian.h"
#include "packaging/names.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr uint32_t kMaxSlots = sizeof(PackageHeader::files) / sizeof(PackageFileEntry);

struct Options {
    std::string package;
};

template <size_t size> std::string hexOf(const uint8_t (&bytes)[size])
{
    return hex({reinterpret_cast<const char *>(bytes), size});
}

// A name field up to its NUL, or all of it.
template <size_t size> std::string nameIn(const char (&field)[size])
{
    return {field, strnlen(field, size)};
}

struct Slot {
    PackageFileEntry entry = {};
    uint32_t offset = 0;
    uint32_t length = 0;
    bool hasHeader = false;
    MemberFileHeader header = {};
};

struct RawPackage {
    uint64_t size = 0;
    size_t headerBytes = 0; // how much of the package header is there
    PackageHeader header = {};
    uint32_t fileCount = 0;
    std::vector<Slot> slots;
    bool isSound = false; // by the library, whose sums have 32 bits
    std::string reason;
    std::vector<std::string> remarks; // where it breaks, and what no reader checks
};

void checkPlace(RawPackage &raw, const Slot &slot, size_t index, uint64_t expected)
{
    const uint64_t end = static_cast<uint64_t>(slot.offset) + slot.length;
    if (slot.offset != expected) {
        raw.remarks.push_back(format("slot %zu: offset %u, expected %llu: the end of what is before it", index,
                                     slot.offset, static_cast<unsigned long long>(expected)));
    }
    if (slot.length == 0 || end > UINT32_MAX) {
        raw.remarks.push_back(
            format("slot %zu: length %u %s", index, slot.length, slot.length == 0 ? "is nothing" : "passes 32 bits"));
    }
    if (end > raw.size) {
        raw.remarks.push_back(format("slot %zu: ends at %llu, the file at %llu", index,
                                     static_cast<unsigned long long>(end), static_cast<unsigned long long>(raw.size)));
    }
}

void checkHeader(RawPackage &raw, const Slot &slot, size_t index)
{
    if (!slot.hasHeader) {
        raw.remarks.push_back(format("slot %zu: its member header cannot be read", index));
        return;
    }
    const uint64_t needed =
        static_cast<uint64_t>(packaging::fromBigEndian(slot.header.payloadLength)) + sizeof(MemberFileHeader);
    if (needed != slot.length) {
        raw.remarks.push_back(format("slot %zu: header and payload make %llu bytes, the member has %u", index,
                                     static_cast<unsigned long long>(needed), slot.length));
    }
    for (const std::string &name : {nameIn(slot.header.subfileName), nameIn(slot.header.fileName)}) {
        if (!packaging::isPlainFileName(name)) {
            raw.remarks.push_back(format("slot %zu: %s is no plain file name", index, inQuotes(name).c_str()));
        }
    }
}

// Behind the last member; a file count that is too high leads there.
bool isUnused(const PackageFileEntry &entry)
{
    const PackageFileEntry unused = {};
    return memcmp(&entry, &unused, sizeof(entry)) == 0;
}

void readSlots(RawPackage &raw, const OpenPackage &package)
{
    const size_t tableBytes = raw.headerBytes - std::min(raw.headerBytes, offsetof(PackageHeader, files));
    const size_t readable = std::min<size_t>(tableBytes / sizeof(PackageFileEntry), kMaxSlots);
    uint64_t expected = sizeof(PackageHeader);
    for (size_t index = 0; index < std::min<size_t>(raw.fileCount, readable); ++index) {
        Slot slot;
        slot.entry = raw.header.files[index];
        if (isUnused(slot.entry)) {
            raw.remarks.push_back(format("slot %zu is all zero, the file count is %u", index, raw.fileCount));
            return;
        }
        slot.offset = packaging::fromBigEndian(slot.entry.memberOffset);
        slot.length = packaging::fromBigEndian(slot.entry.memberLength);
        const std::string bytes = readAt(package, slot.offset, sizeof(slot.header));
        slot.hasHeader = bytes.size() == sizeof(slot.header);
        memcpy(&slot.header, bytes.data(), bytes.size());
        checkPlace(raw, slot, index, expected);
        checkHeader(raw, slot, index);
        expected = static_cast<uint64_t>(slot.offset) + slot.length;
        raw.slots.push_back(slot);
    }
    if (raw.slots.size() == raw.fileCount && expected < raw.size) {
        raw.remarks.push_back(
            format("%llu bytes behind the last member", static_cast<unsigned long long>(raw.size - expected)));
    }
}

void remarkOnNames(RawPackage &raw, const MemberList &list)
{
    const auto members = list.members();
    for (size_t index = 0; index < members.size(); ++index) {
        if (isShadowed(list.list(), members[index])) {
            raw.remarks.push_back(format("slot %zu: an earlier member answers to one of its names", index));
        }
    }
}

RawPackage readRaw(const OpenPackage &package)
{
    RawPackage raw;
    raw.size = package.size;
    const std::string bytes = readAt(package, 0, sizeof(raw.header));
    raw.headerBytes = bytes.size();
    memcpy(&raw.header, bytes.data(), bytes.size());
    if (bytes.size() < sizeof(raw.header)) {
        raw.remarks.push_back(
            format("the package header has %zu bytes, the file only %zu", sizeof(raw.header), bytes.size()));
    }
    raw.fileCount = packaging::fromBigEndian(raw.header.fileCount);
    if (raw.fileCount > kMaxSlots) {
        raw.remarks.push_back(format("file count %u, at most %u", raw.fileCount, kMaxSlots));
    }
    readSlots(raw, package);
    const MemberList list(package);
    raw.isSound = list.isSound();
    raw.reason = list.reason();
    remarkOnNames(raw, list);
    return raw;
}

Json slotJson(const Slot &slot)
{
    Json json = {{"offset", slot.offset},
                 {"length", slot.length},
                 {"not_interpreted", {hexOf(slot.entry.notInterpreted0), hexOf(slot.entry.notInterpreted12)}},
                 {"member", Json()}};
    if (slot.hasHeader) {
        Json member;
        putName(member, "subfile_name", nameIn(slot.header.subfileName));
        putName(member, "file_name", nameIn(slot.header.fileName));
        member.update(
            {{"payload_length", packaging::fromBigEndian(slot.header.payloadLength)},
             {"not_interpreted", {hexOf(slot.header.notInterpreted0), hexOf(slot.header.notInterpreted344)}}});
        json["member"] = member;
    }
    return json;
}

Json rawJson(const RawPackage &raw, const std::string &path)
{
    Json slots = Json::array();
    for (const Slot &slot : raw.slots) {
        slots.push_back(slotJson(slot));
    }
    return {
        {"package", path},
        {"size", raw.size},
        {"sound", raw.isSound},
        {"file_count", raw.fileCount},
        {"not_interpreted",
         {hexOf(raw.header.notInterpreted0), hexOf(raw.header.notInterpreted8), hexOf(raw.header.notInterpreted6176)}},
        {"slots", slots},
        {"faults", raw.isSound ? Json::array() : Json::array({raw.reason})},
        {"remarks", raw.remarks}};
}

std::string slotTable(const RawPackage &raw)
{
    Table table("rrrrrll");
    table.add({"slot", "offset", "length", "end", "payload", "subfile name", "file name"});
    for (size_t index = 0; index < raw.slots.size(); ++index) {
        const Slot &slot = raw.slots[index];
        const uint64_t end = static_cast<uint64_t>(slot.offset) + slot.length;
        std::vector<std::string> row = {std::to_string(index), std::to_string(slot.offset), std::to_string(slot.length),
                                        std::to_string(end)};
        if (slot.hasHeader) {
            row.push_back(std::to_string(packaging::fromBigEndian(slot.header.payloadLength)));
            row.push_back(inQuotes(nameIn(slot.header.subfileName)));
            row.push_back(inQuotes(nameIn(slot.header.fileName)));
        } else {
            row.insert(row.end(), {"?", "?", "?"});
        }
        table.add(std::move(row));
    }
    return table.text();
}

std::string rawText(const RawPackage &raw, const std::string &path)
{
    std::string text = escaped(path) + ": " + counted(raw.size, "byte") + "\n";
    text += "bytes 0-3, not interpreted        " + hexOf(raw.header.notInterpreted0) + "\n";
    text += "bytes 4-7, file count             " + std::to_string(raw.fileCount) + "\n";
    text += "bytes 8-31, not interpreted       " + hexOf(raw.header.notInterpreted8) + "\n";
    text += "bytes 6176-6179, not interpreted  " + hexOf(raw.header.notInterpreted6176) + "\n";
    text += raw.slots.empty() ? "" : slotTable(raw);
    text += raw.isSound ? "" : "fault: " + escaped(raw.reason) + "\n";
    for (const std::string &remark : raw.remarks) {
        text += "remark: " + remark + "\n";
    }
    return text + "structure: " + (raw.isSound ? "sound" : "broken, every reader refuses it") + "\n";
}

ExitStatus run(const Options &options, const Globals &globals)
{
    const OpenPackage package = openPackage(options.package);
    const RawPackage raw = readRaw(package);
    if (globals.json) {
        printJson(rawJson(raw, package.path));
    } else {
        printOut(rawText(raw, package.path));
    }
    return ExitStatus::Done;
}

} // namespace

void addPackageHeader(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {"header", "PACKAGE", "Show the raw fields of a package, also of a broken one",
                                          "Exit status: 0 shown, sound or not; 2 wrong usage; 3 cannot be read."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.operand("PACKAGE", "The package", options->package);
}

} // namespace tarn::tool
