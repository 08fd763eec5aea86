/* Identity and device. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_DEVICE_H
#define TARN_BASIC_DEVICE_H

#include <stdint.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The id, or `fallback` when the name is not known. */
TARN_BASIC_API uint32_t TARN_GetUidByName(const char *name, uint32_t fallback);
TARN_BASIC_API uint32_t TARN_GetGidByName(const char *name, uint32_t fallback);
/* From the configuration; a value that is no number fails. */
TARN_BASIC_API uint32_t SWM_GetCpuId(uint32_t *cpuId);
TARN_BASIC_API uint32_t SWM_GetBoardHardType(uint32_t *hardType);
/* Attaches an image at `offset` to a free loop device, read-only, not auto-cleared; the device's path comes back. */
TARN_BASIC_API uint32_t TARN_MountLoopDev(const char *imagePath, uint32_t offset, char *deviceOut, uint32_t outSize);
/* Detaches a loop device; anything that is not a block device of the loop driver is refused. */
TARN_BASIC_API uint32_t TARN_DelLoopDev(const char *devicePath);

#ifdef __cplusplus
}
#endif

#endif
