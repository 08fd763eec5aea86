/*
 * libtarn_boot: signed package containers and the record of what is installed, for boot and installer services.
 *
 * Conventions of every header, unless an operation says otherwise:
 *  1. Status. Operations that return uint32_t give SWM_OK or SWM_FAIL; predicates (names with Is or Compare) give 1 or
 * 0.
 *  2. Null rule. A null pointer, or an empty text where one is required (paths, names, directories, keys), is refused
 *     before anything is touched, with one error line. Predicates answer 0 to it in silence. Pointers that may be null
 *     are marked.
 *  3. Outputs are written on success only, but for the path buffers that say so.
 *  4. Ownership. Lists and blocks made for a caller are the caller's and come from malloc: unlinked list records and
 *     blocks go back with free(). Descriptors handed in stay the caller's; their position moves.
 *  5. Text is NUL-terminated; buffer sizes count the NUL. Offsets and lengths are bytes.
 *  6. Threads. Operations may run in any thread. Requests that use the package cache (container.h) take its mutex for
 *     their whole length, their single steps expect the caller to hold it; callers serialise changes to any other
 *     shared file or list.
 *  7. Failures are reported through SWM_LogWrite of the platform library, at the place where they are found.
 */
#ifndef TARN_BOOT_TARN_BOOT_H
#define TARN_BOOT_TARN_BOOT_H

#include <tarn_boot/common.h>
#include <tarn_boot/container.h>
#include <tarn_boot/database.h>
#include <tarn_boot/descriptor.h>
#include <tarn_boot/records.h>
#include <tarn_boot/verification.h>

#endif
