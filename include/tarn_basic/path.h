/* File tests and paths. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_PATH_H
#define TARN_BASIC_PATH_H

#include <stdint.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Predicates. The first two follow links and accept any type, so a dangling link does not exist. */
TARN_BASIC_API uint32_t SWM_IsFileExist(const char *path);
TARN_BASIC_API uint32_t TARN_IsFileExist(const char *path);
/* A regular file that is not a link. */
TARN_BASIC_API uint32_t SWM_IsRealFileExist(const char *path);
/* Directories, links followed. */
TARN_BASIC_API uint32_t SWM_IsDirExist(const char *path);
TARN_BASIC_API uint32_t TARN_IsDirExist(const char *path);
TARN_BASIC_API uint32_t SWM_IsSymlinkFile(const char *path);

/* Bytes of a regular file, links followed. Stores 0 on failure. */
TARN_BASIC_API uint32_t SWM_GetFileSize(const char *path, int64_t *size);
/* realpath. */
TARN_BASIC_API uint32_t SWM_GetCanonicalFilepath(const char *path, char *out, uint32_t outSize);
/* The directory part as text. A path without "/" fails, so that nobody removes the current directory. */
TARN_BASIC_API uint32_t SWM_GetDirname(const char *path, char *out, uint32_t outSize);
/* No "/" gives "." and the name; an empty base name fails. */
TARN_BASIC_API uint32_t SWM_GetDirAndBaseName(const char *path, char *dir, uint32_t dirSize, char *name,
                                              uint32_t nameSize);

/*
 * In place, in a buffer of 384 bytes: a relative path goes under the root path; "//", "." and ".." are resolved as
 * text, never above the root. A path that does not fit, or does not end in the buffer, becomes
 * "<root>/.invalid/.invalid".
 */
TARN_BASIC_API void SWM_Trans2AbsolutePath(char *path);
/* A hook for devices with special directories; the bundled library changes nothing. */
TARN_BASIC_API void SWM_PkgSpecialDirHandler(char *path);
/* The target of a link; a relative target is joined to the link's directory, "." and ".." resolved as text. */
TARN_BASIC_API uint32_t TARN_GetLinkInfo(const char *path, char *out, uint32_t outSize);
/* The configured root, without a trailing "/" unless it is "/" itself. */
TARN_BASIC_API uint32_t SWM_GetRootPath(char *out, uint32_t outSize);

#ifdef __cplusplus
}
#endif

#endif
