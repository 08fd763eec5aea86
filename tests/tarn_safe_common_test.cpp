// The container reader: structure check, lookup, digest, copy.
#include <cstring>

#include "support/boot_test.h"

namespace tarn::test {
namespace {

using packaging::Member;

class ContainerTest : public BootTest {
protected:
    fs::path package = dir / "p.cc";

    std::vector<Member> writePlain(std::vector<Member> members)
    {
        packaging::writeContainer(package, members);
        return members;
    }
    uint32_t check()
    {
        const Descriptor fd(package);
        lseek(fd, 77, SEEK_SET); // any position will do
        return TARN_SafeCheckHeader(fd, &list);
    }
};

PackageHeader headerWithCount(uint32_t count)
{
    PackageHeader header = {};
    for (int i = 0; i < 4; ++i) {
        header.fileCount.bytes[i] = static_cast<uint8_t>(count >> (24 - 8 * i));
    }
    return header;
}

SwmBe32 be32(uint32_t value)
{
    return {{static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 8),
             static_cast<uint8_t>(value)}};
}

TEST_F(ContainerTest, SoundPackageGivesItsMembersInTableOrder)
{
    const auto members = writePlain({member("a", pattern(5)), member("b", ""), member("c", pattern(70000))});
    ASSERT_EQ(check(), SWM_OK);
    EXPECT_TRUE(nothingLogged());
    const auto records = list.records<PkgMemberRecord>();
    ASSERT_EQ(records.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(records[i]->memberOffset, memberOffset(members, i));
        EXPECT_EQ(records[i]->memberLength, memberLength(members[i]));
        EXPECT_EQ(records[i]->payloadLength, members[i].payload.size());
        EXPECT_STREQ(records[i]->fileName, members[i].fileName.c_str());
        EXPECT_STREQ(records[i]->subfileName, members[i].subfileName.c_str());
    }
}

TEST_F(ContainerTest, HeaderIsReadOnceAndEachMemberHeaderOnce)
{
    const auto members = writePlain({member("a", pattern(70000)), member("b", pattern(70000))});
    struct stat status;
    ASSERT_EQ(stat(package.c_str(), &status), 0);
    watchReads(status.st_ino);
    ASSERT_EQ(check(), SWM_OK);
    EXPECT_EQ(callCount(Call::FdRead), 1 + members.size());
    EXPECT_EQ(watchedBytes(), kHeaderSize + members.size() * kMemberHeaderSize);
}

TEST_F(ContainerTest, AppendsToTheListItIsGiven)
{
    writePlain({member("a", "1")});
    ASSERT_EQ(check(), SWM_OK);
    ASSERT_EQ(check(), SWM_OK);
    EXPECT_EQ(list.records<PkgMemberRecord>().size(), 2u);
}

TEST_F(ContainerTest, PackageWithoutMembersIsExactlyItsHeader)
{
    writePlain({});
    EXPECT_EQ(fs::file_size(package), kHeaderSize);
    EXPECT_EQ(check(), SWM_OK);
    EXPECT_EQ(list.count(), 0u);
    EXPECT_TRUE(nothingLogged());
    appendBytes(package, "x");
    EXPECT_EQ(check(), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeHeaderParseCheck: package invalid, record size:%u, real size:%u.", 6180u, 6181u)}));
}

TEST_F(ContainerTest, TwoHundredFiftySixMembersAreTheLimit)
{
    std::vector<Member> members;
    for (int i = 0; i < 256; ++i) {
        members.push_back(member("m" + std::to_string(i), "x"));
    }
    writePlain(members);
    EXPECT_EQ(check(), SWM_OK);
    EXPECT_EQ(list.records<PkgMemberRecord>().size(), 256u);
    list.clear();
    setField(package, kFileCountAt, 257);
    clearFaults();
    EXPECT_EQ(check(), SWM_FAIL);
    EXPECT_EQ(list.count(), 0u);
    EXPECT_EQ(callCount(Call::FdRead), 1u) << "refused before any member is read";
    EXPECT_TRUE(logged({error("SafeHeaderParse: package file number(%u) over limit.", 257u)}));
}

struct Broken {
    const char *name;
    std::function<void(const fs::path &, const std::vector<Member> &)> damage;
    size_t recordsKept;
    LogLine line;
};

TEST_F(ContainerTest, BrokenStructuresAreRefusedWithOneLine)
{
    constexpr const char *kNext = "SafeGetNextFile: package invalid, current len:%u, current offset:%u.";
    constexpr const char *kLength = "SafeGetNextFile: package invalid, current len:%u, current offset:%u, filelen:%u.";
    constexpr const char *kSize = "SafeHeaderParseCheck: package invalid, record size:%u, real size:%u.";
    constexpr uint32_t kFirst = kMemberHeaderSize + 10;
    constexpr uint32_t kEnd = kHeaderSize + 2 * kFirst;
    const Broken rows[] = {
        {"first member one byte late", [](auto &p, auto &) { setField(p, slotOffsetAt(0), 6181); }, 0,
         error(kNext, 6180u, 6181u)},
        {"first member inside the header", [](auto &p, auto &) { setField(p, slotOffsetAt(0), 6179); }, 0,
         error(kNext, 6180u, 6179u)},
        {"gap before the second", [](auto &p, auto &) { setField(p, slotOffsetAt(1), kHeaderSize + kFirst + 1); }, 1,
         error(kNext, kHeaderSize + kFirst, kHeaderSize + kFirst + 1)},
        {"overlap", [](auto &p, auto &) { setField(p, slotOffsetAt(1), kHeaderSize); }, 1,
         error(kNext, kHeaderSize + kFirst, kHeaderSize)},
        {"length zero", [](auto &p, auto &) { setField(p, slotLengthAt(0), 0); }, 0, error(kLength, 6180u, 6180u, 0u)},
        {"length that wraps", [](auto &p, auto &) { setField(p, slotLengthAt(1), 0xFFFFFFFFu - kHeaderSize); }, 1,
         error(kLength, kHeaderSize + kFirst, kHeaderSize + kFirst, 0xFFFFFFFFu - kHeaderSize)},
        {"length that wraps onto the start", [](auto &p, auto &) { setField(p, slotLengthAt(0), 0u - kHeaderSize); }, 0,
         error(kLength, 6180u, 6180u, 0u - kHeaderSize)},
        {"one byte too many", [](auto &p, auto &) { appendBytes(p, "x"); }, 2, error(kSize, kEnd, kEnd + 1)},
        {"one byte too few", [](auto &p, auto &) { truncateTo(p, kEnd - 1); }, 2, error(kSize, kEnd, kEnd - 1)},
        {"last member longer than the file", [](auto &p, auto &) { setField(p, slotLengthAt(1), kFirst + 1); }, 2,
         error(kSize, kEnd + 1, kEnd)},
        {"cut inside a member header", [](auto &p, auto &) { truncateTo(p, kHeaderSize + 351); }, 0,
         error("SafeGetFileHeader: package read file head failed,  need:%u, read:%d, errno:%d.", 352u, 351,
               kAnyNumber)},
        {"cut inside the header", [](auto &p, auto &) { truncateTo(p, 6179); }, 0,
         error("SafeGetPkgHeader: get package header failed, need:%u, read:%d, errno:%d.", 6180u, 6179, kAnyNumber)},
        {"empty file", [](auto &p, auto &) { truncateTo(p, 0); }, 0,
         error("SafeGetPkgHeader: get package header failed, need:%u, read:%d, errno:%d.", 6180u, 0, kAnyNumber)},
        {"too many members", [](auto &p, auto &) { setField(p, kFileCountAt, 0xFFFFFFFFu); }, 0,
         error("SafeHeaderParse: package file number(%u) over limit.", 0xFFFFFFFFu)},
        {"count says one member too few", [](auto &p, auto &) { setField(p, kFileCountAt, 1); }, 1,
         error(kSize, kHeaderSize + kFirst, kEnd)},
        {"count says one member too many", [](auto &p, auto &) { setField(p, kFileCountAt, 3); }, 2,
         error(kNext, kEnd, 0u)},
    };
    for (const Broken &row : rows) {
        SCOPED_TRACE(row.name);
        const auto members = writePlain({member("a", pattern(10)), member("b", pattern(10))});
        row.damage(package, members);
        EXPECT_EQ(check(), SWM_FAIL);
        EXPECT_TRUE(logged({row.line}));
        EXPECT_EQ(list.records<PkgMemberRecord>().size(), row.recordsKept) << "records before the failure stay";
        list.clear();
    }
}

// Kept: the check compares ends and sizes only. Payload lengths, short members and equal names pass.
TEST_F(ContainerTest, WhatTheCheckLeavesAlone)
{
    auto members = writePlain({member("a", pattern(600)), member("a", pattern(10))});
    setField(package, kHeaderSize + 340, 0x7FFFFFFF);
    EXPECT_EQ(check(), SWM_OK);
    EXPECT_EQ(list.records<PkgMemberRecord>()[0]->payloadLength, 0x7FFFFFFFu);
    list.clear();

    // Members of 200 and 752 bytes over the bytes of one: the second's header lies inside the first's.
    setField(package, slotLengthAt(0), 200);
    setField(package, slotOffsetAt(1), kHeaderSize + 200);
    setField(package, slotLengthAt(1), memberLength(members[0]) + memberLength(members[1]) - 200);
    EXPECT_EQ(check(), SWM_OK);
    EXPECT_EQ(list.records<PkgMemberRecord>()[0]->memberLength, 200u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(ContainerTest, RegionsNotInterpretedMayHoldAnything)
{
    writePlain({member("a", pattern(10))});
    for (uint64_t at : {0, 3, 8, 31, 32, 35, 44, 55, 56, 6175, 6176, 6179}) {
        flipByte(package, at);
    }
    for (uint64_t at : {0, 115, 344, 351}) {
        flipByte(package, kHeaderSize + at);
    }
    EXPECT_EQ(check(), SWM_OK);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(ContainerTest, NamesThatFillTheirFieldsEndAtTheLastByte)
{
    writePlain({member("a", "x")});
    std::string bytes = readFile(package);
    bytes.replace(kHeaderSize + 116, 128, 128, 's');
    bytes.replace(kHeaderSize + 244, 96, 96, 'f');
    writeFile(package, bytes);
    ASSERT_EQ(check(), SWM_OK);
    const PkgMemberRecord *record = list.records<PkgMemberRecord>().at(0);
    EXPECT_EQ(record->subfileName, std::string(127, 's'));
    EXPECT_EQ(record->fileName, std::string(95, 'f'));

    MemberFileHeader header;
    const Descriptor fd(package);
    ASSERT_EQ(SafeGetFileHeader(fd, kHeaderSize, &header), SWM_OK);
    EXPECT_EQ(header.subfileName[127], '\0');
    EXPECT_EQ(header.fileName[95], '\0');
    EXPECT_EQ(header.subfileName[126], 's');
    EXPECT_EQ(header.fileName[94], 'f');
}

TEST_F(ContainerTest, FailingCallsOfTheCheck)
{
    struct Row {
        Call call;
        unsigned nth;
        int errorNumber;
        LogLine line;
    };
    const Row rows[] = {
        {Call::Lseek, 1, ESPIPE, error("SafeGetPkgHeader: lseek failed, errno:%d.", ESPIPE)},
        {Call::FdRead, 1, EIO,
         error("SafeGetPkgHeader: get package header failed, need:%u, read:%d, errno:%d.", 6180u, -1, EIO)},
        {Call::Fstat, 1, EOVERFLOW, error("TARN_SafeCheckHeader: get package size failed, errno:%d", EOVERFLOW)},
        {Call::Lseek, 2, ESPIPE, error("SafeGetFileHeader: package lseek failed, errno:%d.", ESPIPE)},
        {Call::FdRead, 2, EIO,
         error("SafeGetFileHeader: package read file head failed,  need:%u, read:%d, errno:%d.", 352u, -1, EIO)},
        {Call::Malloc, 1, ENOMEM, error("SafeCachePkgFile: malloc failed, errno:%d.", ENOMEM)},
        {Call::Sprintf, 1, 0, error("SafeCachePkgFile: sprintf file name failed.")},
        {Call::Sprintf, 2, 0, error("SafeCachePkgFile: sprintf subfile name failed.")},
    };
    writePlain({member("a", "x")});
    for (const Row &row : rows) {
        SCOPED_TRACE(row.line.text);
        failCall(row.call, row.nth, row.errorNumber);
        EXPECT_EQ(check(), SWM_FAIL);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(logged({row.line}));
        EXPECT_EQ(list.count(), 0u);
        EXPECT_EQ(liveBlocks(), 0) << "the record is released, not appended";
        clearFaults();
    }
}

TEST_F(ContainerTest, FailedClearingIsAWarningOnly)
{
    writePlain({member("a", "x")});
    failCall(Call::Memset, 1);
    EXPECT_EQ(check(), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memset", "TARN_SafeCheckHeader")}));
    failCall(Call::Memset, 2);
    EXPECT_EQ(check(), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memset", "SafeHeaderParseCheck")}));
}

TEST_F(ContainerTest, NullArguments)
{
    PackageHeader header = headerWithCount(0);
    MemberFileHeader memberHeader = {};
    PackageFileEntry entry = {};
    PkgMemberRecord record = {};
    uint32_t one = 1, two = 2, end = 3;
    char digest[65] = "untouched";
    struct Row {
        const char *function;
        std::function<uint32_t()> call;
    };
    const Row rows[] = {
        {"TARN_SafeCheckHeader", [&] { return TARN_SafeCheckHeader(0, nullptr); }},
        {"SafeGetPkgHeader", [&] { return SafeGetPkgHeader(0, nullptr); }},
        {"SafeHeaderParse", [&] { return SafeHeaderParse(0, 6180, nullptr, &list); }},
        {"SafeHeaderParse", [&] { return SafeHeaderParse(0, 6180, &header, nullptr); }},
        {"SafeHeaderParseCheck", [&] { return SafeHeaderParseCheck(0, 6180, nullptr, &list); }},
        {"SafeHeaderParseCheck", [&] { return SafeHeaderParseCheck(0, 6180, &header, nullptr); }},
        {"SafeGetNextFile", [&] { return SafeGetNextFile(nullptr, &one, &two, &end); }},
        {"SafeGetNextFile", [&] { return SafeGetNextFile(&entry, nullptr, &two, &end); }},
        {"SafeGetNextFile", [&] { return SafeGetNextFile(&entry, &one, nullptr, &end); }},
        {"SafeGetNextFile", [&] { return SafeGetNextFile(&entry, &one, &two, nullptr); }},
        {"SafeGetFileHeader", [&] { return SafeGetFileHeader(0, 6180, nullptr); }},
        {"SafeCachePkgFile", [&] { return SafeCachePkgFile(1, 2, nullptr, &list); }},
        {"SafeCachePkgFile", [&] { return SafeCachePkgFile(1, 2, &memberHeader, nullptr); }},
        {"TARN_SafeGetFileHash", [&] { return TARN_SafeGetFileHash(0, nullptr, digest, 65); }},
        {"TARN_SafeGetFileHash", [&] { return TARN_SafeGetFileHash(0, &record, nullptr, 65); }},
        {"TARN_SafeFindTarget", [&] { return TARN_SafeFindTarget(nullptr, "a") == nullptr ? SWM_FAIL : SWM_OK; }},
        {"TARN_SafeFindTarget", [&] { return TARN_SafeFindTarget(&list, nullptr) == nullptr ? SWM_FAIL : SWM_OK; }},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.call(), SWM_FAIL);
        const auto lines = takeLog();
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].format,
                  std::string("[BOOT][SWM_BASE][ERROR][%s:%d]: ") + row.function + ": get null param.");
        EXPECT_EQ(lines[0].level, 3u);
        EXPECT_EQ(lines[0].text.rfind("[BOOT][SWM_BASE][ERROR][tarn_safe_common.cpp:", 0), 0u);
    }
    EXPECT_EQ(one, 1u);
    EXPECT_EQ(two, 2u);
    EXPECT_EQ(end, 3u);
    EXPECT_STREQ(digest, "untouched");
    EXPECT_EQ(list.count(), 0u);
    EXPECT_EQ(callCount(Call::Lseek), 0u) << "arguments come before any file is touched";
}

TEST_F(ContainerTest, NextFileAdvancesOnSuccessOnly)
{
    PackageFileEntry entry = {};
    entry.memberOffset = be32(0x01020304);
    entry.memberLength = be32(0x10);
    uint32_t offset = 7, length = 8, end = 0x01020304;
    EXPECT_EQ(SafeGetNextFile(&entry, &offset, &length, &end), SWM_OK);
    EXPECT_EQ(offset, 0x01020304u);
    EXPECT_EQ(length, 0x10u);
    EXPECT_EQ(end, 0x01020314u);

    EXPECT_EQ(SafeGetNextFile(&entry, &offset, &length, &end), SWM_FAIL);
    EXPECT_TRUE(logged(
        {error("SafeGetNextFile: package invalid, current len:%u, current offset:%u.", 0x01020314u, 0x01020304u)}));
    entry.memberOffset = be32(0xFFFFFFF0);
    end = 0xFFFFFFF0;
    EXPECT_EQ(SafeGetNextFile(&entry, &offset, &length, &end), SWM_FAIL) << "an end of 2^32 wraps to 0";
    EXPECT_TRUE(logged({error("SafeGetNextFile: package invalid, current len:%u, current offset:%u, filelen:%u.",
                              0xFFFFFFF0u, 0xFFFFFFF0u, 0x10u)}));
    EXPECT_EQ(offset, 0x01020304u);
    EXPECT_EQ(length, 0x10u);
    EXPECT_EQ(end, 0xFFFFFFF0u);
    entry.memberLength = be32(0x0F);
    EXPECT_EQ(SafeGetNextFile(&entry, &offset, &length, &end), SWM_OK);
    EXPECT_EQ(end, 0xFFFFFFFFu);
}

TEST_F(ContainerTest, ParsingStepsByThemselves)
{
    writePlain({member("a", "x")});
    const Descriptor fd(package);
    PackageHeader header;
    lseek(fd, 99, SEEK_SET);
    ASSERT_EQ(SafeGetPkgHeader(fd, &header), SWM_OK);
    EXPECT_EQ(memcmp(&header, readFile(package).data(), sizeof header), 0);
    EXPECT_EQ(SafeHeaderParse(fd, kHeaderSize + 353, &header, &list), SWM_OK);
    EXPECT_EQ(SafeHeaderParseCheck(fd, kHeaderSize + 353, &header, &list), SWM_OK);
    EXPECT_EQ(list.records<PkgMemberRecord>().size(), 2u);
    header = headerWithCount(257);
    EXPECT_EQ(SafeHeaderParse(fd, kHeaderSize, &header, &list), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeHeaderParse: package file number(%u) over limit.", 257u)}));
}

TEST_F(ContainerTest, CachedMemberTakesNamesThatFit)
{
    MemberFileHeader header = {};
    memset(header.subfileName, 's', 127);
    memset(header.fileName, 'f', 95);
    header.payloadLength = be32(0xA0B0C0D0);
    ASSERT_EQ(SafeCachePkgFile(0x11223344, 0x55667788, &header, &list), SWM_OK);
    const PkgMemberRecord *record = list.records<PkgMemberRecord>().at(0);
    EXPECT_EQ(record->memberOffset, 0x11223344u);
    EXPECT_EQ(record->memberLength, 0x55667788u);
    EXPECT_EQ(record->payloadLength, 0xA0B0C0D0u);
    EXPECT_EQ(record->fileName, std::string(95, 'f'));
    EXPECT_EQ(record->subfileName, std::string(127, 's'));

    header.fileName[95] = 'f';
    EXPECT_EQ(SafeCachePkgFile(1, 2, &header, &list), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeCachePkgFile: sprintf file name failed.")}));
    header.fileName[95] = '\0';
    header.subfileName[127] = 's';
    EXPECT_EQ(SafeCachePkgFile(1, 2, &header, &list), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeCachePkgFile: sprintf subfile name failed.")}));
    EXPECT_EQ(list.records<PkgMemberRecord>().size(), 1u);
    EXPECT_EQ(liveBlocks(), 1);
}

TEST_F(ContainerTest, LookupComparesBothNamesInListOrder)
{
    writePlain({{"one", "two", "", {}}, {"two", "three", "", {}}, {"one", "four", "", {}}, {"", "five", "", {}}});
    ASSERT_EQ(check(), SWM_OK);
    const auto records = list.records<PkgMemberRecord>();
    EXPECT_EQ(TARN_SafeFindTarget(&list, "one"), records[0]) << "subfile name, first of two";
    EXPECT_EQ(TARN_SafeFindTarget(&list, "two"), records[0])
        << "file name of the first before subfile name of the next";
    EXPECT_EQ(TARN_SafeFindTarget(&list, "three"), records[1]);
    EXPECT_EQ(TARN_SafeFindTarget(&list, "four"), records[2]);
    EXPECT_EQ(TARN_SafeFindTarget(&list, ""), records[3]) << "an empty name is compared like any other";
    EXPECT_EQ(TARN_SafeFindTarget(&list, "Two"), nullptr);
    EXPECT_EQ(TARN_SafeFindTarget(&list, "tw"), nullptr);
    EXPECT_EQ(TARN_SafeFindTarget(&list, "two "), nullptr);
    const SwmListHead zeroed = {};
    EXPECT_EQ(TARN_SafeFindTarget(&zeroed, "one"), nullptr) << "a head of zero bytes is empty";
    EXPECT_TRUE(nothingLogged());
}

TEST_F(ContainerTest, DigestCoversHeaderAndPayload)
{
    const auto members = writePlain({member("a", pattern(10)), member("b", pattern(100000))});
    ASSERT_EQ(check(), SWM_OK);
    const Descriptor fd(package);
    for (size_t i = 0; i < 2; ++i) {
        char digest[65];
        EXPECT_EQ(TARN_SafeGetFileHash(fd, list.records<PkgMemberRecord>()[i], digest, sizeof digest), SWM_OK);
        EXPECT_EQ(digest, packaging::memberDigest(members[i]));
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(ContainerTest, DigestFailures)
{
    writePlain({member("a", pattern(10))});
    ASSERT_EQ(check(), SWM_OK);
    PkgMemberRecord record = *list.records<PkgMemberRecord>()[0];
    const Descriptor fd(package);
    char digest[65] = "untouched";
    EXPECT_EQ(TARN_SafeGetFileHash(-1, &record, digest, sizeof digest), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeGetFileHash: lseek failed, errno:%d.", EBADF)}));
    EXPECT_EQ(TARN_SafeGetFileHash(fd, &record, digest, 64), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeGetFileHash: calc hash failed.")}));
    record.memberLength += 1;
    EXPECT_EQ(TARN_SafeGetFileHash(fd, &record, digest, sizeof digest), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeGetFileHash: calc hash failed.")}));
    EXPECT_STREQ(digest, "untouched");
}

TEST_F(ContainerTest, PackageSuffixes)
{
    struct Row {
        const char *name;
        uint32_t expected;
        unsigned suffixesTried;
    };
    // ".cc", ".CC", ".ccx", ".cch" are tried in this order.
    const Row rows[] = {{"a.cc", 1, 1},  {"a.CC", 1, 2},    {"a.ccx", 1, 3}, {"a.cch", 1, 4}, {"/d.x/a.cc", 1, 1},
                        {".cc", 1, 1},   {"a.Cc", 0, 4},    {"a.cC", 0, 4},  {"a.CCX", 0, 4}, {"a.CCH", 0, 4},
                        {"a.cc ", 0, 4}, {"a.cc.gz", 0, 4}, {"acc", 0, 4},   {"cc", 0, 4}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        clearFaults();
        EXPECT_EQ(TARN_SafeIsPkgFile(row.name), row.expected);
        EXPECT_EQ(callCount(Call::IsPostfixString), row.suffixesTried);
    }
    EXPECT_EQ(TARN_SafeIsPkgFile(nullptr), 0u);
    EXPECT_EQ(TARN_SafeIsPkgFile(""), 0u);
    EXPECT_TRUE(nothingLogged());
}

class CopyTest : public BootTest {
protected:
    // Copies `length` bytes from position `from` of a file of `size` bytes; returns what arrived.
    uint32_t copy(size_t size, off_t from, uint32_t length)
    {
        content = pattern(size);
        writeFile(dir / "in", content);
        const Descriptor in(dir / "in");
        const Descriptor out(dir / "out", O_RDWR | O_CREAT | O_TRUNC);
        lseek(in, from, SEEK_SET);
        const uint32_t status = TARN_SafeCopyByDescripter(in, out, length);
        inAt = lseek(in, 0, SEEK_CUR);
        arrived = readFile(dir / "out");
        return status;
    }
    std::string content;
    std::string arrived;
    off_t inAt = 0;
};

TEST_F(CopyTest, GoesInChunksFromThePresentPositions)
{
    struct Row {
        uint32_t length;
        unsigned chunks;
    };
    for (const Row &row : {Row{0, 0}, {1, 1}, {kChunk - 1, 1}, {kChunk, 1}, {kChunk + 1, 2}, {3 * kChunk, 3}}) {
        SCOPED_TRACE(row.length);
        clearFaults();
        EXPECT_EQ(copy(4 * kChunk, 11, row.length), SWM_OK);
        EXPECT_TRUE(arrived == content.substr(11, row.length));
        EXPECT_EQ(inAt, off_t{11} + row.length);
        EXPECT_EQ(callCount(Call::SwmRead), row.chunks);
        EXPECT_EQ(callCount(Call::SwmWrite), row.chunks);
        EXPECT_EQ(callCount(Call::Memset), row.chunks) << "the buffer is cleared before each chunk";
        EXPECT_EQ(liveBlocks(), 0);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(CopyTest, StopsAtAShortRead)
{
    EXPECT_EQ(copy(kChunk + 100, 0, kChunk + 200), SWM_FAIL);
    EXPECT_TRUE(
        logged({error("TARN_SafeCopyByDescripter: read failed, need(%u) read(%d), errno:%d.", 200u, 100, kAnyNumber)}));
    EXPECT_TRUE(arrived == content.substr(0, kChunk)) << "what was written stays";
}

TEST_F(CopyTest, Failures)
{
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(copy(10, 0, 10), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeCopyByDescripter: malloc buffer failed, errno:%d.", ENOMEM)}));

    failCall(Call::SwmRead, 2, EIO);
    EXPECT_EQ(copy(kChunk + 10, 0, kChunk + 10), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeCopyByDescripter: read failed, need(%u) read(%d), errno:%d.", 10u, -1, EIO)}));
    EXPECT_EQ(arrived.size(), kChunk);

    failCall(Call::SwmWrite, 2, ENOSPC);
    setFaultResult(4);
    EXPECT_EQ(copy(kChunk + 10, 0, kChunk + 10), SWM_FAIL);
    EXPECT_TRUE(
        logged({error("TARN_SafeCopyByDescripter: write failed, need(%d) write(%d), errno:%d.", 10, 4, ENOSPC)}));
    EXPECT_EQ(arrived.size(), kChunk);

    EXPECT_EQ(TARN_SafeCopyByDescripter(-1, -1, 5), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeCopyByDescripter: read failed, need(%u) read(%d), errno:%d.", 5u, -1, EBADF)}));
    EXPECT_EQ(liveBlocks(), 0);

    failCall(Call::Memset, 1);
    EXPECT_EQ(copy(10, 0, 10), SWM_OK);
    EXPECT_TRUE(arrived == content);
    EXPECT_TRUE(logged({copyWarning("memset", "TARN_SafeCopyByDescripter")}));
}

} // namespace
} // namespace tarn::test
