// rpm lists.
#include "descriptor_reference.h"
#include "list_check.h"

using namespace tarn::fuzz;

namespace {

struct RpmNode {
    SwmListNode links;
    RpmlistTxtData record;
};
static_assert(sizeof(RpmNode) == sizeof(RpmlistTxtRecord));

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ScratchFile file;
    file.assign(data, size);
    const auto expected = tarn::reference::rpms({reinterpret_cast<const char *>(data), size});
    SwmListHead list = {};
    require(SWM_GetAllRecordFromRpmlistTxt(file.path(), &list) == (expected ? SWM_OK : SWM_FAIL),
            "a list is read unless a line is bad");
    requireSame(
        recordsOf<RpmNode>(list), expected.value_or(std::vector<RpmlistTxtData>()),
        [](const RpmlistTxtData &a, const RpmlistTxtData &b) { return tarn::reference::sameBytes(a, b); },
        "records are those of the lines in order; none after a failure");
    SWM_FreeRpmlistTxtRecord(&list);
    return 0;
}
