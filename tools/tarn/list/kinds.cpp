// One row per kind of list, and how its records are shown.
#include "list/kinds.h"

#include <algorithm>
#include <cstring>

#include <tarn_boot/descriptor.h>

#include "command.h"
#include "json.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr size_t kShownDigits = 16;
constexpr size_t kLineAtOnce = 511;

constexpr Column kFileColumns[] = {
    {"digest", Rule::Digest},
    {"entry name", Rule::Text, sizeof(FilelistTxtRecord::entryName) - 1},
    {"directory", Rule::Text, sizeof(FilelistTxtRecord::installDir) - 1},
    {"pool name", Rule::Text, sizeof(FilelistTxtRecord::poolName) - 1},
    {"file name", Rule::Text, sizeof(FilelistTxtRecord::fileName) - 1},
    {"number", Rule::Number},
    {"tag", Rule::Text, sizeof(FilelistTxtRecord::col6Text) - 1},
    {"owner", Rule::FirstPiece, sizeof(FilelistTxtRecord::owner) - 1},
    {"group", Rule::FirstPiece, sizeof(FilelistTxtRecord::group) - 1},
    {"mode", Rule::Mode},
    {"option text", Rule::Text, sizeof(FilelistTxtRecord::col10Text) - 1},
    {"creation flag", Rule::Digits},
    {"extra text", Rule::Text, sizeof(FilelistTxtRecord::col12Text) - 1},
    {"extra number", Rule::Number},
};
constexpr size_t kFileCounts[] = {7, 13, 14};

constexpr Column kLinkColumns[] = {
    {"link source", Rule::Text, sizeof(LinklistRecord::linkSource) - 1},
    {"link path", Rule::Text, sizeof(LinklistRecord::linkPath) - 1},
};
constexpr size_t kLinkCounts[] = {2};

constexpr Column kImageColumns[] = {{"image name", Rule::Name, sizeof(ImageNameRecord::name) - 1}};

constexpr Column kBiosColumns[] = {
    {"digest", Rule::Text, sizeof(BiosloadRecord::sha256Text) - 1},
    {"file path", Rule::Text, sizeof(BiosloadRecord::filePath) - 1},
    {"text 2", Rule::Text, sizeof(BiosloadRecord::field2Text) - 1},
    {"text 3", Rule::Text, sizeof(BiosloadRecord::field3Text) - 1},
    {"number", Rule::Number},
    {"file type", Rule::ZeroOrOne},
    {"text 6", Rule::Text, sizeof(BiosloadRecord::field6Text) - 1},
};
constexpr size_t kBiosCounts[] = {6, 7};

constexpr Column kRpmColumns[] = {
    {"rpm file", Rule::RpmFile, sizeof(RpmlistTxtData::rpmFileName) - 1},
    {"text", Rule::Text, sizeof(RpmlistTxtData::secondText) - 1},
    {"operation", Rule::Operation},
};
constexpr size_t kRpmCounts[] = {3};

// ---- Telling the kinds apart ----

bool isAmong(size_t count, std::span<const size_t> counts)
{
    return std::find(counts.begin(), counts.end(), count) != counts.end();
}

// Both kinds have lines of seven columns. Here the second one is a path; in a file list it is a name, or "/" alone.
bool fitsBios(const std::vector<std::string_view> &columns)
{
    return isAmong(columns.size(), kBiosCounts) &&
           (columns.size() == kBiosCounts[0] || (columns[1].size() > 1 && columns[1].front() == '/'));
}

bool fitsFiles(const std::vector<std::string_view> &columns)
{
    return isAmong(columns.size(), kFileCounts) && !fitsBios(columns);
}

bool fitsLinks(const std::vector<std::string_view> &columns)
{
    return isAmong(columns.size(), kLinkCounts);
}

bool fitsImages(const std::vector<std::string_view> &columns)
{
    return columns.size() == 1;
}

bool fitsRpms(const std::vector<std::string_view> &columns)
{
    return isAmong(columns.size(), kRpmCounts);
}

