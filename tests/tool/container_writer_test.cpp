// The container's bytes and limits.
#include <gtest/gtest.h>

#include <algorithm>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include "container_bytes.h"
#include "packaging/container_writer.h"
#include "support/fixture.h"

namespace tarn::test {

namespace {

using packaging::Member;
using packaging::PackagingError;
using packaging::writeContainer;

class ContainerWriterTest : public testing::Test {
protected:
    TempDir dir;
    fs::path out = dir / "out.cc";

    // The refusal's text; nothing may be left in the directory but what was there.
    std::string refusal(const std::vector<Member> &members)
    {
        const auto before = entries();
        std::string text;
        try {
            writeContainer(out, members);
        } catch (const PackagingError &error) {
            text = error.what();
        }
        EXPECT_EQ(entries(), before);
        return text;
    }

    std::vector<std::string> entries() const
    {
        std::vector<std::string> names;
        for (const auto &entry : fs::directory_iterator(static_cast<const fs::path &>(dir))) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path sparse(const std::string &name, uint64_t size)
    {
        writeFile(dir / name, "");
        fs::resize_file(dir / name, size);
        return dir / name;
    }
};

std::string sha256(const std::string &bytes)
{
    unsigned char digest[32];
    EVP_Digest(bytes.data(), bytes.size(), digest, nullptr, EVP_sha256(), nullptr);
    std::string text;
    for (const unsigned char byte : digest) {
        char pair[3];
        snprintf(pair, sizeof(pair), "%02x", byte);
        text += pair;
    }
    return text;
}

} // namespace

TEST_F(ContainerWriterTest, WithoutMembersItIsTheHeaderAlone)
{
    writeContainer(out, {});
    const std::string bytes = readFile(out);
    EXPECT_EQ(bytes, std::string(6180, '\0'));
}

TEST_F(ContainerWriterTest, MembersFollowTheHeaderWithoutGaps)
{
    writeFile(dir / "source", pattern(300000));
    writeContainer(out, {{"one", "one.bin", "abc", {}}, {"two", "two.bin", "", dir / "source"}, {"", "", "", {}}});

    const std::string bytes = readFile(out);
    const ParsedContainer container = parseContainer(bytes);
    ASSERT_EQ(container.fileCount, 3u);
    EXPECT_TRUE(container.isRestZero);
    EXPECT_EQ(container.members[0].offset, 6180u);
    EXPECT_EQ(container.members[0].length, 355u);
    EXPECT_EQ(container.members[0].subfileName, "one");
    EXPECT_EQ(container.members[0].fileName, "one.bin");
    EXPECT_EQ(container.members[0].payload, "abc");
    EXPECT_EQ(container.members[1].offset, 6535u);
    EXPECT_EQ(container.members[1].payloadLength, 300000u);
    EXPECT_EQ(container.members[1].payload, pattern(300000));
    EXPECT_EQ(container.members[2].offset, 6535u + 352 + 300000);
    EXPECT_EQ(container.members[2].length, 352u);
    EXPECT_EQ(bytes.size(), 6535u + 352 + 300000 + 352);
}

TEST_F(ContainerWriterTest, DigestCoversHeaderAndPayload)
{
    writeFile(dir / "source", pattern(200000));
    for (const Member &member : {Member{"a", "a.bin", "payload", {}}, Member{"b", "b.bin", "", dir / "source"}}) {
        writeContainer(out, {member});
        EXPECT_EQ(packaging::memberDigest(member), sha256(parseContainer(readFile(out)).members[0].whole));
        EXPECT_EQ(packaging::payloadSize(member), readFile(out).size() - 6180 - 352);
    }
}

TEST_F(ContainerWriterTest, LongestNamesFit)
{
    writeContainer(out, {{std::string(127, 's'), std::string(95, 'f'), "", {}}});
    const ParsedContainer container = parseContainer(readFile(out));
    EXPECT_EQ(container.members[0].subfileName, std::string(127, 's'));
    EXPECT_EQ(container.members[0].fileName, std::string(95, 'f'));
}

TEST_F(ContainerWriterTest, NamesThatDoNotFitAreRefused)
{
    const std::string longName(128, 's');
    EXPECT_EQ(refusal({{longName, "f", "", {}}}),
              "member \"" + longName + "\": subfile name of 128 bytes, at most 127 fit");
    EXPECT_EQ(refusal({{"s", std::string(96, 'f'), "", {}}}), "member \"s\": file name of 96 bytes, at most 95 fit");
    EXPECT_EQ(refusal({{"s", std::string("f\0g", 3), "", {}}}), "member \"s\": NUL in its file name");
}

TEST_F(ContainerWriterTest, HoldsUpTo256Members)
{
    std::vector<Member> members(256);
    writeContainer(out, members);
    EXPECT_EQ(parseContainer(readFile(out)).members.size(), 256u);
    EXPECT_EQ(readFile(out).size(), 6180u + 256 * 352);
    fs::remove(out);
    members.emplace_back();
    EXPECT_EQ(refusal(members), "257 members: a package holds at most 256");
}

TEST_F(ContainerWriterTest, SizesPast4GiBAreRefusedBeforeAnythingIsWritten)
{
    // 4294967295 is the last end that 32 bits hold.
    const uint64_t largest = 4294967295u - 6180 - 352;
    packaging::checkMembers({{"s", "f", "", sparse("largest", largest)}});
    EXPECT_EQ(
        refusal({{"s", "f", "", sparse("over", largest + 1)}}),
        "member \"s\": with its 4294960764 bytes the package would pass 4 GiB, the most its 32-bit sizes can say");
    EXPECT_NE(refusal({{"s", "f", "", sparse("huge", 1ull << 40)}}).find("would pass 4 GiB"), std::string::npos);
    EXPECT_EQ(refusal({{"s", "f", "", dir / "largest"}, {"t", "g", "", {}}}),
              "member \"t\": with its 0 bytes the package would pass 4 GiB, the most its 32-bit sizes can say");
}

TEST_F(ContainerWriterTest, SourcesMustBeRegularFiles)
{
    mkfifo((dir / "fifo").c_str(), 0600);
    EXPECT_EQ(refusal({{"s", "f", "", dir / "missing"}}),
              (dir / "missing").string() + ": cannot read: No such file or directory");
    EXPECT_EQ(refusal({{"s", "f", "", dir / "fifo"}}), (dir / "fifo").string() + ": not a regular file");
    EXPECT_EQ(refusal({{"s", "f", "", static_cast<const fs::path &>(dir)}}),
              static_cast<const fs::path &>(dir).string() + ": not a regular file");
}

// A file of the kernel's: its size is said to be 0, its content is not empty.
TEST_F(ContainerWriterTest, SourceThatIsNotOfTheSizeItSaysIsRefused)
{
    EXPECT_EQ(refusal({{"s", "f", "", "/proc/self/status"}}),
              "/proc/self/status: changed while it was read; try again when nobody writes to it");
}

TEST_F(ContainerWriterTest, AnOlderPackageIsReplacedWholeOrStays)
{
    writeFile(out, "older");
    EXPECT_NE(refusal({{"s", "f", "", dir / "missing"}}), "");
    EXPECT_EQ(readFile(out), "older");
    writeContainer(out, {});
    EXPECT_EQ(readFile(out).size(), 6180u);
    EXPECT_EQ(entries(), std::vector<std::string>{"out.cc"});
    EXPECT_EQ(modeOf(out), 0644u);
}

TEST_F(ContainerWriterTest, OnlyFilesAndLinksAreReplaced)
{
    writeFile(dir / "target", "kept");
    fs::create_symlink(dir / "target", out);
    writeContainer(out, {});
    EXPECT_FALSE(fs::is_symlink(out));
    EXPECT_EQ(readFile(dir / "target"), "kept");

    fs::remove(out);
    mkfifo(out.c_str(), 0600);
    EXPECT_EQ(refusal({}), out.string() + ": is there already and is no regular file");
    EXPECT_TRUE(fs::is_fifo(out));
    out = dir / "missing/out.cc";
    EXPECT_EQ(refusal({}), (dir / "missing").string() + ": cannot write in this directory: No such file or directory");
}

TEST_F(ContainerWriterTest, UnfinishedContainerLeavesNothing)
{
    {
        packaging::ContainerFile container(out);
        container.add({"s", "f", "payload", {}});
        EXPECT_FALSE(fs::exists(out));
    }
    EXPECT_TRUE(entries().empty());
}

} // namespace tarn::test
