// Package descriptions: keys, file sections and requirements; and what a CC description reads from the same text.
#include "descriptor_reference.h"
#include "list_check.h"

using namespace tarn::fuzz;
namespace reference = tarn::reference;

namespace {

// Their records are data behind links.
template <class Data> struct DataNode {
    SwmListNode links;
    Data record;
};

template <class Data> void requireRecords(const SwmListHead &list, const std::vector<Data> &expected, const char *what)
{
    requireSame(
        recordsOf<DataNode<Data>>(list), expected,
        [](const Data &a, const Data &b) { return reference::sameBytes(a, b); }, what);
}

void checkRequirements(const PkgDescInfo &info)
{
    std::vector<PkgRequireData> expected;
    const bool sound = reference::requirements(info.requiresText, &expected);
    for (PkgRequireData &data : expected) {
        reference::fill(data.ccName, "base.cc");
        memcpy(data.packageName, info.packageName, sizeof(data.packageName));
    }
    SwmListHead list;
    makeEmpty(list);
    require(SWM_MallocAndAddPkgRequireInfoToList(&list, "base.cc", &info) == (sound ? SWM_OK : SWM_FAIL),
            "requirements are read unless one is bad");
    requireRecords(list, expected, "each requirement once, those before a bad one");
    SWM_FreePkgRequireList(&list);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ScratchFile file;
    file.assign(data, size);
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    const auto name = reference::descriptorValue(text, "package_name", 128);
    const auto version = reference::descriptorValue(text, "version", 128);
    const auto needed = reference::descriptorValue(text, "requires", 128);
    const auto files = reference::filesOf(text, "files:");
    const auto compatible = reference::filesOf(text, "files-compatible:");
    const bool sound = name && version && needed && files && compatible;
    PkgDescInfo info = {};
    require(SWM_GetPkgInfoFromPkgDesc(file.path(), &info) == (sound ? SWM_OK : SWM_FAIL),
            "a description is read unless a value or a line is bad");
    if (sound) {
        require(info.packageName == *name && info.version == *version && info.requiresText == *needed,
                "the values are those of the keys");
        requireRecords(info.files, *files, "the files are those of their section");
        requireRecords(info.compatibleFiles, *compatible, "and so are the compatible ones");
        checkRequirements(info);
    }
    SWM_FreeFileStructureRecord(&info.files);
    SWM_FreeFileStructureRecord(&info.compatibleFiles);

    SwmListHead included = {};
    const auto names = reference::descriptorValue(text, "cc_include", 256);
    require(SWM_GetAllPackageStructureFromCcDesc(file.path(), &included) == (names ? SWM_OK : SWM_FAIL),
            "included packages are read unless they do not fit");
    std::vector<ImageNameRecord> expected; // a name in 128 bytes
    for (const std::string &piece : reference::splitAt(reference::trimmed(names.value_or("")), ";")) {
        ImageNameRecord record;
        reference::fill(record.name, piece);
        reference::addOnce(expected, record);
    }
    requireRecords(included, expected, "each included package once");
    SWM_FreePackageStructureRecord(&included);
    return 0;
}
