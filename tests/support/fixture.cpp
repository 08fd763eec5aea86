#include "support/fixture.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "packaging/package.h"
#include "packaging/signed_list.h"

namespace tarn::test {
namespace {

fs::path g_programDir;

packaging::Signer makeSigner(const char *name)
{
    // The shortest keys that are accepted: they are made anew in every run.
    const auto keys = packaging::makeDevelopmentKeys(g_programDir / name, 2048);
    return packaging::Signer(keys.key, keys.certificate);
}

void writeConfiguration()
{
    const fs::path configuration = g_programDir / "basic.conf";
    writeFile(configuration, "[paths]\nroot = " + g_programDir.string() + "\n[trust]\nanchors = " +
                                 (g_programDir / "keys/ca.pem").string() + "\nsigner_purpose = codeSigning\n");
    fs::permissions(configuration, fs::perms(0600));
    setenv("TARN_BASIC_CONFIG", configuration.c_str(), 1);
}

} // namespace

const fs::path &programDir()
{
    return g_programDir;
}

const packaging::Signer &signer()
{
    static const packaging::Signer made = makeSigner("keys");
    return made;
}

const packaging::Signer &foreignSigner()
{
    static const packaging::Signer made = makeSigner("foreign-keys");
    return made;
}

int runTests(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    umask(022);
    char pattern[] = "/tmp/tarn-boot-test.XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        perror("mkdtemp");
        return 1;
    }
    g_programDir = pattern;
    writeConfiguration();
    signer();
    const int status = RUN_ALL_TESTS();
    fs::remove_all(g_programDir);
    return status;
}

TempDir::TempDir()
{
    std::string text = (g_programDir / "case.XXXXXX").string();
    if (mkdtemp(text.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), text);
    }
    path = text;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

std::string readFile(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::system_error(errno, std::generic_category(), path);
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const fs::path &path, std::string_view content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

unsigned modeOf(const fs::path &path)
{
    return static_cast<unsigned>(fs::symlink_status(path).permissions());
}

std::string pattern(size_t size, unsigned seed)
{
    std::string bytes(size, '\0');
    uint32_t state = seed * 2654435761u + 1;
    for (char &byte : bytes) {
        state = state * 1664525u + 1013904223u;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

packaging::Member member(const std::string &name, std::string payload)
{
    return {name, name + ".img", std::move(payload), {}};
}

packaging::Member listMember(std::string text)
{
    return {"signature_pss_filelist", "signature_pss_filelist.bin", std::move(text), {}};
}

packaging::Member cmsMember(std::string signature)
{
    return {"signature_pss_cms", "signature_pss_cms.bin", std::move(signature), {}};
}

std::string sectionText(const std::string &fileName, const std::string &digest)
{
    return "[file]\nFILENAME=" + fileName + "\nSHA256-DIGEST=" + digest + "\n";
}

std::vector<packaging::Member> writeSigned(const fs::path &path, std::vector<packaging::Member> members)
{
    members = packaging::withSignature(std::move(members), signer());
    packaging::writeContainer(path, members);
    return members;
}

std::vector<packaging::Member> writeSignedList(const fs::path &path, std::vector<packaging::Member> members,
                                               const std::string &listText)
{
    members.push_back(listMember(listText));
    members.push_back(cmsMember(signer().sign(listText)));
    packaging::writeContainer(path, members);
    return members;
}

uint32_t memberLength(const packaging::Member &member)
{
    return kMemberHeaderSize + static_cast<uint32_t>(member.payload.size());
}

uint32_t memberOffset(const std::vector<packaging::Member> &members, size_t index)
{
    uint32_t offset = kHeaderSize;
    for (size_t i = 0; i < index; ++i) {
        offset += memberLength(members[i]);
    }
    return offset;
}

void flipByte(const fs::path &path, uint64_t offset)
{
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekg(static_cast<std::streamoff>(offset));
    const int byte = file.get();
    file.seekp(static_cast<std::streamoff>(offset));
    file.put(static_cast<char>(byte ^ 1));
    file.close();
    if (!file || byte < 0) {
        throw std::runtime_error("no byte to flip in " + path.string());
    }
}

void truncateTo(const fs::path &path, uint64_t size)
{
    fs::resize_file(path, size);
}

void setField(const fs::path &path, uint64_t offset, uint32_t bigEndianValue)
{
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    for (int shift = 24; shift >= 0; shift -= 8) {
        file.put(static_cast<char>(bigEndianValue >> shift));
    }
    file.close();
    if (!file) {
        throw std::runtime_error("cannot set a field of " + path.string());
    }
}

void appendBytes(const fs::path &path, std::string_view bytes)
{
    writeFile(path, readFile(path) + std::string(bytes));
}

void setModified(const fs::path &path, int64_t seconds, int64_t nanoseconds)
{
    const timespec times[] = {{0, UTIME_OMIT}, {seconds, nanoseconds}};
    if (utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

std::string workdir()
{
    return "/tmp/extract_" + std::to_string(getpid());
}

size_t openDescriptors()
{
    return static_cast<size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

bool waitUntil(const std::function<bool()> &condition, unsigned milliseconds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

pid_t startChild(const std::function<int()> &body)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(body());
    }
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    return child;
}

std::optional<int> awaitChild(pid_t child, unsigned milliseconds)
{
    int status = 0;
    if (!waitUntil([&] { return waitpid(child, &status, WNOHANG) != 0; }, milliseconds)) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
        return std::nullopt;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::optional<int> runInChild(const std::function<int()> &body, unsigned milliseconds)
{
    return awaitChild(startChild(body), milliseconds);
}

Descriptor::Descriptor(const fs::path &path, int flags, unsigned mode) : fd(::open(path.c_str(), flags, mode))
{
    if (fd < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

Descriptor::~Descriptor()
{
    ::close(fd);
}

} // namespace tarn::test
