// Source files and the all-or-nothing output file.
#include "packaging/output_file.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "packaging/deferred_signals.h"
#include "packaging/error.h"

namespace tarn::packaging {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void failWithErrno(const fs::path &path, const char *action)
{
    const int error = errno;
    throw PackagingError(path.string() + ": cannot " + action + ": " + errorText(error));
}

fs::path directoryOf(const fs::path &path)
{
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

void refuseUnlessReplaceable(const fs::path &target)
{
    struct stat status = {};
    if (!target.has_filename()) {
        throw PackagingError(target.string() + ": no file name");
    }
    if (lstat(target.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        throw PackagingError(target.string() + ": is there already and is no regular file");
    }
}

// Tries temporary names until `make` takes one. They do not depend on the target's name: that one may already be as
// long as a name can be.
template <typename Make> fs::path nameTemporary(const fs::path &directory, Make &&make)
{
    for (unsigned attempt = 0; attempt < 1000; ++attempt) {
        fs::path name = directory / (".tarn-" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".tmp");
        if (make(name)) {
            return name;
        }
        if (errno != EEXIST) {
            failWithErrno(directory, "write in this directory");
        }
    }
    failWithErrno(directory, "find a name for a temporary file");
}

fs::path linkOf(const Descriptor &descriptor)
{
    return "/proc/self/fd/" + std::to_string(descriptor.get());
}

// A file without a name, of which nothing is left however the process ends. Not every file system has them, and
// without /proc they never get a name: then there is none.
Descriptor createNameless(const fs::path &directory)
{
    Descriptor descriptor(open(directory.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666));
    const bool canBeNamed = descriptor.get() >= 0 && access(linkOf(descriptor).c_str(), F_OK) == 0;
    return canBeNamed ? std::move(descriptor) : Descriptor();
}

} // namespace

Descriptor &Descriptor::operator=(Descriptor &&other) noexcept
{
    std::swap(fd, other.fd);
    return *this;
}

Descriptor::~Descriptor()
{
    if (fd >= 0) {
        close(fd);
    }
}

Descriptor openSource(const fs::path &path)
{
    Descriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status = {};
    if (descriptor.get() < 0 || fstat(descriptor.get(), &status) != 0) {
        failWithErrno(path, "read");
    }
    if (!S_ISREG(status.st_mode)) {
        throw PackagingError(path.string() + ": not a regular file");
    }
    return descriptor;
}

size_t readFully(const Descriptor &descriptor, void *buffer, size_t size, const fs::path &path)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t got = read(descriptor.get(), static_cast<char *>(buffer) + done, size - done);
        if (got == 0) {
            break;
        }
        if (got < 0 && errno != EINTR) {
            failWithErrno(path, "read");
        }
        done += got > 0 ? static_cast<size_t>(got) : 0;
    }
    return done;
}

OutputFile::OutputFile(const fs::path &path) : target(path)
{
    refuseUnlessReplaceable(target);
    descriptor = createNameless(directoryOf(target));
    if (descriptor.get() < 0) {
        temporary = nameTemporary(directoryOf(target), [this](const fs::path &name) {
            descriptor = Descriptor(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
            return descriptor.get() >= 0;
        });
    }
}

OutputFile::~OutputFile()
{
    if (!committed && !temporary.empty()) {
        unlink(temporary.c_str());
    }
}

void OutputFile::write(const void *data, size_t size)
{
    for (size_t done = 0; done < size;) {
        const ssize_t put = ::write(descriptor.get(), static_cast<const char *>(data) + done, size - done);
        if (put < 0 && errno != EINTR) {
            failWithErrno(target, "write");
        }
        done += put > 0 ? static_cast<size_t>(put) : 0;
    }
}

void OutputFile::writeAt(uint64_t offset, const void *data, size_t size)
{
    if (lseek(descriptor.get(), static_cast<off_t>(offset), SEEK_SET) < 0) {
        failWithErrno(target, "seek");
    }
    write(data, size);
}

void OutputFile::setOwner(uid_t user, gid_t group, mode_t mode)
{
    constexpr mode_t kPermissions = 07777;
    struct stat status = {};
    if (fstat(descriptor.get(), &status) != 0) {
        failWithErrno(target, "look at it");
    }
    const bool isOther = status.st_uid != user || status.st_gid != group;
    if (isOther && fchown(descriptor.get(), user, group) != 0) {
        failWithErrno(target, "keep its owner and group");
    }
    // Last: a change of owner takes bits away.
    if (fchmod(descriptor.get(), mode & kPermissions) != 0) {
        failWithErrno(target, "keep its mode");
    }
}

void OutputFile::commit()
{
    if (fsync(descriptor.get()) != 0) {
        failWithErrno(target, "write");
    }
    const DeferredSignals uninterrupted;
    if (temporary.empty()) {
        // A link replaces nothing, so that the file needs a name before it can have the right one.
        temporary = nameTemporary(directoryOf(target), [this](const fs::path &name) {
            return linkat(AT_FDCWD, linkOf(descriptor).c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
        });
    }
    if (rename(temporary.c_str(), target.c_str()) != 0) {
        failWithErrno(target, "give the finished file this name");
    }
    committed = true;
    // The name, too, has to survive a loss of power; not every file system can sync a directory.
    const Descriptor directory(open(directoryOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    static_cast<void>(fsync(directory.get()));
}

} // namespace tarn::packaging
