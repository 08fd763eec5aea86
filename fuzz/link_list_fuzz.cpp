// Link lists: what is read of them.
#include "list_check.h"

#include <tarn_boot/records.h>

#include "line_list_reference.h"

using namespace tarn::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ScratchFile file;
    file.assign(data, size);
    const auto expected = tarn::reference::links({reinterpret_cast<const char *>(data), size});
    SwmListHead list = {};
    const uint32_t status = SWM_GetAllRecordFromLinklist(file.path(), &list);
    require(status == (expected ? SWM_OK : SWM_FAIL), "a list of two columns is read, no other");
    requireSame(recordsOf<LinklistNode>(list), expected.value_or(std::vector<LinklistRecord>()),
                tarn::reference::sameLink, "links are those of the lines, equal ones once; none after a failure");

    SwmListHead merged = {};
    makeEmpty(merged);
    for (int times = 0; times < 2; ++times) {
        require(SWM_MergeCurrLinkFilelistRecord(file.path(), &merged) == status, "merging fails as reading does");
    }
    require(recordsOf<LinklistNode>(merged).size() == 2 * list.count, "merging looks for no duplicates");
    SWM_FreeLinklistRecord(&merged);
    SWM_FreeLinklistRecord(&list);
    return 0;
}