// ---- Records ----

const BiosloadRecord &biosRecord(const SwmListNode &node)
{
    return reinterpret_cast<const BiosloadNode &>(node).record;
}

std::vector<std::string> fileCells(const SwmListNode &node)
{
    const FilelistTxtRecord &record = fileRecord(node);
    return {escaped(record.poolName),
            escaped(record.installDir),
            escaped(record.fileName) + (record.isDir != 0 ? "/" : ""),
            format("%04o", record.mode),
            escaped(record.owner) + ":" + escaped(record.group),
            record.hasCol10 != 0 ? escaped(record.col10Text) : "",
            record.isDir != 0 ? "directory" : digestText(record).substr(0, kShownDigits)};
}

Json fileNodeJson(const SwmListNode &node)
{
    return fileJson(fileRecord(node));
}

std::vector<std::string> linkCells(const SwmListNode &node)
{
    return {escaped(linkRecord(node).linkPath), escaped(linkRecord(node).linkSource)};
}

Json linkNodeJson(const SwmListNode &node)
{
    return linkJson(linkRecord(node));
}

std::vector<std::string> imageCells(const SwmListNode &node)
{
    return {escaped(imageRecord(node).name)};
}

Json imageJson(const SwmListNode &node)
{
    Json json;
    putName(json, "name", imageRecord(node).name);
    return json;
}

std::vector<std::string> biosCells(const SwmListNode &node)
{
    const BiosloadRecord &record = biosRecord(node);
    return {escaped(record.filePath),
            std::to_string(record.fileType),
            escaped(record.field2Text),
            escaped(record.field3Text),
            std::to_string(record.field4Num),
            escaped(record.field6Text),
            escaped(std::string_view(record.sha256Text).substr(0, kShownDigits))};
}

Json biosJson(const SwmListNode &node)
{
    const BiosloadRecord &record = biosRecord(node);
    Json json;
    putName(json, "file_path", record.filePath);
    json["file_type"] = record.fileType;
    putName(json, "text_2", record.field2Text);
    putName(json, "text_3", record.field3Text);
    json["number"] = record.field4Num;
    putName(json, "text_6", record.field6Text);
    putName(json, "digest", record.sha256Text);
    return json;
}

const RpmlistTxtData &rpmRecord(const SwmListNode &node)
{
    return reinterpret_cast<const RpmlistTxtRecord &>(node).data;
}

const char *operationWord(uint32_t operation)
{
    return operation == RPM_OPERATION_ADD ? "add" : operation == RPM_OPERATION_UPDATE ? "update" : "remove";
}

std::vector<std::string> rpmCells(const SwmListNode &node)
{
    const RpmlistTxtData &record = rpmRecord(node);
    return {operationWord(record.operation), escaped(record.rpmName), escaped(record.rpmFileName),
            escaped(record.secondText)};
}

Json rpmJson(const SwmListNode &node)
{
    const RpmlistTxtData &record = rpmRecord(node);
    Json json = {{"operation", operationWord(record.operation)}};
    putName(json, "rpm_name", record.rpmName);
    putName(json, "rpm_file", record.rpmFileName);
    putName(json, "text", record.secondText);
    return json;
}

constexpr const char *kFileHeadings[] = {"pool name", "directory",   "file",         "mode",
                                         "owner",     "option text", "digest begins"};
constexpr const char *kLinkHeadings[] = {"link path", "link source"};
constexpr const char *kImageHeadings[] = {"image"};
constexpr const char *kBiosHeadings[] = {"file path", "type", "text 2", "text 3", "number", "text 6", "digest begins"};
constexpr const char *kRpmHeadings[] = {"operation", "rpm", "file", "text"};

