#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <openssl/evp.h>

#include "support.h"

namespace {

using namespace tarn::test;

constexpr const char *kAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
constexpr const char *kEmpty = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

class Digest : public PlatformTest {
protected:
    uint32_t hash(const char *name, off_t from, uint32_t length, char *out, uint32_t size = 65)
    {
        const int fd = ::open(at(name), O_RDONLY);
        ::lseek(fd, from, SEEK_SET);
        const uint32_t result = SWM_CalcFileSHA256ValueByFileHandleStr(fd, length, out, size);
        position = ::lseek(fd, 0, SEEK_CUR);
        ::close(fd);
        return result;
    }
    off_t position = 0;
};

TEST_F(Digest, OfPartOfAFile)
{
    writeFile(dir / "f", "xxabcyy");
    char out[65] = "-";
    EXPECT_EQ(hash("f", 2, 3, out), 0u);
    EXPECT_STREQ(out, kAbc);
    EXPECT_EQ(position, 5) << "not a byte more is read";
    EXPECT_EQ(hash("f", 2, 0, out), 0u);
    EXPECT_STREQ(out, kEmpty);
}

TEST_F(Digest, OfManyChunks)
{
    std::string content(300000, 'a');
    for (size_t i = 0; i < content.size(); i += 7) {
        content[i] = static_cast<char>(i * 31);
    }
    writeFile(dir / "f", content);
    unsigned char expected[32];
    ASSERT_EQ(EVP_Digest(content.data(), content.size(), expected, nullptr, EVP_sha256(), nullptr), 1);
    char out[65];
    ASSERT_EQ(hash("f", 0, 300000, out), 0u);
    uint8_t bytes[32];
    ASSERT_EQ(SWM_GetShaVal(out, bytes, 32), 0u);
    EXPECT_EQ(memcmp(bytes, expected, 32), 0);
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(at("f"), expected, 32), 0u);
}

TEST_F(Digest, Refusals)
{
    writeFile(dir / "f", "abc");
    char out[65] = "-";
    EXPECT_NE(hash("f", 0, 4, out), 0u) << "the file ends before the length";
    EXPECT_NE(hash("f", 0, 3, out, 64), 0u);
    EXPECT_NE(hash("f", 0, 3, nullptr), 0u);
    EXPECT_NE(hash(".", 0, 3, out), 0u);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_NE(SWM_CalcFileSHA256ValueByFileHandleStr(-1, 3, out, 65), 0u);
    EXPECT_EQ(errno, EBADF);
    errno = 0;
    EXPECT_NE(SWM_CalcFileSHA256ValueByFileHandleStr(-1, 0, out, 65), 0u) << "nothing cannot be read from nowhere";
    EXPECT_EQ(errno, EBADF);
    EXPECT_STREQ(out, "-");
}

TEST_F(Digest, FromText)
{
    const struct {
        const char *text;
        uint32_t size;
        bool succeeds;
    } rows[] = {{"00ffAb", 3, true}, {"00ffa", 3, false}, {"00ffabc", 3, false}, {"00ffag", 3, false},
                {"", 3, false},      {nullptr, 3, false}, {"00ff b", 3, false},  {"0x00ff", 3, false}};
    for (const auto &row : rows) {
        uint8_t out[3] = {1, 2, 3};
        EXPECT_EQ(SWM_GetShaVal(row.text, out, row.size) == 0, row.succeeds) << (row.text ? row.text : "null");
        const uint8_t good[3] = {0, 0xFF, 0xAB};
        const uint8_t zero[3] = {};
        EXPECT_EQ(memcmp(out, row.succeeds ? good : zero, 3), 0);
    }
    EXPECT_NE(SWM_GetShaVal("00", nullptr, 1), 0u);
    uint8_t out = 7;
    EXPECT_NE(SWM_GetShaVal("", &out, 0), 0u);
}

TEST_F(Digest, Damage)
{
    writeFile(dir / "f", "abc");
    fs::create_symlink("f", dir / "link");
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    uint8_t digest[32];
    ASSERT_EQ(SWM_GetShaVal(kAbc, digest, 32), 0u);
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(at("f"), digest, 32), 0u);
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(at("link"), digest, 32), 0u);
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(at("f"), digest, 31), 1u);
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(at("f"), nullptr, 32), 1u);
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(nullptr, digest, 32), 1u);
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(at("none"), digest, 32), 1u);
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(at("fifo"), digest, 32), 1u);
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(dir.c_str(), digest, 32), 1u);
    digest[31] ^= 1;
    EXPECT_EQ(SWM_SHA_IsFileDamaged2(at("f"), digest, 32), 1u);
}

} // namespace
