// Kinds of descriptors and their values.
#include "desc/descriptor.h"

#include <algorithm>
#include <vector>

#include <tarn_boot/descriptor.h>

#include "text.h"

namespace tarn::tool {

namespace {

constexpr DescKey kCcKeys[] = {
    {"package_format_ver", sizeof(CcInfo::formatVersion)},
    {"is_startup", 128},
    {"version", sizeof(CcInfo::version)},
    {"cc_include", 256},
};
constexpr DescKey kPackageKeys[] = {
    {"package_name", sizeof(PkgDescInfo::packageName)},
    {"version", sizeof(PkgDescInfo::version)},
    {"requires", sizeof(PkgDescInfo::requiresText)},
};

constexpr const char *kNames[] = {"cc", "package", "rpm"};

bool has(const ListFile &file, const char *text)
{
    return file.content.find(text) != std::string::npos;
}

} // namespace

std::span<const DescKey> descKeys(DescKind kind)
{
    switch (kind) {
    case DescKind::Cc:
        return kCcKeys;
    case DescKind::Package:
        return kPackageKeys;
    default:
        return {};
    }
}

const char *descKindName(DescKind kind)
{
    return kNames[static_cast<size_t>(kind)];
}

std::optional<DescKind> detectDescKind(const ListFile &file)
{
    if (has(file, "cc_include") || has(file, "is_startup")) {
        return DescKind::Cc;
    }
    if (has(file, "package_name") || has(file, "files:") || has(file, "requires")) {
        return DescKind::Package;
    }
    if (has(file, ".rpm ")) {
        return DescKind::Rpm;
    }
    return std::nullopt;
}

DescKind chooseDescKind(const std::string &typeName, const ListFile &file)
{
    if (!typeName.empty()) {
        const auto found = std::find(std::begin(kNames), std::end(kNames), typeName);
        if (found == std::end(kNames)) {
            refuseUsage("--type " + escaped(typeName) + ": no such kind of descriptor", "use cc, package or rpm");
        }
        return static_cast<DescKind>(found - std::begin(kNames));
    }
    if (const auto kind = detectDescKind(file)) {
        return *kind;
    }
    failWith(escaped(file.path) + ": nothing tells what kind of descriptor it is",
             "say so with --type cc, package or rpm", ExitStatus::No);
}

DescValue readDescValue(const std::string &path, const DescKey &key)
{
    std::vector<char> value(key.room, '\0');
    DescValue read;
    read.isRead =
        SWM_GetSecValueFromDesc(path.c_str(), key.name, value.data(), static_cast<uint32_t>(value.size())) == SWM_OK;
    read.text = read.isRead ? value.data() : "";
    return read;
}

} // namespace tarn::tool
