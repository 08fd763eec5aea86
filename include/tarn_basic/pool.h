/* Package pool. Conventions: tarn_basic.h. */
#ifndef TARN_BASIC_POOL_H
#define TARN_BASIC_POOL_H

#include <stdint.h>

#include <tarn_basic/export.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * "<pool>/<name>/<version>", the same with "/desc", and "<root>/swm/patch/<id>/<id>". Callers join file names to the
 * buffer whatever the result, so it is never left empty: an identifier that is null, "", ".", "..", has a "/" or a
 * control byte, or does not fit, gives "<pool>/.invalid/.invalid" ("<root>/swm/patch/.invalid/.invalid") and a failure.
 */
TARN_BASIC_API uint32_t SWM_GetPkgPoolPackageVersionPath(const char *pkgName, const char *pkgVer, char *out,
                                                         uint32_t outSize);
TARN_BASIC_API uint32_t SWM_GetPkgPoolPackageVerDescFileLocalPath(const char *pkgName, const char *pkgVer, char *out,
                                                                  uint32_t outSize);
TARN_BASIC_API uint32_t SWM_PAT_GetPkgLoadFilePath(const char *patchId, const char *patchSubId, char *out,
                                                   uint32_t outSize);

#ifdef __cplusplus
}
#endif

#endif
