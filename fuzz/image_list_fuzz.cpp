// Image lists: what is read, and what the count query hands out for arrays of every size around it.
#include "list_check.h"

#include <cstring>

#include <tarn_boot/records.h>

#include "line_list_reference.h"

using namespace tarn::fuzz;

namespace {

void checkQuery(const char *path, const std::vector<std::string> &names)
{
    const auto number = static_cast<uint32_t>(names.size());
    uint32_t count = 0;
    require(SWM_GetImageNameFromFile(path, nullptr, &count) == SWM_OK && count == number,
            "the number can be asked for");
    std::vector<ImageNameRecord> slots(number + 1, ImageNameRecord{"untouched"});
    if (number > 0) {
        count = number - 1;
        require(SWM_GetImageNameFromFile(path, slots.data(), &count) == SWM_E_BUFFER_SMALL && count == number,
                "one slot too few is told");
        require(strcmp(slots[0].name, "untouched") == 0, "nothing is copied into too small an array");
    }
    count = number;
    require(SWM_GetImageNameFromFile(path, slots.data(), &count) == SWM_OK && count == number, "just enough slots do");
    for (size_t i = 0; i < names.size(); ++i) {
        require(slots[i].name == names[i], "the slots hold the names in order");
    }
    require(strcmp(slots[number].name, "untouched") == 0, "nothing is copied behind the array");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ScratchFile file;
    file.assign(data, size);
    const auto expected = tarn::reference::imageNames({reinterpret_cast<const char *>(data), size});
    SwmListHead list = {};
    const uint32_t status = SWM_GetAllImageName(file.path(), &list);
    require(status == (expected ? SWM_OK : SWM_FAIL), "a list is read unless a name is too long");
    requireSame(
        recordsOf<ImageNameNode>(list), expected.value_or(std::vector<std::string>()),
        [](const ImageNameRecord &record, const std::string &name) { return record.name == name; },
        "names are those of the lines, each once; none after a failure");
    SWM_FreeImageNameList(&list);
    uint32_t count = 12345;
    if (expected) {
        checkQuery(file.path(), *expected);
    } else {
        require(SWM_GetImageNameFromFile(file.path(), nullptr, &count) == SWM_FAIL && count == 12345,
                "a query that fails leaves the count alone");
    }
    return 0;
}
