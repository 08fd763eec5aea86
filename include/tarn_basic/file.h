/* File operations. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_FILE_H
#define TARN_BASIC_FILE_H

#include <stdint.h>
#include <stdio.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Opens with the flags of open(2); with O_CREAT the mode follows as a uint32_t and the umask applies. Reading only adds
 * O_NONBLOCK, so that a FIFO does not hang the caller. O_CREAT tries O_EXCL | O_NOFOLLOW first; a file that is there
 * already is opened without following a link and must be regular; without O_TRUNC it must also be the effective user's
 * (else EPERM), with O_TRUNC any owner will do and it is cut only after that check. O_TMPFILE is refused.
 */
TARN_BASIC_API uint32_t SWM_Open(const char *path, int32_t flags, int32_t *fdOut, ...);
/* The same care for a stream of mode "r", "r+" and the like. The stream is null on failure. */
TARN_BASIC_API uint32_t SWM_Fopen(const char *path, const char *mode, FILE **streamOut);

/* Read or write until `count`, the end of the file or an error; the result is the bytes moved, -1 when none could be.
 */
TARN_BASIC_API int32_t SWM_Read(int32_t fd, void *buffer, uint32_t count);
TARN_BASIC_API int32_t SWM_Write(int32_t fd, const void *buffer, uint32_t count);
TARN_BASIC_API int32_t TARN_FdRead(int32_t fd, void *buffer, uint32_t count);
TARN_BASIC_API int32_t TARN_ReadFile(int32_t fd, void *buffer, uint32_t count, uint32_t reserved);

/* A read-only descriptor of the regular file that realpath finds, or -1. */
TARN_BASIC_API int32_t TARN_CanonicalOpen(const char *path, int32_t flags);
TARN_BASIC_API int32_t TARN_CanonicalClose(int32_t fd);

/*
 * Copies a regular file: a new 0600 file beside the destination gets content, mode and (for root) owner, is synced and
 * renamed, and the directory is synced. A link at the destination is replaced, not followed. Nothing stays on failure,
 * but once renamed the copy stays: a directory that cannot be synced is reported all the same.
 */
TARN_BASIC_API uint32_t SWM_CopyFile(const char *source, const char *destination);
/* unlink: directories and missing files fail. */
TARN_BASIC_API uint32_t SWM_DelFile(const char *path);
TARN_BASIC_API uint32_t TARN_DelFile(const char *path);
/*
 * Removes a tree, by descriptor; no links followed, no device crossed, the one of the directory that holds the tree
 * included (EXDEV). Refuses "", "/", "." and "..", also as last component, and trees deeper than 256 levels (ELOOP).
 * Somebody who keeps creating files in it is not waited for (ENOTEMPTY).
 */
TARN_BASIC_API uint32_t SWM_RemoveDir(const char *dir);
/* fchmod(mode & 07777) of a file that is not a link; its owner need not be able to read it. */
TARN_BASIC_API uint32_t SWM_FchmodPath(const char *path, uint32_t mode);
/* Owner of the link itself. */
TARN_BASIC_API uint32_t SWM_Lchown(const char *path, uint32_t uid, uint32_t gid);
/*
 * Makes a marker file with owner and mode, synced with its directory; one that exists already, regular and under this
 * name only, is success and left alone. A process that is not root and may not set the owner goes without (EPERM).
 */
TARN_BASIC_API uint32_t SWM_CreateKeyFile(const char *path, uint32_t uid, uint32_t gid, uint32_t mode);
/* Clears immutable and append-only, adds the owner's write bit; a missing file is success. */
TARN_BASIC_API uint32_t SWM_UndoProtectFile(const char *path);

#ifdef __cplusplus
}
#endif

#endif
