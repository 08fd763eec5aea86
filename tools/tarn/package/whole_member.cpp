// The library's oldest way of taking members out. It overwrites in place, follows links and leaves what it has written
// when it fails; the tool does none of that.
#include "package/whole_member.h"

#include <cerrno>
#include <sys/stat.h>

#include <tarn_boot/container.h>

#include "library_log.h"
#include "package/names.h"
#include "package/reader.h"
#include "packaging/big_endian.h"
#include "packaging/deferred_signals.h"
#include "packaging/error.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

// Refuses what the library cannot copy whole: beyond 2 GiB it copies nothing and calls that done.
void inspect(const std::string &path, const std::string &name)
{
    const OpenPackage package = openPackage(path);
    const std::string member = escaped(path) + ": member " + inQuotes(name) + ": ";
    PackageFileEntry entry = {};
    takeLibraryReason();
    const uint32_t result = SwmFindFileDescInfoFromCc(package.descriptor.get(), name.c_str(), &entry);
    if (result != SWM_OK) {
        Failure failure;
        failure.status = ExitStatus::No;
        failure.what = member + (result == SWM_LEGACY_NOT_FOUND ? "no member of that name"
                                                                : "the structure is not that of a package");
        failure.reason = takeLibraryReason();
        failure.next = "\"tarn package list\" shows the names, \"tarn package header\" where it breaks";
        throw failure;
    }
    const uint64_t offset = packaging::fromBigEndian(entry.memberOffset);
    const uint64_t length = packaging::fromBigEndian(entry.memberLength);
    if (offset > package.size || length > package.size - offset || length > INT32_MAX) {
        failWith(member + "not as long as the package claims, or over 2 GiB",
                 "\"tarn package header\" shows where it breaks", ExitStatus::No);
    }
}

void clearTheWay(const fs::path &target)
{
    std::error_code error;
    const fs::file_status status = fs::symlink_status(target, error);
    if (fs::is_regular_file(status) || fs::is_symlink(status)) {
        fs::remove(target, error);
    } else if (fs::exists(status)) {
        failWith(escaped(target.string()) + ": is in the way, and no file", "remove it, or name another directory");
    }
}

void makeDirectory(const fs::path &directory)
{
    std::error_code error;
    fs::create_directories(directory, error);
    if (error) {
        failWith(escaped(directory.string()) + ": cannot be made: " + error.message(), "name another directory");
    }
}

} // namespace

void copyWholeMember(const std::string &package, const std::string &name, const fs::path &directory, uint32_t mode)
{
    const fs::path target = directory / name;
    requireLibraryPath(target);
    inspect(package, name);
    makeDirectory(directory);
    clearTheWay(target);
    takeLibraryReason();
    const packaging::DeferredSignals uninterrupted;
    const uint32_t result = SWM_ExtractFileWithHeader(package.c_str(), name.c_str(), directory.c_str(), mode);
    if (result == SWM_OK && chmod(target.c_str(), mode) == 0) {
        return;
    }
    Failure failure;
    failure.what =
        escaped(package) + ": member " + inQuotes(name) + ": " + escaped(target.string()) + ": could not be written";
    failure.reason = takeLibraryReason();
    failure.next = "check path, permissions and free space";
    std::error_code ignored;
    fs::remove(target, ignored);
    throw failure;
}

} // namespace tarn::tool
