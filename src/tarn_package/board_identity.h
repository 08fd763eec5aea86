// What the names of a board's lists are made of.
#pragma once

#include <tarn_basic/device.h>

#include "common/bounded_text.h"
#include "common/log.h"

namespace tarn {

// 0 stands for what the platform cannot tell.
inline uint32_t askCpuId()
{
    uint32_t cpuId = 0;
    if (SWM_GetCpuId(&cpuId) != 0) {
        BASE_WARNING("Get cpuid unsuccessfully");
        return 0;
    }
    return cpuId;
}

inline uint32_t askHardType()
{
    uint32_t hardType = 0;
    if (SWM_GetBoardHardType(&hardType) != 0) {
        BASE_WARNING("Get hardType unsuccessfully");
        return 0;
    }
    return hardType;
}

// What a print into a buffer of this size may hold.
inline size_t textRoom(uint32_t size)
{
    return size > 0 ? size - 1 : 0;
}

// No list has the name of no hardware type. True, and an empty path, when there is none.
inline bool isNoHardType(const char *hardType, char *path, uint32_t size)
{
    if (hardType == nullptr && size > 0) {
        *path = '\0';
    }
    return hardType == nullptr;
}

} // namespace tarn
