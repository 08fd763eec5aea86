// Lists of files for the firmware loader: what is read, and what the count query hands out.
#include "list_check.h"

#include <tarn_boot/records.h>

#include "line_list_reference.h"

using namespace tarn::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ScratchFile file;
    file.assign(data, size);
    const auto expected = tarn::reference::biosloadFiles({reinterpret_cast<const char *>(data), size});
    const auto expectedRecords = expected.value_or(std::vector<BiosloadRecord>());
    SwmListHead list = {};
    const uint32_t status = SWM_GetAllBiosloadFileRecordInner(file.path(), &list);
    require(status == (expected ? SWM_OK : SWM_FAIL), "a list is read unless a line is not sound");
    requireSame(recordsOf<BiosloadNode>(list), expectedRecords, tarn::reference::sameBiosloadFile,
                "records are those of the lines; none after a failure");
    SWM_FreeBiosLoadFileRecordList(&list);

    std::vector<BiosloadRecord> slots(expectedRecords.size());
    auto count = static_cast<uint32_t>(slots.size());
    require(SWM_GetAllBiosloadFileRecord(file.path(), slots.data(), &count) == status, "a query fails as reading does");
    require(count == slots.size(), "the count is the number of records");
    requireSame(slots, expectedRecords, tarn::reference::sameBiosloadFile, "the slots hold the records in order");
    return 0;
}
