// What the tests stand on: a private directory and signing keys per program, packages sound and broken, child
// processes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/types.h>

#include "packaging/container_writer.h"
#include "packaging/signer.h"

namespace tarn::test {

namespace fs = std::filesystem;

constexpr uint32_t kHeaderSize = 6180;
constexpr uint32_t kMemberHeaderSize = 352;
constexpr uint32_t kChunk = 32768;

// The program's directory under /tmp, removed at the end. Its trust store holds the anchor of signer().
const fs::path &programDir();
const packaging::Signer &signer();
// A signer whose anchor is not trusted.
const packaging::Signer &foreignSigner();

// Makes directory, keys and configuration, runs the tests, cleans up: the main function of every test program.
int runTests(int argc, char **argv);

// A directory of its own for one test.
class TempDir {
public:
    TempDir();
    TempDir(const TempDir &) = delete;
    ~TempDir();
    operator const fs::path &() const { return path; }
    fs::path operator/(std::string_view name) const { return path / name; }

private:
    fs::path path;
};

std::string readFile(const fs::path &path);
void writeFile(const fs::path &path, std::string_view content);
unsigned modeOf(const fs::path &path);
// Bytes that repeat late enough to show a misplaced chunk.
std::string pattern(size_t size, unsigned seed = 1);

// A member by the naming recipe: subfile name `name`, file name "<name>.img".
packaging::Member member(const std::string &name, std::string payload);
packaging::Member listMember(std::string text);
packaging::Member cmsMember(std::string signature);
std::string sectionText(const std::string &fileName, const std::string &digest);

// Writes members followed by a signed list that names them and its signature. Returns all members in order.
std::vector<packaging::Member> writeSigned(const fs::path &path, std::vector<packaging::Member> members);
// The same with a list of the test's own, signed properly.
std::vector<packaging::Member> writeSignedList(const fs::path &path, std::vector<packaging::Member> members,
                                               const std::string &listText);

// Where a member lies when all are written in order.
uint32_t memberOffset(const std::vector<packaging::Member> &members, size_t index);
uint32_t memberLength(const packaging::Member &member);

// Damage.
void flipByte(const fs::path &path, uint64_t offset);
void truncateTo(const fs::path &path, uint64_t size);
void setField(const fs::path &path, uint64_t offset, uint32_t bigEndianValue);
void appendBytes(const fs::path &path, std::string_view bytes);
// Changes the modification time and nothing else.
void setModified(const fs::path &path, int64_t seconds, int64_t nanoseconds = 0);
constexpr uint64_t kFileCountAt = 4;
constexpr uint64_t slotOffsetAt(size_t index)
{
    return 32 + 24 * index + 4;
}
constexpr uint64_t slotLengthAt(size_t index)
{
    return 32 + 24 * index + 8;
}

// "/tmp/extract_<pid>" of this process.
std::string workdir();
size_t openDescriptors();

// Child processes, to be started while no other thread runs. The exit status, or nothing when the child was still
// running after the time and has been killed.
pid_t startChild(const std::function<int()> &body);
std::optional<int> awaitChild(pid_t child, unsigned milliseconds);
std::optional<int> runInChild(const std::function<int()> &body, unsigned milliseconds);

// An object that a test shares with its children.
template <typename T> class Shared {
public:
    Shared() : object(new (mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) T()) {}
    Shared(const Shared &) = delete;
    ~Shared() { munmap(object, sizeof(T)); }
    T &operator*() const { return *object; }
    T *operator->() const { return object; }

private:
    T *object;
};

// False when the condition did not hold in time.
bool waitUntil(const std::function<bool()> &condition, unsigned milliseconds);

// An open descriptor of the test itself.
class Descriptor {
public:
    explicit Descriptor(const fs::path &path, int flags = 0, unsigned mode = 0600);
    Descriptor(const Descriptor &) = delete;
    ~Descriptor();
    operator int() const { return fd; }

private:
    int fd;
};

} // namespace tarn::test
