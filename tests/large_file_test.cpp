// Packages past 2 GiB and 4 GiB: sparse files, of which only headers and small members are read.
#include <cstring>

#include <unistd.h>

#include "packaging/container_writer.h"
#include "support/boot_test.h"

#define GROW_OR_SKIP(size)                                                                                             \
    if (!grow(size)) {                                                                                                 \
        GTEST_SKIP() << "no sparse files of this size here: " << strerror(errno);                                      \
    }

namespace tarn::test {
namespace {

class LargeFileTest : public BootTest {
protected:
    const fs::path package = dir / "large.cc";

    // Where the file system refuses, there is nothing to test.
    bool grow(uint64_t size) { return truncate(package.c_str(), static_cast<off_t>(size)) == 0; }
    void writeAt(uint64_t offset, const std::string &bytes)
    {
        const Descriptor fd(package, O_WRONLY);
        ASSERT_EQ(pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset)),
                  static_cast<ssize_t>(bytes.size()));
    }
    uint32_t check()
    {
        const Descriptor fd(package);
        return TARN_SafeCheckHeader(fd, &list);
    }
};

constexpr uint64_t kFourGiB = uint64_t{1} << 32;

// Kept: sizes are compared on their low 32 bits.
TEST_F(LargeFileTest, SizesAreComparedOnTheLowThirtyTwoBits)
{
    packaging::writeContainer(package, {});
    GROW_OR_SKIP(kFourGiB + kHeaderSize);
    EXPECT_EQ(check(), SWM_OK);
    GROW_OR_SKIP(kFourGiB + kHeaderSize + 1);
    EXPECT_EQ(check(), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeHeaderParseCheck: package invalid, record size:%u, real size:%u.", 6180u, 6181u)}));
    GROW_OR_SKIP(kFourGiB);
    EXPECT_EQ(check(), SWM_FAIL);
    EXPECT_TRUE(logged({error("SafeHeaderParseCheck: package invalid, record size:%u, real size:%u.", 6180u, 0u)}));
}

TEST_F(LargeFileTest, MemberUpToTheLastByteThatThirtyTwoBitsReach)
{
    packaging::writeContainer(package, {member("a", "")});
    setField(package, slotLengthAt(0), 0xFFFFFFFFu - kHeaderSize);
    GROW_OR_SKIP(0xFFFFFFFFu);
    EXPECT_EQ(check(), SWM_OK);
    EXPECT_EQ(list.records<PkgMemberRecord>().at(0)->memberLength, 0xFFFFFFFFu - kHeaderSize);
    EXPECT_TRUE(nothingLogged());
    setField(package, slotLengthAt(0), 0u - kHeaderSize);
    GROW_OR_SKIP(kFourGiB);
    EXPECT_EQ(check(), SWM_FAIL) << "an end of 4 GiB wraps";
    EXPECT_TRUE(logged({error("SafeGetNextFile: package invalid, current len:%u, current offset:%u, filelen:%u.", 6180u,
                              6180u, 0u - kHeaderSize)}));
}

// A hole of 3 GiB, then small members as a writer would have put them.
TEST_F(LargeFileTest, MembersBehindThreeGiB)
{
    constexpr uint32_t kHole = 3u << 30;
    const auto app = member("app", pattern(100000));
    const std::string listText = sectionText("app.img", packaging::memberDigest(app));
    auto members = writeSignedList(package, {member("hole", ""), app}, listText);
    const std::string tail = readFile(package).substr(kHeaderSize + kMemberHeaderSize);
    truncateTo(package, kHeaderSize + kMemberHeaderSize);
    GROW_OR_SKIP(kHeaderSize + uint64_t{kMemberHeaderSize} + kHole + tail.size());
    writeAt(kHeaderSize + uint64_t{kMemberHeaderSize} + kHole, tail);
    setField(package, slotLengthAt(0), kMemberHeaderSize + kHole);
    setField(package, kHeaderSize + 340, kHole);
    for (size_t i = 1; i < members.size(); ++i) {
        setField(package, slotOffsetAt(i), memberOffset(members, i) + kHole);
    }

    const fs::path dest = dir / "dest";
    EXPECT_EQ(TARN_ExtractFromPackage(package.c_str(), "app", dest.c_str()), TARN_EXTRACT_OK);
    EXPECT_TRUE(readFile(dest / "app") == app.payload);
    EXPECT_EQ(TARN_ExtractFromPackage(package.c_str(), "app.img", dest.c_str()), TARN_EXTRACT_OK);
    EXPECT_EQ(fs::file_size(dest / "app.img"), memberLength(app));
    EXPECT_EQ(TARN_PackageVerify(package.c_str()), TARN_VERIFY_OK);

    const Descriptor fd(package);
    FileSite site = {};
    site.name = "app";
    EXPECT_EQ(SWM_FindFileSiteFromCc(fd, &site), TARN_EXTRACT_OK);
    EXPECT_EQ(site.payloadOffset, kHeaderSize + 2 * kMemberHeaderSize + kHole);
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), static_cast<off_t>(site.payloadOffset));

    flipByte(package, uint64_t{memberOffset(members, 1)} + kHole + kMemberHeaderSize + 5);
    EXPECT_EQ(TARN_ExtractFromPackage(package.c_str(), "app", dest.c_str()), TARN_EXTRACT_DIGEST);
}

} // namespace
} // namespace tarn::test
