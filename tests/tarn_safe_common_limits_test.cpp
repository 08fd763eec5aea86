// The container reader at the edges of its buffers: full tables, fields without an end, outputs after failures, lists
// of zero bytes.
#include <cstring>
#include <memory>

#include <sys/stat.h>

#include <tarn_basic/ini.h>

#include "support/boot_test.h"

namespace tarn::test {
namespace {

class LimitsTest : public BootTest {
protected:
    const fs::path package = dir / "p.cc";
};

// In a heap block of its own, behind which a sanitizer sees every byte.
template <typename T> std::unique_ptr<T> onHeap(const T &value)
{
    return std::make_unique<T>(value);
}

template <typename T> bool holdsOnly(const T &object, int byte)
{
    return std::string(reinterpret_cast<const char *>(&object), sizeof object) ==
           std::string(sizeof object, static_cast<char>(byte));
}

TEST_F(LimitsTest, TableEndsAfterItsLastSlotWhateverTheCount)
{
    std::vector<packaging::Member> members(256);
    for (size_t i = 0; i < members.size(); ++i) {
        members[i] = member("m" + std::to_string(i), "x");
    }
    packaging::writeContainer(package, members);
    setField(package, kFileCountAt, 257);
    const auto size = static_cast<uint32_t>(fs::file_size(package));
    const Descriptor fd(package);
    const auto header = onHeap(PackageHeader{});
    ASSERT_EQ(SafeGetPkgHeader(fd, header.get()), SWM_OK);
    EXPECT_EQ(SafeHeaderParseCheck(fd, size, header.get(), &list), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeHeaderParseCheck: package invalid, record size:%u, real size:%u.", size, size)}));
    EXPECT_EQ(list.records<PkgMemberRecord>().size(), 256u);
}

TEST_F(LimitsTest, HeaderIsReadThenSizedThenParsed)
{
    packaging::writeContainer(package, {});
    setField(package, kFileCountAt, 257);
    const auto checkWithFailingStatus = [&] {
        const Descriptor fd(package);
        failCall(Call::Fstat, 1, EIO);
        return TARN_SafeCheckHeader(fd, &list);
    };
    EXPECT_EQ(checkWithFailingStatus(), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeCheckHeader: get package size failed, errno:%d", EIO)}));
    truncateTo(package, 100);
    EXPECT_EQ(checkWithFailingStatus(), SWM_FAIL);
    EXPECT_FALSE(faultHit());
    EXPECT_TRUE(logged(
        {error("SafeGetPkgHeader: get package header failed, need:%u, read:%d, errno:%d.", 6180u, 100, kAnyNumber)}));
}

TEST_F(LimitsTest, NamesWithoutAnEndAreNotReadPast)
{
    MemberFileHeader header;
    memset(&header, 'x', sizeof header);
    EXPECT_EQ(SafeCachePkgFile(1, 2, onHeap(header).get(), &list), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeCachePkgFile: sprintf file name failed.")}));
    header.fileName[95] = '\0';
    EXPECT_EQ(SafeCachePkgFile(1, 2, onHeap(header).get(), &list), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeCachePkgFile: sprintf subfile name failed.")}));
    EXPECT_EQ(list.count(), 0u);
    header.subfileName[127] = '\0';
    EXPECT_EQ(SafeCachePkgFile(1, 2, onHeap(header).get(), &list), SWM_OK);
    EXPECT_EQ(list.records<PkgMemberRecord>().at(0)->subfileName, std::string(127, 'x'));
}

TEST_F(LimitsTest, OutputsStayUntouchedOnFailure)
{
    packaging::writeContainer(package, {member("a", "x")});
    truncateTo(package, kHeaderSize + 351);
    MemberFileHeader memberHeader;
    memset(&memberHeader, 7, sizeof memberHeader);
    PackageHeader header;
    memset(&header, 7, sizeof header);
    {
        const Descriptor fd(package);
        EXPECT_EQ(SafeGetFileHeader(fd, kHeaderSize, &memberHeader), SWM_FAIL);
        EXPECT_TRUE(holdsOnly(memberHeader, 7));
        failCall(Call::Lseek, 1, EIO);
        EXPECT_EQ(SafeGetPkgHeader(fd, &header), SWM_FAIL);
        EXPECT_TRUE(holdsOnly(header, 7));
    }
    truncateTo(package, kHeaderSize - 1);
    const Descriptor fd(package);
    EXPECT_EQ(SafeGetPkgHeader(fd, &header), SWM_FAIL);
    EXPECT_TRUE(holdsOnly(header, 7));

    struct {
        char text[65];
    } digest;
    memset(&digest, 7, sizeof digest);
    const PkgMemberRecord record = {};
    failCall(Call::CalcSha256, 1);
    setScribble(true);
    EXPECT_EQ(TARN_SafeGetFileHash(fd, &record, digest.text, sizeof digest.text), SWM_FAIL);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(holdsOnly(digest, 7)) << "whatever a failed calculation leaves";
}

TEST_F(LimitsTest, AppendingToAHeadOfZeroBytes)
{
    const MemberFileHeader header = {};
    list.fillWithZeros();
    EXPECT_EQ(SafeCachePkgFile(1, 2, &header, &list), SWM_OK);
    EXPECT_EQ(SafeCachePkgFile(3, 4, &header, &list), SWM_OK);
    const auto members = list.records<PkgMemberRecord>();
    ASSERT_EQ(members.size(), 2u);
    EXPECT_EQ(members[0]->memberOffset, 1u);
    EXPECT_EQ(members[1]->memberOffset, 3u);
    list.clear();

    writeFile(dir / "list", "[a]\nFILENAME=one\nSHA256-DIGEST=d\n[b]\nFILENAME=two\nSHA256-DIGEST=e\n");
    list.fillWithZeros();
    EXPECT_EQ(TARN_SafeCacheSignedFile((dir / "list").c_str(), &list), SWM_OK);
    const auto files = list.records<SignedFileRecord>();
    ASSERT_EQ(files.size(), 2u);
    EXPECT_STREQ(files[0]->fileName, "one");
    EXPECT_STREQ(files[1]->fileName, "two");
}

TEST_F(LimitsTest, OneBufferPerCopyWhateverItsLength)
{
    writeFile(dir / "in", pattern(3 * kChunk));
    const Descriptor in(dir / "in");
    const Descriptor out(dir / "out", O_RDWR | O_CREAT);
    const std::vector<std::string> oneBuffer = {"malloc " + std::to_string(kChunk)};
    for (const uint32_t length : {0u, 1u, kChunk + 1}) {
        SCOPED_TRACE(length);
        recordCalls({Call::Malloc});
        EXPECT_EQ(TARN_SafeCopyByDescripter(in, out, length), SWM_OK);
        EXPECT_EQ(recordedCalls(), oneBuffer);
    }
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(TARN_SafeCopyByDescripter(in, out, 0), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeCopyByDescripter: malloc buffer failed, errno:%d.", ENOMEM)}));
}

TEST_F(LimitsTest, BuffersWithoutRoom)
{
    char value[] = "v";
    const SwmIniKey key = {"a", value, nullptr};
    char out[] = "untouched";
    EXPECT_EQ(SafeGetKeyValue(&key, "a", out, 0), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeGetKeyValue: sprintf failed, key(%s) value(%s).", "a", "v")}));
    EXPECT_STREQ(out, "untouched");
    setFakePid(812);
    EXPECT_EQ(TARN_SafeGetWorkdir(0, out, 0), SWM_FAIL);
    EXPECT_TRUE(logged({error("TARN_SafeGetWorkdir: sprintf failed, module:%s, pid:%u.", "extract", 812u)}));
    EXPECT_STREQ(out, "untouched");
    EXPECT_EQ(TARN_SafeGetWorkdir(0, out, 1), SWM_FAIL);
    EXPECT_STREQ(out, "") << "a path that does not fit leaves the buffer empty";
}

} // namespace
} // namespace tarn::test
