// What a file list names on the disk.
#pragma once

#include <string>

#include "list/load.h"

namespace tarn::tool {

// Moves the records below `root`: installed paths are looked up there. "" leaves them as they are. Throws Failure when
// there is no such directory or a path does not fit the record any more.
void moveBelow(const std::string &root, LoadedList &list);

// Without the doubled slashes that joining leaves.
std::string installedPath(const FilelistTxtRecord &record);

enum class FileState { Regular, Directory, Special, Missing, Unreadable };

// Links followed, as installing services do.
FileState stateOf(const std::string &path);

// Bytes of the installed files that are there.
uint64_t installedBytes(const LoadedList &list);

enum class InstalledVerdict { Ok, Missing, Damaged, WrongType, Unreadable };

struct InstalledProblem {
    InstalledVerdict verdict = InstalledVerdict::Ok;
    std::string expected; // what is listed, and what is there instead: digests, types or ""
    std::string found;
};

InstalledProblem judgeInstalled(const FilelistTxtRecord &record);

// SHA-256, 64 hexadecimal digits. Throws PackagingError.
std::string fileDigest(const std::string &path);

} // namespace tarn::tool
