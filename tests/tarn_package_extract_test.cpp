// Legacy access: the header scan, names that stand for signatures, copies of byte ranges.
#include "legacy_test.h"

namespace tarn::test {
namespace {

constexpr size_t kSubfileNameAt = 116;
constexpr size_t kFileNameAt = 244;

class ScanTest : public LegacyTest {
protected:
    uint32_t scan(const std::string &name) { return scanIn(package, name); }
    uint32_t scanIn(const fs::path &path, const std::string &name)
    {
        const Descriptor fd(path);
        lseek(fd, 0, SEEK_END);
        memset(&entry, 0x5A, sizeof(entry));
        return SwmFindFileDescInfoFromCc(fd, name.c_str(), &entry);
    }
    static std::string slotOf(const fs::path &path, size_t index) { return readFile(path).substr(32 + 24 * index, 24); }
    std::string entryBytes() const { return {reinterpret_cast<const char *>(&entry), sizeof(entry)}; }
    bool entryUntouched() const { return entryBytes() == std::string(24, 0x5A); }
    void overwrite(uint64_t at, const std::string &bytes) const
    {
        std::fstream file(package, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(at));
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    static LogLine notFound(const std::string &name) { return warning("Can't find file: %s in cc.", name.c_str()); }

    PackageFileEntry entry;
};

TEST_F(ScanTest, EitherNameGivesTheSlotAsItStands)
{
    // Bytes that nobody interprets come along.
    overwrite(32 + 24, std::string(4, 'x'));
    overwrite(32 + 24 + 12, std::string(12, 'y'));
    const struct {
        const char *name;
        size_t index;
    } rows[] = {{"app", 0},
                {"app.img", 0},
                {"conf", 1},
                {"conf.img", 1},
                {"signature_filelist", 2},
                {"signature_pss_cms.bin", 4}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(scan(row.name), 0u);
        EXPECT_EQ(entryBytes(), slotOf(package, row.index));
        EXPECT_TRUE(nothingLogged());
    }
}

TEST_F(ScanTest, NoMatch)
{
    for (const char *name : {"ap", "app.im", "APP", "app.imgx"}) {
        EXPECT_EQ(scan(name), SWM_LEGACY_NOT_FOUND);
        EXPECT_TRUE(entryUntouched());
        EXPECT_TRUE(logged({notFound(name)}));
    }
}

TEST_F(ScanTest, TheFirstMemberWithTheNameInEitherPlaceIsTaken)
{
    packaging::writeContainer(package,
                              {{"other", "first", "1", {}}, {"both", "second", "2", {}}, {"last", "both", "3", {}}});
    EXPECT_EQ(scan("both"), 0u);
    EXPECT_EQ(entryBytes(), slotOf(package, 1));
    packaging::writeContainer(package, {{"other", "both", "1", {}}, {"both", "second", "2", {}}});
    EXPECT_EQ(scan("both"), 0u);
    EXPECT_EQ(entryBytes(), slotOf(package, 0));
    EXPECT_EQ(callCount(Call::SwmRead), 1u + 2 + 1 + 1) << "nothing is read behind the match";
}

TEST_F(ScanTest, ACountAbove256IsClipped)
{
    std::vector<packaging::Member> many;
    for (unsigned i = 0; i < 256; ++i) {
        many.push_back(member("m" + std::to_string(i), "x"));
    }
    packaging::writeContainer(package, many);
    for (const uint32_t count : {256u, 257u, 1000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(count);
        setField(package, kFileCountAt, count);
        clearFaults();
        EXPECT_EQ(scan("m255"), 0u);
        EXPECT_EQ(entryBytes(), slotOf(package, 255));
        clearFaults();
        EXPECT_EQ(scan("none"), SWM_LEGACY_NOT_FOUND);
        EXPECT_EQ(callCount(Call::SwmRead), 1u + 256);
        takeLog();
    }
    setField(package, kFileCountAt, 255);
    EXPECT_EQ(scan("m255"), SWM_LEGACY_NOT_FOUND);
    setField(package, kFileCountAt, 0);
    EXPECT_EQ(scan("m0"), SWM_LEGACY_NOT_FOUND);
}

TEST_F(ScanTest, NamesEndInTheirFieldsLastByte)
{
    const uint32_t at = memberOffset(members, 1);
    overwrite(at + kSubfileNameAt, std::string(128, 'a'));
    overwrite(at + kFileNameAt, std::string(96, 'b'));
    EXPECT_EQ(scan(std::string(127, 'a')), 0u);
    EXPECT_EQ(entryBytes(), slotOf(package, 1));
    EXPECT_EQ(scan(std::string(95, 'b')), 0u);
    EXPECT_EQ(entryBytes(), slotOf(package, 1));
    for (const std::string &name :
         {std::string(128, 'a'), std::string(128, 'a') + std::string(96, 'b'), std::string(96, 'b')}) {
        EXPECT_EQ(scan(name), SWM_LEGACY_NOT_FOUND);
    }
}

TEST_F(ScanTest, NothingElseIsChecked)
{
    setField(package, slotLengthAt(0), 0);                        // no length
    setField(package, slotOffsetAt(1), memberOffset(members, 0)); // overlapping
    appendBytes(package, "behind the last member");
    EXPECT_EQ(scan("app"), 0u);
    EXPECT_EQ(entryBytes(), slotOf(package, 0));
    EXPECT_EQ(scan("conf"), SWM_LEGACY_NOT_FOUND) << "its slot leads elsewhere";
    // Before the members, and far behind the end of what 31 bits can say.
    setField(package, slotOffsetAt(1), 1);
    setField(package, slotOffsetAt(2), 0xC0000000u);
    const std::string header = readFile(package).substr(memberOffset(members, 2), kMemberHeaderSize);
    truncateTo(package, 0xC0000000u + uint64_t{kMemberHeaderSize});
    overwrite(0xC0000000u, header);
    takeLog();
    EXPECT_EQ(scan("signature_filelist"), 0u);
    EXPECT_EQ(entryBytes().substr(4, 4), std::string("\xC0\0\0\0", 4));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(ScanTest, ShortHeaders)
{
    const uint32_t second = memberOffset(members, 1);
    const struct {
        uint64_t size;
        LogLine line;
    } rows[] = {
        {0, LEGACY_LINE("Get CC header failed, FileLen = %d, errno = %d.", 0, kAnyNumber)},
        {6179, LEGACY_LINE("Get CC header failed, FileLen = %d, errno = %d.", 6179, kAnyNumber)},
        {second + 351, LEGACY_LINE("Get bin file header failed, FileLen = %d, errno = %d.", 351, kAnyNumber)},
        {second, LEGACY_LINE("Get bin file header failed, FileLen = %d, errno = %d.", 0, kAnyNumber)},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.size);
        members = writeSigned(package, {member("app", app), member("conf", conf)});
        truncateTo(package, row.size);
        EXPECT_EQ(scan("conf"), SWM_LEGACY_FAILED);
        EXPECT_TRUE(entryUntouched());
        EXPECT_TRUE(logged({row.line}));
    }
    members = writeSigned(package, {member("app", app), member("conf", conf)});
    truncateTo(package, second + 351);
    EXPECT_EQ(scan("app"), 0u) << "found before the damage";
    truncateTo(package, second + 352);
    EXPECT_EQ(scan("conf"), 0u) << "the payload is not asked for";
}

TEST_F(ScanTest, FailingCalls)
{
    const struct {
        Call call;
        unsigned nth;
        int error;
        uint32_t result;
        Lines lines;
    } rows[] = {
        {Call::Malloc, 1, ENOMEM, SWM_E_NO_MEMORY, {}}, // the result says it
        {Call::Memset, 1, EINVAL, 0, {copyWarning("memset", "SwmFindFileDescInfoFromCc")}},
        {Call::SwmRead, 1, EIO, 1, {LEGACY_LINE("Get CC header failed, FileLen = %d, errno = %d.", -1, EIO)}},
        {Call::SwmRead, 3, EIO, 1, {LEGACY_LINE("Get bin file header failed, FileLen = %d, errno = %d.", -1, EIO)}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(nameOf(row.call)) + " " + std::to_string(row.nth));
        failCall(row.call, row.nth, row.error);
        EXPECT_EQ(scan("conf"), row.result);
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(entryUntouched(), row.result != 0);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(ScanTest, NullArguments)
{
    const Descriptor fd(package);
    const LogLine line = nullParamOf(kLegacyFile, "SwmFindFileDescInfoFromCc");
    memset(&entry, 0x5A, sizeof(entry));
    EXPECT_EQ(SwmFindFileDescInfoFromCc(fd, nullptr, &entry), SWM_LEGACY_FAILED);
    EXPECT_TRUE(logged({line}));
    EXPECT_EQ(SwmFindFileDescInfoFromCc(fd, "", &entry), SWM_LEGACY_FAILED);
    EXPECT_TRUE(logged({line}));
    EXPECT_EQ(SwmFindFileDescInfoFromCc(fd, "app", nullptr), SWM_LEGACY_FAILED);
    EXPECT_TRUE(logged({line}));
    EXPECT_TRUE(entryUntouched());
    EXPECT_EQ(callCount(Call::SwmRead), 0u);
}

TEST_F(ScanTest, SignatureNames)
{
    for (const char *name :
         {"signature_pss_filelist.bin", "signature_pss_cms.bin", "signature_pss_filelist", "signature_pss_cms"}) {
        EXPECT_EQ(TarnIsSignatureFile(name), 1u) << name;
    }
    for (const char *name :
         {"", "signature_filelist", "signature_pss_cms.bi", "Signature_pss_cms", "signature_pss_cms "}) {
        EXPECT_EQ(TarnIsSignatureFile(name), 0u) << name;
    }
    EXPECT_EQ(TarnIsSignatureFile(nullptr), 0u);
    EXPECT_TRUE(nothingLogged());
}

class CopyTest : public LegacyTest {
protected:
    const std::string content = pattern(100000, 7);
    CopyTest() { writeFile(dir / "source", content); }

    // Copies from byte 3 on, behind the two bytes that the destination holds.
    uint32_t copy(uint32_t length)
    {
        writeFile(dir / "copy", "..");
        const Descriptor source(dir / "source");
        const Descriptor destination(dir / "copy", O_WRONLY | O_APPEND);
        lseek(source, 3, SEEK_SET);
        const uint32_t result = SWM_CopyFileWithLen(source, destination, length);
        position = lseek(source, 0, SEEK_CUR);
        return result;
    }
    std::string copied() const { return readFile(dir / "copy").substr(2); }

    off_t position = 0;
};

TEST_F(CopyTest, Lengths)
{
    for (const uint32_t length : {0u, 1u, kChunk - 1, kChunk, kChunk + 1, 2 * kChunk, 99997u}) {
        SCOPED_TRACE(length);
        clearFaults();
        EXPECT_EQ(copy(length), 0u);
        EXPECT_TRUE(copied() == content.substr(3, length));
        EXPECT_EQ(position, 3 + static_cast<off_t>(length));
        EXPECT_EQ(callCount(Call::SwmRead), (length + kChunk - 1) / kChunk);
        EXPECT_EQ(callCount(Call::SwmWrite), (length + kChunk - 1) / kChunk);
        EXPECT_TRUE(nothingLogged());
    }
}

TEST_F(CopyTest, LengthsThatAreNegativeAsSignedCountCopyNothing)
{
    for (const uint32_t length : {0x80000000u, 0x80000001u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(length);
        EXPECT_EQ(copy(length), 0u);
        EXPECT_EQ(copied(), "");
        EXPECT_EQ(position, 3);
        EXPECT_TRUE(nothingLogged());
    }
    EXPECT_EQ(callCount(Call::SwmRead), 0u);
    EXPECT_EQ(copy(0x7FFFFFFFu), SWM_LEGACY_FAILED) << "the largest that is tried";
    EXPECT_TRUE(copied() == content.substr(3, 3 * kChunk));
}

TEST_F(CopyTest, OneBufferOfOneChunk)
{
    recordCalls({Call::Malloc});
    EXPECT_EQ(copy(99997), 0u);
    EXPECT_EQ(recordedCalls(), std::vector<std::string>{"malloc 32768"});
}

TEST_F(CopyTest, Failures)
{
    const struct {
        Call call;
        unsigned nth;
        int error;
        long answer;
        uint32_t written;
        LogLine line;
    } rows[] = {
        {Call::Malloc, 1, ENOMEM, 0, 0, LEGACY_LINE("alloc memory failed.")},
        {Call::SwmRead, 1, EIO, -1, 0, LEGACY_LINE("read from cc fd failed, ReadLen = %d, errno = %d.", -1, EIO)},
        {Call::SwmRead, 2, EIO, 100, kChunk,
         LEGACY_LINE("read from cc fd failed, ReadLen = %d, errno = %d.", 100, EIO)},
        {Call::SwmWrite, 1, ENOSPC, -1, 0, LEGACY_LINE("write subfile fd failed, errno = %d.", ENOSPC)},
        {Call::SwmWrite, 2, ENOSPC, 100, kChunk, LEGACY_LINE("write subfile fd failed, errno = %d.", ENOSPC)},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(nameOf(row.call)) + " " + std::to_string(row.nth));
        failCall(row.call, row.nth, row.error);
        setFaultResult(row.answer);
        EXPECT_EQ(copy(99997), SWM_LEGACY_FAILED);
        EXPECT_TRUE(copied() == content.substr(3, row.written));
        EXPECT_TRUE(logged({row.line}));
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(CopyTest, ASourceThatEndsEarlyGivesWholeChunksOnly)
{
    EXPECT_EQ(copy(100000), SWM_LEGACY_FAILED);
    EXPECT_TRUE(copied() == content.substr(3, 3 * kChunk));
    EXPECT_TRUE(
        logged({LEGACY_LINE("read from cc fd failed, ReadLen = %d, errno = %d.", 99997 - 3 * 32768, kAnyNumber)}));
    EXPECT_EQ(SWM_CopyFileWithLen(-1, -1, 1), SWM_LEGACY_FAILED);
    EXPECT_TRUE(logged({LEGACY_LINE("read from cc fd failed, ReadLen = %d, errno = %d.", -1, EBADF)}));
}

} // namespace
} // namespace tarn::test
