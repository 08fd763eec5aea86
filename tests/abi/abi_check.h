/* Checks of a record's layout and of a constant, while it compiles. */
#ifndef ABI_CHECK_H
#define ABI_CHECK_H

#include <assert.h>
#include <stddef.h>

#define SIZE(type, size) static_assert(sizeof(type) == (size), #type)
#define FIELD(type, field, offset, size)                                                                               \
    static_assert(offsetof(type, field) == (offset) && sizeof(((type *)0)->field) == (size), #type "." #field)
#define VALUE(name, value) static_assert((name) == (value) && sizeof(name) == sizeof(uint32_t), #name)

#endif
