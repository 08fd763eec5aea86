// Base of the tests of file lists.
#pragma once

#include "../fuzz/borrowed_list.h"
#include "line_list_test.h"

namespace tarn::test {

using Texts = std::vector<std::string>;
using FileRecords = std::vector<FilelistTxtRecord>;

constexpr const char *kFileListFile = "tarn_package_board_file.cpp";

// A macro, so that the compiler checks the format.
#define FILE_LIST_ERROR(...) errorOf(kFileListFile, "SWM_BASE", __VA_ARGS__)

inline LogLine badColumnCount(const std::string &line)
{
    return FILE_LIST_ERROR("%s:filelist column number error, line:%s", "SWM_Trans2FilelistTxtRecord", line.c_str());
}
inline LogLine notUpdated(const char *text, int column)
{
    return FILE_LIST_ERROR("Update record failed, inputStr is %s, recordType is %d", text, column);
}
inline LogLine lineRefused()
{
    return FILE_LIST_ERROR("SwmLoadFileLineToList trans record failed, ret = %u", SWM_FAIL);
}
inline LogLine fileRefused()
{
    return FILE_LIST_ERROR("SwmLoadFileToList parse line failed.");
}
inline LogLine loadRefused()
{
    return FILE_LIST_ERROR("SWM_GetAllRecordFromFilelistTxtNoCreateDir failed ret = %u", SWM_FAIL);
}

// What a call with a bad line logs before anything of its own.
inline Lines badLine(const std::string &line)
{
    return {badColumnCount(line), lineRefused(), fileRefused()};
}

inline Lines operator+(Lines a, const Lines &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline std::string digestText(char digit = 'a')
{
    return std::string(64, digit);
}

// A line of 7 columns.
inline std::string fileLine(const std::string &pool, const std::string &name = "f", const std::string &dir = "usr",
                            char digit = 'a')
{
    return digestText(digit) + " e " + dir + " " + pool + " " + name + " 5 tag";
}

// A line of 13 columns that lists a directory.
inline std::string dirLine(const std::string &pool, const std::string &dir, const std::string &name,
                           const std::string &flag = "0", const std::string &mode = "750")
{
    return digestText('0') + " / " + dir + " " + pool + " " + name + " 0 tag NA NA " + mode + " NA " + flag + " x";
}

inline FilelistTxtRecord fileRecord(const std::string &pool, const std::string &name = "f",
                                    const std::string &dir = "usr", uint8_t digestByte = 0xAA)
{
    FilelistTxtRecord record = {};
    memset(record.digest, digestByte, sizeof(record.digest));
    const auto set = [](auto &field, const std::string &text) { text.copy(field, sizeof(field) - 1); };
    set(record.entryName, "e");
    set(record.installDir, dir);
    set(record.poolName, pool);
    set(record.fileName, name);
    set(record.col10Text, "NA");
    return record;
}

class FileListTest : public LineListTest {
protected:
    // "<pool> <file>" of every record.
    static Texts textsOf(const SwmListHead &head)
    {
        Texts texts;
        for (const FilelistTxtNode *node : List::recordsOf<FilelistTxtNode>(head)) {
            texts.push_back(std::string(node->record.poolName) + " " + node->record.fileName);
        }
        return texts;
    }
    Texts texts() { return textsOf(*&list); }
    void clearList() { SWM_FreeFilelistTxtRecord(&list); }
    void write(const std::string &text) const { writeFile(path, text); }
};

} // namespace tarn::test
