// Descriptor files as the library reads them.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "list/load.h"

namespace tarn::tool {

enum class DescKind { Cc, Package, Rpm };

// A key of a descriptor, and the bytes of the field that the library reads it into, terminator included.
struct DescKey {
    const char *name;
    size_t room;
};

// None for lists of rpm files.
std::span<const DescKey> descKeys(DescKind kind);

// "cc", "package", "rpm".
const char *descKindName(DescKind kind);

// As the lines tell; nothing when they do not.
std::optional<DescKind> detectDescKind(const ListFile &file);

// A kind by its name, or, for "", detected. Throws Failure.
DescKind chooseDescKind(const std::string &typeName, const ListFile &file);

// A value as the library reads it: "" when the key is missing or the value cannot be one.
struct DescValue {
    bool isRead = false; // false: refused, for want of room
    std::string text;
};

DescValue readDescValue(const std::string &path, const DescKey &key);

} // namespace tarn::tool
