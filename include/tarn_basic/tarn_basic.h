/*
 * The platform interface: what libtarn_boot asks of the device it runs on. The bundled libtarn_basic implements all of
 * it for any Linux machine; a device may put its own library in its place.
 *
 * Conventions, unless an operation says otherwise:
 *  1. Status results are 0 for success, anything else is the reason of the failure. Predicates are 1 or 0, callers test
 *     for nonzero. Byte counts and descriptors are -1 on failure.
 *  2. A null argument is a failure (or 0 from a predicate), never a crash.
 *  3. On failure the outputs are untouched and errno is that of the failing system call.
 *  4. A text that does not fit its buffer is a failure, never a cut. Buffer sizes count the terminating NUL.
 *  5. Every operation may be called from several threads; nothing is kept between calls but the handle of the digest
 *     algorithm.
 *  6. Descriptors are close-on-exec, and opening one never makes a terminal the controlling one; calls interrupted by a
 *     signal are taken up again.
 */
#ifndef TARN_BASIC_TARN_BASIC_H
#define TARN_BASIC_TARN_BASIC_H

#include <tarn_basic/bounded.h>
#include <tarn_basic/crypto.h>
#include <tarn_basic/device.h>
#include <tarn_basic/directory.h>
#include <tarn_basic/file.h>
#include <tarn_basic/ini.h>
#include <tarn_basic/log.h>
#include <tarn_basic/path.h>
#include <tarn_basic/pool.h>
#include <tarn_basic/text.h>

#endif
