// Every call that an operation makes fails in turn; what it must leave behind is nothing.
#include <cerrno>
#include <cstring>
#include <functional>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "cms_fixture.h"
#include "interpose.h"
#include "support.h"

namespace {

using namespace tarn::test;

class Fault : public PlatformTest {
protected:
    Fault()
    {
        setObserver([](Call call, int flags) {
            const int safe = call == Call::Open ? O_CLOEXEC | O_NOCTTY : call == Call::Pipe ? O_CLOEXEC : 0;
            EXPECT_EQ(flags & safe, safe) << "call " << static_cast<int>(call);
        });
    }
    ~Fault() override
    {
        setObserver(nullptr);
        setSlow(false);
    }

    // Runs the operation with the first, second, ... call failing until a run meets no failure. Each failed run must
    // report it with the call's errno, keep no descriptor and leave as many entries in the directory as `leftovers`
    // says.
    void sweep(
        const std::function<bool()> &operation, const std::function<void()> &prepare = [] {},
        size_t leftovers = SIZE_MAX)
    {
        for (int index = 0; index < static_cast<int>(Call::Count); ++index) {
            for (unsigned nth = 1;; ++nth) {
                prepare();
                const size_t descriptors = openDescriptors();
                const int injected = static_cast<Call>(index) == Call::Malloc ? ENOMEM : EIO;
                failCall(static_cast<Call>(index), nth, injected);
                const bool isDone = operation();
                const int error = errno;
                if (!hasFailed()) {
                    EXPECT_TRUE(isDone) << "call " << index;
                    break;
                }
                ++failures;
                EXPECT_FALSE(isDone) << "call " << index << " nth " << nth;
                EXPECT_EQ(error, hasStatus ? injected : error) << "call " << index << " nth " << nth;
                EXPECT_EQ(openDescriptors(), descriptors) << "call " << index << " nth " << nth;
                if (leftovers != SIZE_MAX) {
                    EXPECT_EQ(entriesOf(dir), leftovers) << "call " << index << " nth " << nth;
                }
            }
        }
    }

