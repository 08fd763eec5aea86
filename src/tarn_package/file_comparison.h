// What the records of file lists are compared and matched by.
#pragma once

#include <cstring>

#include <tarn_basic/path.h>
#include <tarn_boot/records.h>

#include "common/list_update.h"

namespace tarn {

struct FileFamily {
    using Node = FilelistTxtNode;
    static const char *key(const FilelistTxtRecord &record) { return record.poolName; }
    static bool same(const FilelistTxtRecord &a, const FilelistTxtRecord &b) { return SWM_IsSameRecord(&a, &b) != 0; }
    static constexpr const char *kAdder = "SWM_AddFilelistTxtRecord";
};

// A patch's link is sound while it leads into the directory it stands in. The test is one of text that does not look
// for the end of a path component: callers rely on it.
inline bool isPatchLinkAstray(const char *path)
{
    if (strstr(path, "patch/") == nullptr || SWM_IsSymlinkFile(path) != 1) {
        return false;
    }
    char dir[256] = "";
    char target[384] = "";
    return SWM_GetDirname(path, dir, sizeof(dir)) != 0 || TARN_GetLinkInfo(path, target, sizeof(target)) != 0 ||
           strncmp(target, dir, strlen(dir)) != 0;
}

// An installed file that is missing, relinked or refreshed keeps its old record in the walk: that is compared again and
// ends among the records to remove, while the new one is installed.
inline MergeStep fileStep(const FilelistTxtRecord &oldRecord, const FilelistTxtRecord &newRecord)
{
    switch (SWM_GetTxtRecordUpdateType(&oldRecord, &newRecord)) {
    case UPDATE_SAME:
        return {.takeOld = false, .takeNew = false, .advanceOld = true, .advanceNew = true};
    case UPDATE_DEL:
        return {.takeOld = true, .takeNew = false, .advanceOld = true, .advanceNew = false};
    case UPDATE_MODIFY:
        return {.takeOld = false, .takeNew = true, .advanceOld = true, .advanceNew = true};
    default: // UPDATE_ADD, UPDATE_REFRESH
        return {.takeOld = false, .takeNew = true, .advanceOld = false, .advanceNew = true};
    }
}

} // namespace tarn
