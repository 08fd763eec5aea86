// rpm lists: which rpm files an installation adds, updates or removes.
#include <cstring>

#include <tarn_basic/text.h>
#include <tarn_boot/descriptor.h>

#include "common/bounded_text.h"
#include "common/handles.h"
#include "common/line_reader.h"
#include "common/log.h"
#include "common/record_copy.h"
#include "common/record_list.h"

using namespace tarn;

namespace {

constexpr uint32_t kFields = 3;
constexpr char kSuffix[] = ".rpm";
constexpr const char *kOperations[] = {"add", "update", "remove"}; // by code

uint32_t convertFields(const Pieces &fields, RpmlistTxtData &data, const char *function)
{
    printField(data.rpmFileName, fields[0], function);
    if (SWM_IsPostfixString(fields[0], kSuffix) == 0) {
        return BASE_FAIL("%s:rpm name error, name:%s", function, fields[0]);
    }
    copyText(data.rpmName, sizeof(data.rpmName), fields[0], strlen(fields[0]) - strlen(kSuffix), function);
    printField(data.secondText, fields[1], function);
    for (uint32_t code = RPM_OPERATION_ADD; code <= RPM_OPERATION_REMOVE; ++code) {
        if (SWM_IsStringEqual(fields[2], kOperations[code]) != 0) {
            data.operation = code;
            return SWM_OK;
        }
    }
    return BASE_FAIL("%s:rpm proc type error, type:%s", function, fields[2]);
}

} // namespace

uint32_t SWM_GetAllRecordFromRpmlistTxt(const char *path, SwmListHead *list) noexcept
{
    if (isNullOrEmpty(path) || list == nullptr) {
        return BASE_FAIL("SWM_GetAllRecordFromRpmlistTxt: get null param.");
    }
    UniqueStream stream;
    if (openStream(path, "r", stream) != 0) {
        return SWM_FAIL;
    }
    const HeapBlock<RpmlistTxtData> data = allocate<RpmlistTxtData>();
    if (!data) {
        return SWM_FAIL;
    }
    RecordList<RpmlistTxtRecord>(*list).initialise();
    const char *function = __func__;
    const auto addLine = [&](char *line) {
        clearBytes(data.get(), sizeof(RpmlistTxtData), function);
        if (SWM_Trans2RpmlistTxtRecord(line, data.get()) != SWM_OK ||
            SWM_InsertRpmlistTxtRecord(list, data.get()) != SWM_OK) {
            return SWM_FAIL;
        }
        clearBytes(line, kRecordLineSize, function);
        return SWM_OK;
    };
    if (readRecordLines(stream.get(), addLine) != ReadEnd::EndOfFile) {
        SWM_FreeRpmlistTxtRecord(list);
        return SWM_FAIL;
    }
    return SWM_OK;
}

uint32_t SWM_Trans2RpmlistTxtRecord(char *line, RpmlistTxtData *data) noexcept
{
    if (line == nullptr || data == nullptr) {
        return BASE_FAIL("SWM_Trans2RpmlistTxtRecord: get null param.");
    }
    Pieces fields;
    if (SWM_StringTrim(line) != 0 || !fields.split(line, " ")) {
        return SWM_FAIL;
    }
    if (fields.count() != kFields) {
        return BASE_FAIL("%s:filelist column number error, line:%s", __func__, line);
    }
    RpmlistTxtData converted = {};
    if (convertFields(fields, converted, __func__) != SWM_OK) {
        return SWM_FAIL;
    }
    *data = converted;
    return SWM_OK;
}

uint32_t SWM_InsertRpmlistTxtRecord(SwmListHead *list, const RpmlistTxtData *data) noexcept
{
    if (list == nullptr || data == nullptr) {
        return BASE_FAIL("SWM_InsertRpmlistTxtRecord: get null param.");
    }
    if (appendCopy(*list, &RpmlistTxtRecord::data, *data) != SWM_OK) {
        return BASE_FAIL("malloc failed.");
    }
    return SWM_OK;
}

void SWM_FreeRpmlistTxtRecord(SwmListHead *list) noexcept
{
    if (list != nullptr) {
        RecordList<RpmlistTxtRecord>(*list).release();
    }
}
