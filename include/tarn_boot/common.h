/* Status values, list shapes and the export macro: shared by every header of libtarn_boot. Conventions: tarn_boot.h. */
#ifndef TARN_BOOT_COMMON_H
#define TARN_BOOT_COMMON_H

#include <stddef.h>
#include <stdint.h>

#define TARN_BOOT_API __attribute__((visibility("default")))
#ifdef __cplusplus
#define TARN_BOOT_NOEXCEPT noexcept
#else
#define TARN_BOOT_NOEXCEPT
#endif

#define SWM_OK 0u
#define SWM_FAIL 0xFFFFFFFFu            /* general failure */
#define SWM_E_NO_MEMORY 0x10000001u     /* memory exhausted */
#define SWM_E_PARAM 0x10000002u         /* invalid argument or unsupported type */
#define SWM_E_FILE_MISSING 0x10000003u  /* file missing */
#define SWM_E_FILE_COUNT 0x1000000Cu    /* file count of a signed list out of range */
#define SWM_E_VERIFY 0x1000000Eu        /* type-specific verification failed */
#define SWM_E_LIST_LOAD 0x1000000Fu     /* signed list not loadable */
#define SWM_E_NO_BACKUP_DIR 0x10000017u /* backup directory missing */
#define SWM_E_BUFFER_SMALL 0x1000001Au  /* caller's array or value buffer too small */

#ifdef __cplusplus
extern "C" {
#endif

/* First member of every list record; the record's fields follow. */
typedef struct SwmListNode {
    struct SwmListNode *next; /* 0 */
    struct SwmListNode *prev; /* 8 */
} SwmListNode;                /* sizeof 16 */

/*
 * Sentinel of a circular doubly linked list. Empty: both links at the head itself and count 0; a zero-filled head is
 * read as empty too.
 */
typedef struct SwmListHead {
    SwmListNode *next; /* 0 */
    SwmListNode *prev; /* 8 */
    uint32_t count;    /* 16: records in the list */
} SwmListHead;         /* sizeof 24 */

struct SwmIniKey;     /* <tarn_basic/ini.h> */
struct SwmIniSection; /* <tarn_basic/ini.h> */
struct _xmlDoc;       /* <libxml/tree.h> */
struct _xmlNode;      /* <libxml/tree.h> */

#ifdef __cplusplus
}
#endif

#endif
