/* Directories. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_DIRECTORY_H
#define TARN_BASIC_DIRECTORY_H

#include <stdint.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Makes all missing levels, 0750 under the umask. Existing levels above the last are taken as they are; an existing
 * last component must be a directory, not a link, owned by the effective user and not writable for group or others:
 * work directories have guessable names under /tmp.
 */
TARN_BASIC_API uint32_t TARN_MkDirRecursive(const char *path);
/*
 * All but the last component; owner and mode, whatever the umask, only on the levels it made. A level whose owner
 * cannot be set is removed again, and the call fails.
 */
TARN_BASIC_API uint32_t SWM_MkParentDir(const char *path, uint32_t uid, uint32_t gid, uint32_t mode);
/*
 * Missing levels 0755 whatever the umask; owner and mode only on a last component this call made. "NA" leaves the owner
 * or group, numbers are accepted. For root an unknown name fails before anything is made; a process that is not root
 * keeps its own owner where the name is unknown or the system refuses the change with EPERM. An existing directory is
 * success and left alone, whatever the names; a link there fails. The only kind is 2; any other fails.
 */
TARN_BASIC_API uint32_t SWM_CreateDirWithPermission(const char *path, uint32_t kind, uint32_t mode, const char *owner,
                                                    const char *group);
TARN_BASIC_API uint32_t SWM_CreateDirWithCustomPermission(const char *path, uint32_t mode, const char *owner,
                                                          const char *group);

#ifdef __cplusplus
}
#endif

#endif
