// Lists of the files that the firmware loader loads; docs/formats.md.
#include <cerrno>
#include <cstdlib>

#include <tarn_basic/text.h>
#include <tarn_boot/records.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/line_reader.h"
#include "common/log.h"
#include "common/record_copy.h"
#include "common/record_list.h"

using namespace tarn;

namespace {

using BiosList = RecordList<BiosloadNode>;

constexpr uint32_t kShortLine = 6;
constexpr uint32_t kLongLine = 7;

uint32_t convertColumns(const Pieces &columns, BiosloadRecord &record, const char *function)
{
    printField(record.sha256Text, columns[0], function);
    printField(record.filePath, columns[1], function);
    printField(record.field2Text, columns[2], function);
    printField(record.field3Text, columns[3], function);
    record.field4Num = static_cast<uint32_t>(strtoul(columns[4], nullptr, 10));
    record.fileType = static_cast<uint32_t>(strtol(columns[5], nullptr, 10));
    if (record.fileType > 1) {
        return BASE_FAIL("File type[%u] is not valid.", record.fileType);
    }
    if (columns.count() == kLongLine) {
        printField(record.field6Text, columns[6], function);
    }
    return SWM_OK;
}

uint32_t addLine(char *line, SwmListHead &list, const char *function)
{
    HeapBlock<BiosloadNode> node = allocate<BiosloadNode>();
    if (!node) {
        return BASE_FAIL("Malloc biosload record node memory unsuccessfully, errno = %d", errno);
    }
    clearBytes(node.get(), sizeof(BiosloadNode), function);
    if (SWM_Trans2BiosloadRecord(line, &node->record) != SWM_OK) {
        return BASE_FAIL("Trans bioaload file line[%s] to record unsuccessfully", line);
    }
    BiosList(list).append(std::move(node));
    clearBytes(line, kRecordLineSize, function);
    return SWM_OK;
}

} // namespace

uint32_t SWM_Trans2BiosloadRecord(char *line, BiosloadRecord *record) noexcept
{
    Pieces columns;
    if (line == nullptr || record == nullptr || SWM_StringTrim(line) != 0 || !columns.split(line, " ")) {
        return SWM_FAIL;
    }
    if (columns.count() != kShortLine && columns.count() != kLongLine) {
        return BASE_FAIL("%s:biosload record column number error, line:%s", __func__, line);
    }
    BiosloadRecord converted = {};
    if (convertColumns(columns, converted, __func__) != SWM_OK) {
        return SWM_FAIL;
    }
    *record = converted;
    return SWM_OK;
}

uint32_t SWM_GetAllBiosloadFileRecordInner(const char *path, SwmListHead *list) noexcept
{
    if (isNullOrEmpty(path) || list == nullptr) {
        return BASE_FAIL("SWM_GetAllBiosloadFileRecordInner: get null param.");
    }
    BiosList records(*list);
    records.initialise();
    UniqueStream stream;
    if (openStream(path, "r", stream) != 0) {
        return BASE_FAIL("Fopen file[%s] unsuccessfully, errno = %d", path, errno);
    }
    const char *function = __func__;
    const ReadEnd end = readRecordLines(stream.get(), [=](char *line) { return addLine(line, *list, function); });
    if (end == ReadEnd::ReadError) {
        BASE_ERROR("Get line from file unsuccessfully, errno = %d", errno);
    }
    if (end != ReadEnd::EndOfFile) {
        records.release();
        return SWM_FAIL;
    }
    return SWM_OK;
}

void SWM_FreeBiosLoadFileRecordList(SwmListHead *list) noexcept
{
    if (list != nullptr) {
        BiosList(*list).release();
    }
}

uint32_t SWM_GetAllBiosloadFileRecord(const char *path, BiosloadRecord *records, uint32_t *count) noexcept
{
    if (isNullOrEmpty(path) || count == nullptr) {
        return BASE_FAIL("SWM_GetAllBiosloadFileRecord: get null param.");
    }
    LocalList<BiosloadNode> list;
    if (SWM_GetAllBiosloadFileRecordInner(path, &list.head) != SWM_OK) {
        return BASE_FAIL("Get all bioaload record from file[%s] unsuccessfully", path);
    }
    const uint32_t status = copyRecords<BiosloadNode>(list.head, records, *count);
    if (status == SWM_E_BUFFER_SMALL) {
        BASE_WARNING("Biosload record buffer count is not enough, buffer count = %u, record count = %u", *count,
                     *count);
    }
    return status;
}