    unsigned failures = 0;
    bool hasStatus = true; // false: errno is nobody's business
};

TEST_F(Fault, CopyFile)
{
    writeFile(dir / "from", "content");
    unsigned directorySyncs = 0;
    sweep(
        [&] {
            const bool isDone = SWM_CopyFile(at("from"), at("to")) == 0;
            const int error = errno;
            // Only the last step, syncing the directory, comes when the copy is in place.
            directorySyncs += !isDone && fs::exists(dir / "to");
            EXPECT_TRUE(!fs::exists(dir / "to") || readFile(dir / "to") == "content");
            fs::remove(dir / "to");
            errno = error;
            return isDone;
        },
        [] {}, 1);
    EXPECT_EQ(directorySyncs, 1u);
    EXPECT_GT(failures, 10u);
}

TEST_F(Fault, KeyFile)
{
    sweep([&] { return SWM_CreateKeyFile(at("key"), ::geteuid(), ::getegid(), 0640) == 0; },
          [&] { fs::remove(dir / "key"); }, 0);
    EXPECT_GT(failures, 5u);
}

TEST_F(Fault, Directories)
{
    const auto remove = [&] { fs::remove_all(dir / "a"); };
    sweep([&] { return TARN_MkDirRecursive(at("a/b")) == 0; }, remove);
    sweep([&] { return SWM_CreateDirWithPermission(at("a/b"), 2, 0700, "NA", "NA") == 0; }, remove);
    sweep([&] { return SWM_MkParentDir(at("a/b"), ::geteuid(), ::getegid(), 0700) == 0; }, remove, 0);
    EXPECT_GT(failures, 15u);
}

TEST_F(Fault, RemoveDir)
{
    sweep([&] { return SWM_RemoveDir(at("a")) == 0; },
          [&] {
              fs::create_directories(dir / "a/b");
              writeFile(dir / "a/b/c", "x");
          });
    EXPECT_GT(failures, 8u);
}

TEST_F(Fault, Opening)
{
    writeFile(dir / "file", "x");
    const auto closed = [](int fd) { return fd >= 0 && ::close(fd) == 0; };
    sweep([&] {
        int32_t fd = -1;
        return SWM_Open(at("file"), O_RDWR | O_CREAT | O_TRUNC, &fd, 0600u) == 0 && closed(fd);
    });
    sweep([&] { return closed(TARN_CanonicalOpen(at("file"), 0)); });
    sweep([&] {
        FILE *stream = nullptr;
        return SWM_Fopen(at("file"), "r", &stream) == 0 && fclose(stream) == 0;
    });
    sweep([&] { return SWM_FchmodPath(at("file"), 0600) == 0; });
    sweep([&] { return SWM_UndoProtectFile(at("file")) == 0; },
          [&] { fs::permissions(dir / "file", fs::perms(0400)); });
    EXPECT_GT(failures, 8u);
}

TEST_F(Fault, Profiles)
{
    const std::string text = "[s]\na=1\nb=2\n[t]\nc=" + std::string(4000, 'x') + "\n;" + std::string(4000, 'x') + "\n";
    const std::string large = text + text + text;
    writeFile(dir / "ini", large);
    sweep([&] {
        SwmIniSection *profile = SWM_IniLoadProfileFromFileMem(text.c_str());
        SWM_FreeProfile(profile);
        return profile != nullptr;
    });
    sweep([&] {
        FILE *stream = fopen(at("ini"), "r");
        SwmIniSection *profile = SWM_IniLoadProfile(stream);
        const int error = errno;
        fclose(stream);
        SWM_FreeProfile(profile);
        errno = error;
        return profile != nullptr;
    });
    char out[8];
    sweep([&] { return SWM_IniGetValue(at("ini"), "[s]", "b", out, sizeof out) == 0; });
    EXPECT_GT(failures, 12u);
}

TEST_F(Fault, Texts)
{
    sweep([&] {
        char **array = nullptr;
        uint32_t count = 0;
        const bool isDone = SWM_TransString2Array("a b", " ", &array, &count) == 0;
        free(array);
        return isDone;
    });
    EXPECT_EQ(failures, 1u);
}

TEST_F(Fault, PathsAndPool)
{
    setConfig("[paths]\nroot = /srv\npackage_pool = /pool\n[device]\ncpu_id = 1\n");
    fs::create_symlink("x", dir / "link");
    char out[384];
    sweep([&] { return SWM_GetRootPath(out, sizeof out) == 0; });
    sweep([&] { return TARN_GetLinkInfo(at("link"), out, sizeof out) == 0; });
    sweep([&] { return SWM_GetCanonicalFilepath(dir.c_str(), out, sizeof out) == 0; });
    hasStatus = false;
    sweep([&] {
        strcpy(out, "a");
        SWM_Trans2AbsolutePath(out);
        const std::string path = out;
        EXPECT_TRUE(path == "/srv/a" || path == "/srv/.invalid/.invalid" || path == "/.invalid/.invalid") << path;
        return path == "/srv/a";
    });
    hasStatus = true;
    sweep([&] {
        out[0] = '\0';
        const bool isDone = SWM_GetPkgPoolPackageVerDescFileLocalPath("n", "v", out, sizeof out) == 0;
        const std::string path = out;
        EXPECT_TRUE(isDone || path.find(".invalid") != std::string::npos) << path;
        return isDone;
    });
    sweep([&] {
        uint32_t value = 0;
        return SWM_GetCpuId(&value) == 0;
    });
    EXPECT_GT(failures, 30u);
}

TEST_F(Fault, IdsWithoutMemoryAreUnknown)
{
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(TARN_GetUidByName("root", 7), 7u);
    EXPECT_TRUE(hasFailed());
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(TARN_GetGidByName("root", 7), 7u);
    EXPECT_TRUE(hasFailed());
}

TEST_F(Fault, Digests)
{
    writeFile(dir / "file", "abc");
    uint8_t digest[32];
    ASSERT_EQ(SWM_GetShaVal("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad", digest, 32), 0u);
    sweep([&] { return SWM_SHA_IsFileDamaged2(at("file"), digest, 32) == 0; });
    EXPECT_GT(failures, 3u);
}

class CmsFault : public Fault {
protected:
    CmsFault()
    {
        const Identity root = makeRoot();
        const Identity signer = makeSigner(root);
        signature = sign({.content = list, .signers = {signer}});
        writeFile(dir / "list", list);
        writeFile(dir / "cms", signature);
        writeFile(dir / "trust.pem", pem({root.certificate}));
        writeFile(dir / "crl.pem", revocationPem(root, {}));
        setConfig("[trust]\nanchors = " + (dir / "trust.pem").string() + "\ncrl = " + (dir / "crl.pem").string() +
                  "\n");
    }
    bool verifyMemory() const
    {
        const SwmCmsMemRecord record{reinterpret_cast<const uint8_t *>(list.data()), static_cast<uint32_t>(list.size()),
                                     reinterpret_cast<const uint8_t *>(signature.data()),
                                     static_cast<uint32_t>(signature.size())};
        return SWM_VerifyCmsFromMem(&record, 1) == SWM_CMS_VALID;
    }
    const std::string list = "list";
    std::string signature;
};

TEST_F(CmsFault, NothingVerifiesAfterAFailure)
{
    sweep([&] { return SWM_VerifyPssCms(at("list"), at("cms")) == SWM_CMS_VALID; });
    sweep([&] { return verifyMemory(); });
    EXPECT_GT(failures, 30u);
}

TEST_F(CmsFault, SlowReadsAndWrites)
{
    setSlow(true);
    EXPECT_TRUE(verifyMemory());
    EXPECT_EQ(SWM_VerifyPssCms(at("list"), at("cms")), SWM_CMS_VALID);
}

TEST_F(Fault, InterruptedAndShortReadsAndWrites)
{
    const std::string content(1000, 'x');
    writeFile(dir / "from", content);
    setSlow(true);
    int32_t fd = -1;
    ASSERT_EQ(SWM_Open(at("file"), O_RDWR | O_CREAT, &fd, 0600u), 0u);
    EXPECT_EQ(SWM_Write(fd, "abcdef", 6), 6);
    ::lseek(fd, 0, SEEK_SET);
    char buffer[8] = "";
    EXPECT_EQ(SWM_Read(fd, buffer, 8), 6);
    EXPECT_STREQ(buffer, "abcdef");
    ::lseek(fd, 0, SEEK_SET);
    char digest[65];
    EXPECT_EQ(SWM_CalcFileSHA256ValueByFileHandleStr(fd, 6, digest, sizeof digest), 0u);
    EXPECT_STREQ(digest, "bef57ec7f53a6d40beb640a780a639c83bc29ac8a9816f1fc6c5c6dcd93c4721");
    ::close(fd);
    EXPECT_EQ(SWM_CopyFile(at("from"), at("to")), 0u);
    setSlow(false);
    EXPECT_EQ(readFile(dir / "to"), content);
}

TEST_F(Fault, AnErrorAfterSomeBytesGivesTheBytes)
{
    writeFile(dir / "file", "abcdef");
    int32_t fd = -1;
    ASSERT_EQ(SWM_Open(at("file"), O_RDONLY, &fd), 0u);
    char buffer[8] = "";
    failCall(Call::Read, 2, EIO);
    EXPECT_EQ(SWM_Read(fd, buffer, 8), 6);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(hasFailed());
    failCall(Call::Read, 1, EIO);
    EXPECT_EQ(SWM_Read(fd, buffer, 8), -1);
    EXPECT_TRUE(hasFailed());
    ::close(fd);
}

} // namespace