constexpr ListKind kKinds[] = {
    {"files",
     "file list",
     "board_filelist",
     {kFileColumns, kFileCounts, 0},
     fitsFiles,
     SWM_GetAllRecordFromFilelistTxtNoCreateDir,
     SWM_FreeFilelistTxtRecord,
     "lllllll",
     kFileHeadings,
     fileCells,
     fileNodeJson},
    {"links",
     "link list",
     "filelink_filelist",
     {kLinkColumns, kLinkCounts, kLineAtOnce},
     fitsLinks,
     SWM_GetAllRecordFromLinklist,
     SWM_FreeLinklistRecord,
     "ll",
     kLinkHeadings,
     linkCells,
     linkNodeJson},
    {"images",
     "image list",
     "image_filelist",
     {kImageColumns, {}, kLineAtOnce},
     fitsImages,
     SWM_GetAllImageName,
     SWM_FreeImageNameList,
     "l",
     kImageHeadings,
     imageCells,
     imageJson},
    {"bios",
     "firmware list",
     nullptr,
     {kBiosColumns, kBiosCounts, kLineAtOnce},
     fitsBios,
     SWM_GetAllBiosloadFileRecordInner,
     SWM_FreeBiosLoadFileRecordList,
     "lrllrll",
     kBiosHeadings,
     biosCells,
     biosJson},
    {"rpm",
     "rpm list",
     nullptr,
     {kRpmColumns, kRpmCounts, kLineAtOnce},
     fitsRpms,
     SWM_GetAllRecordFromRpmlistTxt,
     SWM_FreeRpmlistTxtRecord,
     "llll",
     kRpmHeadings,
     rpmCells,
     rpmJson},
};

} // namespace

const FilelistTxtRecord &fileRecord(const SwmListNode &node)
{
    return reinterpret_cast<const FilelistTxtNode &>(node).record;
}

const LinklistRecord &linkRecord(const SwmListNode &node)
{
    return reinterpret_cast<const LinklistNode &>(node).record;
}

const ImageNameRecord &imageRecord(const SwmListNode &node)
{
    return reinterpret_cast<const ImageNameNode &>(node).record;
}

std::string digestText(const FilelistTxtRecord &record)
{
    return hex({reinterpret_cast<const char *>(record.digest), sizeof(record.digest)});
}

Json fileJson(const FilelistTxtRecord &record)
{
    Json json;
    putName(json, "pool_name", record.poolName);
    putName(json, "entry_name", record.entryName);
    putName(json, "directory", record.installDir);
    putName(json, "file_name", record.fileName);
    json.update({{"is_directory", record.isDir != 0}, {"digest", digestText(record)}, {"number", record.col5Num}});
    putName(json, "tag", record.col6Text);
    putName(json, "owner", record.owner);
    putName(json, "group", record.group);
    json.update({{"mode", format("%04o", record.mode)}, {"option_text", Json()}});
    if (record.hasCol10 != 0) {
        putName(json, "option_text", record.col10Text);
    }
    json["creation_flag"] = record.col11Num;
    putName(json, "extra_text", record.col12Text);
    json["extra_number"] = record.col13Num;
    return json;
}

Json linkJson(const LinklistRecord &record)
{
    Json json;
    putName(json, "link_path", record.linkPath);
    putName(json, "link_source", record.linkSource);
    return json;
}

std::span<const ListKind> listKinds()
{
    return kKinds;
}

const ListKind &fileListKind()
{
    return kKinds[0];
}

const ListKind &linkListKind()
{
    return kKinds[1];
}

const ListKind &imageListKind()
{
    return kKinds[2];
}

std::string listKindNames()
{
    std::string names;
    for (const ListKind &kind : listKinds()) {
        const bool isLast = &kind == &listKinds().back();
        names += (names.empty() ? "" : isLast ? " or " : ", ") + std::string(kind.name);
    }
    return names;
}

std::string recordTable(const ListKind &kind, const std::vector<const SwmListNode *> &nodes)
{
    Table table(kind.alignment);
    table.add({kind.headings.begin(), kind.headings.end()});
    for (const SwmListNode *node : nodes) {
        table.add(kind.cells(*node));
    }
    return table.text();
}

} // namespace tarn::tool
