// Values, requirements and files of descriptors.
#include "desc/report.h"

#include <tarn_boot/descriptor.h>

#include "json.h"
#include "library_log.h"
#include "package/reader.h"
#include "text.h"

namespace tarn::tool {

namespace {

// A list of the library's, released at the end.
template <auto release> struct OwnedList {
    SwmListHead head = {};
    OwnedList() = default;
    OwnedList(const OwnedList &) = delete;
    OwnedList &operator=(const OwnedList &) = delete;
    ~OwnedList() { release(&head); }
};

Json baseReport(const ListFile &file, DescKind kind)
{
    Json json;
    putName(json, "file", file.path);
    json["type"] = descKindName(kind);
    return json;
}

// The keys, one row each.
void addValues(DescReport &report, const ListFile &file, DescKind kind)
{
    Table rows("ll");
    for (const DescKey &key : descKeys(kind)) {
        const DescValue value = readDescValue(file.path, key);
        rows.add({key.name, value.isRead ? escaped(value.text) : "(does not fit)"});
        if (value.isRead) {
            putName(report.json, key.name, value.text);
        } else {
            report.json[key.name] = Json();
        }
    }
    report.text += rows.text();
}

const char *relationText(uint32_t relation)
{
    constexpr const char *kRelations[] = {">=", "<=", "="};
    return relation < std::size(kRelations) ? kRelations[relation] : "";
}

// ---- CC descriptions ----

void readCc(DescReport &report, const ListFile &file)
{
    CcInfo info = {};
    takeLibraryReason();
    report.isAccepted = SWM_GetCcInfoFromCcDesc(file.path.c_str(), file.path.c_str(), &info) == SWM_OK;
    report.reason = takeLibraryReason();
    Json names = Json::array();
    for (const PkgStructureRecord *record : recordsOf<PkgStructureRecord>(info.includedPackages)) {
        names.push_back(record->packageName);
        report.text += std::string("includes ") + escaped(record->packageName) + "\n";
    }
    report.json["included"] = names;
    SWM_FreePackageStructureRecord(&info.includedPackages);
}

// ---- Package descriptions ----

Json addRequirements(std::string &text, const PkgDescInfo &info)
{
    OwnedList<SWM_FreePkgRequireList> list;
    SWM_MallocAndAddPkgRequireInfoToList(&list.head, "cc", &info);
    Table rows("lll");
    Json json = Json::array();
    rows.add({"requires", "relation", "version"});
    for (const PkgRequireInfo *record : recordsOf<PkgRequireInfo>(list.head)) {
        const PkgRequireData &data = record->data;
        rows.add({escaped(data.requiredName), relationText(data.relation), escaped(data.requiredVersion)});
        Json requirement;
        putName(requirement, "name", data.requiredName);
        requirement["relation"] = relationText(data.relation);
        putName(requirement, "version", data.requiredVersion);
        json.push_back(requirement);
    }
    text += json.empty() ? "" : rows.text();
    return json;
}

Json addFiles(std::string &text, const char *title, const SwmListHead &list)
{
    Table rows("llll");
    Json json = Json::array();
    rows.add({title, "", "", ""});
    for (const FileStructureRecord *record : recordsOf<FileStructureRecord>(list)) {
        const FileStructureData &data = record->data;
        rows.add({escaped(data.firstText), escaped(data.secondText), data.flag != 0 ? "yes" : "no",
                  escaped(data.thirdText)});
        Json fields;
        putName(fields, "first", data.firstText);
        putName(fields, "second", data.secondText);
        fields["flag"] = data.flag != 0;
        putName(fields, "third", data.thirdText);
        json.push_back(fields);
    }
    text += json.empty() ? "" : rows.text();
    return json;
}

void readPackage(DescReport &report, const ListFile &file)
{
    PkgDescInfo info = {};
    takeLibraryReason();
    report.isAccepted = SWM_GetPkgInfoFromPkgDesc(file.path.c_str(), &info) == SWM_OK;
    report.reason = takeLibraryReason();
    report.json["requirements"] = addRequirements(report.text, info);
    if (report.isAccepted) {
        report.json["files"] = addFiles(report.text, "files", info.files);
        report.json["files_compatible"] = addFiles(report.text, "files-compatible", info.compatibleFiles);
    }
    SWM_FreeFileStructureRecord(&info.files);
    SWM_FreeFileStructureRecord(&info.compatibleFiles);
    takeLibraryReason();
}

// ---- rpm lists ----

void readRpms(DescReport &report, const ListFile &file)
{
    OwnedList<SWM_FreeRpmlistTxtRecord> list;
    takeLibraryReason();
    report.isAccepted = SWM_GetAllRecordFromRpmlistTxt(file.path.c_str(), &list.head) == SWM_OK;
    report.reason = takeLibraryReason();
    const ListKind &kind = kindByName("rpm");
    std::vector<const SwmListNode *> nodes;
    Json records = Json::array();
    for (const RpmlistTxtRecord *record : recordsOf<RpmlistTxtRecord>(list.head)) {
        nodes.push_back(&record->links);
        records.push_back(kind.json(record->links));
    }
    report.text += recordTable(kind, nodes);
    report.json["records"] = records;
}

} // namespace

DescReport readDescriptor(const ListFile &file, DescKind kind)
{
    DescReport report;
    report.json = baseReport(file, kind);
    addValues(report, file, kind);
    switch (kind) {
    case DescKind::Cc:
        readCc(report, file);
        break;
    case DescKind::Package:
        readPackage(report, file);
        break;
    case DescKind::Rpm:
        readRpms(report, file);
        break;
    }
    report.json["accepted"] = report.isAccepted;
    return report;
}

} // namespace tarn::tool
