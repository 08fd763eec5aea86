// Installed paths and the files there.
#include "list/installed.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <vector>

#include "packaging/digest.h"
#include "packaging/error.h"
#include "packaging/output_file.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr size_t kRoomForDirectory = sizeof(FilelistTxtRecord::installDir) - 1;
constexpr size_t kReadAtOnce = 256u << 10;

} // namespace

void moveBelow(const std::string &root, LoadedList &list)
{
    if (root.empty()) {
        return;
    }
    if (stateOf(root) != FileState::Directory) {
        failWith("--root " + escaped(root) + ": no directory that can be looked into", "name an existing directory");
    }
    // The test of patch links compares texts: only a plain path is found at the beginning of a link's target.
    std::string prefix = std::filesystem::absolute(root).lexically_normal().string();
    prefix.erase(prefix.find_last_not_of('/') + 1);
    for (const SwmListNode *node : list.nodes()) {
        FilelistTxtRecord &record = const_cast<FilelistTxtRecord &>(fileRecord(*node));
        const std::string moved = prefix + (record.installDir[0] == '/' ? "" : "/") + record.installDir;
        if (moved.size() > kRoomForDirectory) {
            failWith(escaped(list.path) + ": the directory of " + inQuotes(record.poolName) + " below " +
                         escaped(prefix) +
                         format(" has %zu bytes, a record holds %zu", moved.size(), kRoomForDirectory),
                     "use a shorter --root");
        }
        memcpy(record.installDir, moved.c_str(), moved.size() + 1);
    }
}

std::string installedPath(const FilelistTxtRecord &record)
{
    std::string path = std::string(record.installDir) + "/" + record.fileName;
    const auto isDoubled = [](char a, char b) { return a == '/' && b == '/'; };
    path.erase(std::unique(path.begin(), path.end(), isDoubled), path.end());
    return path;
}

FileState stateOf(const std::string &path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return errno == EACCES ? FileState::Unreadable : FileState::Missing;
    }
    return S_ISREG(status.st_mode)   ? FileState::Regular
           : S_ISDIR(status.st_mode) ? FileState::Directory
                                     : FileState::Special;
}

uint64_t installedBytes(const LoadedList &list)
{
    uint64_t total = 0;
    for (const SwmListNode *node : list.nodes()) {
        struct stat status = {};
        const bool isFile = stat(installedPath(fileRecord(*node)).c_str(), &status) == 0 && S_ISREG(status.st_mode);
        total += isFile ? static_cast<uint64_t>(status.st_size) : 0;
    }
    return total;
}

std::string fileDigest(const std::string &path)
{
    const packaging::Descriptor file = packaging::openSource(path);
    packaging::Sha256 digest;
    std::vector<char> buffer(kReadAtOnce);
    size_t got = 0;
    do {
        got = packaging::readFully(file, buffer.data(), buffer.size(), path);
        digest.update(buffer.data(), got);
    } while (got == buffer.size());
    return digest.text();
}

namespace {

const char *typeWord(FileState state)
{
    return state == FileState::Directory ? "directory" : state == FileState::Regular ? "file" : "special file";
}

InstalledProblem judgeContent(const FilelistTxtRecord &record, const std::string &path)
{
    InstalledProblem problem;
    try {
        problem.expected = digestText(record);
        problem.found = fileDigest(path);
        problem.verdict = problem.found == problem.expected ? InstalledVerdict::Ok : InstalledVerdict::Damaged;
    } catch (const packaging::PackagingError &) {
        problem = {InstalledVerdict::Unreadable, "", ""};
    }
    return problem;
}

} // namespace

InstalledProblem judgeInstalled(const FilelistTxtRecord &record)
{
    const std::string path = installedPath(record);
    const FileState state = stateOf(path);
    const FileState wanted = record.isDir != 0 ? FileState::Directory : FileState::Regular;
    if (state == FileState::Missing) {
        return {InstalledVerdict::Missing, "", ""};
    }
    if (state == FileState::Unreadable) {
        return {InstalledVerdict::Unreadable, "", ""};
    }
    if (state != wanted) {
        return {InstalledVerdict::WrongType, typeWord(wanted), typeWord(state)};
    }
    return record.isDir != 0 ? InstalledProblem{} : judgeContent(record, path);
}

} // namespace tarn::tool
