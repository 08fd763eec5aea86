// Locking, copying and replacing database files.
#include "db/file.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "exit_status.h"
#include "packaging/error.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr uint64_t kMaxSize = 256ull << 20;

[[noreturn]] void failWithErrno(const std::string &path, const char *action)
{
    const int error = errno;
    failWith(escaped(path) + ": cannot " + action + ": " + packaging::errorText(error));
}

struct stat statusOf(const fs::path &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        failWithErrno(path, "look at it");
    }
    return status;
}

std::string readAll(const packaging::Descriptor &descriptor, const fs::path &path)
{
    struct stat status = {};
    if (fstat(descriptor.get(), &status) != 0) {
        failWithErrno(path, "look at it");
    }
    if (static_cast<uint64_t>(status.st_size) > kMaxSize) {
        failWith(escaped(path.string()) + ": has " + humanSize(static_cast<uint64_t>(status.st_size)) +
                     ", a database at most " + humanSize(kMaxSize),
                 "check the path");
    }
    std::string bytes(static_cast<size_t>(status.st_size), '\0');
    bytes.resize(readFully(descriptor, bytes.data(), bytes.size(), path));
    return bytes;
}

fs::path realPath(const std::string &path)
{
    std::error_code error;
    fs::path real = fs::canonical(path, error);
    if (error) {
        failWith(escaped(path) + ": cannot read: " + error.message(),
                 error == std::errc::no_such_file_or_directory ? "check the path; \"tarn db create\" makes a new one"
                                                               : "check path and permissions");
    }
    return real;
}

// Whether the open file is still the one of that name: the last holder of the lock may have been told to remove it.
bool isNamed(const packaging::Descriptor &descriptor, const fs::path &path)
{
    struct stat opened = {};
    struct stat named = {};
    return fstat(descriptor.get(), &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
           opened.st_dev == named.st_dev;
}

} // namespace

void refuseDatabasePath(const std::string &path)
{
    if (path == "-") {
        refuseUsage("\"-\" is no database: the standard streams cannot be read and saved again", "name a file");
    }
    if (path.find('%') != std::string::npos) {
        refuseUsage(escaped(path) + ": a path with \"%\" is unescaped when the library saves, so that services would "
                                    "read one file and write another",
                    "use a path without \"%\"");
    }
}

std::string readWhole(const fs::path &path)
{
    return readAll(packaging::openSource(path), path);
}

// ---- Private copy ----

PrivateCopy::PrivateCopy(const std::string &bytes) : descriptor(memfd_create("tarn-db", MFD_CLOEXEC))
{
    if (descriptor.get() < 0) {
        failWithErrno("memory", "make a private copy of the database");
    }
    link = "/proc/self/fd/" + std::to_string(descriptor.get());
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t put = write(descriptor.get(), bytes.data() + done, bytes.size() - done);
        if (put < 0 && errno != EINTR) {
            failWithErrno("memory", "make a private copy of the database");
        }
        done += put > 0 ? static_cast<size_t>(put) : 0;
    }
    if (access(link.c_str(), R_OK | W_OK) != 0) {
        failWithErrno(link, "reach the private copy of the database; is /proc mounted?");
    }
}

std::string PrivateCopy::bytes() const
{
    if (lseek(descriptor.get(), 0, SEEK_SET) != 0) {
        failWithErrno(link, "read");
    }
    return readAll(descriptor, link);
}

// ---- Lock ----

namespace {

// A lock that an administrator makes is the database's owner's, too: services under that name have to open it. One that
// is there already is left alone, since it might be anybody's file under a second name.
packaging::Descriptor createLock(const fs::path &path, int flags, const fs::path &database)
{
    packaging::Descriptor lock(open(path.c_str(), flags | O_CREAT | O_EXCL, 0640));
    struct stat status = {};
    if (lock.get() >= 0 && stat(database.c_str(), &status) == 0) {
        static_cast<void>(!fchown(lock.get(), status.st_uid, status.st_gid));
    }
    return lock;
}

} // namespace

DatabaseLock::DatabaseLock(const fs::path &database, unsigned secondsToWait)
{
    const fs::path path = database.string() + ".lock";
    constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(secondsToWait);
    for (;;) {
        descriptor = createLock(path, kFlags, database);
        if (descriptor.get() < 0 && errno == EEXIST) {
            descriptor = packaging::Descriptor(open(path.c_str(), kFlags));
        }
        if (descriptor.get() < 0 && errno != ENOENT) {
            failWithErrno(path, "open the lock file");
        }
        if (flock(descriptor.get(), LOCK_EX | LOCK_NB) == 0 && isNamed(descriptor, path)) {
            return;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            failWith(escaped(database.string()) + ": another tarn is changing it, and had not finished after " +
                         counted(secondsToWait, "second"),
                     "try again, or wait longer with --wait; the lock is on " + escaped(path.string()));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

// ---- Database ----

DatabaseFile::DatabaseFile(const std::string &path) : shown(path), real(realPath(path)), bytes(readWhole(real)) {}

bool DatabaseFile::isUnchanged() const
{
    return readWhole(real) == bytes;
}

void DatabaseFile::refuseUnlessChangeable() const
{
    const struct stat status = statusOf(real);
    if (status.st_nlink > 1) {
        failWith(escaped(shown) + format(": has %ju names (hard links), and a change would leave the others behind",
                                         static_cast<uintmax_t>(status.st_nlink)),
                 "remove the other links");
    }
    if (faccessat(AT_FDCWD, real.c_str(), W_OK, AT_EACCESS) != 0) {
        failWithErrno(shown, "write");
    }
}

void DatabaseFile::replace(const std::string &content) const
{
    writeLike(real, real, content);
    if (holds(real, content)) {
        return;
    }
    bool isBack = false;
    try {
        writeLike(real, real, bytes);
        isBack = holds(real, bytes);
    } catch (const packaging::PackagingError &) {
        isBack = false;
    }
    failWith(escaped(shown) + ": does not read as it was written; " +
                 (isBack ? "its former state was put back" : "putting back its former state did not help either"),
             std::string("check the disk") +
                 (isBack ? ", then try again" : "; \"tarn db check " + escaped(shown) + "\" tells its state"));
}

void writeLike(const fs::path &model, const fs::path &target, const std::string &content)
{
    const struct stat status = statusOf(model);
    packaging::OutputFile output(target);
    output.write(content.data(), content.size());
    output.setOwner(status.st_uid, status.st_gid, status.st_mode);
    output.commit();
}

bool holds(const fs::path &path, const std::string &content)
{
    try {
        return readWhole(path) == content;
    } catch (const packaging::PackagingError &) {
        return false;
    }
}

fs::path placeOfDatabase(const std::string &path)
{
    const fs::path given(path);
    std::error_code error;
    fs::path real = fs::canonical(given, error);
    if (!error) {
        return real;
    }
    const fs::path directory = fs::canonical(given.has_parent_path() ? given.parent_path() : ".", error);
    const bool isLost = fs::is_symlink(given);
    if (error || isLost || !given.has_filename()) {
        const std::string why = error ? error.message() : isLost ? "a link that leads nowhere" : "no file name";
        failWith(escaped(path) + ": cannot be a database: " + why, "name a file in a directory that is there");
    }
    return directory / given.filename();
}

} // namespace tarn::tool
