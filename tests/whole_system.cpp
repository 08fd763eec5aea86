#include "whole_system.h"

#include <algorithm>

#include <unistd.h>

namespace tarn::test {
namespace {

const std::string kInstallDir = "opt/app/bin";

std::string linesOf(const std::vector<std::string> &lines)
{
    std::string text;
    for (const std::string &line : lines) {
        text += line + "\n";
    }
    return text;
}

void addPatches(State &lines, xmlNode *package)
{
    for (xmlNode *part = xmlFirstElementChild(package); part != nullptr; part = xmlNextElementSibling(part)) {
        char name[128] = "";
        if (strcmp(reinterpret_cast<const char *>(part->name), "Patch") == 0 &&
            SWM_GetChildNodeContent(part, "PatchName", name, sizeof(name)) == SWM_OK) {
            lines.push_back(std::string("patch ") + name);
        }
    }
}

} // namespace

Device::Device(const fs::path &dir)
    : root(dir / "root"), pool(dir / "pool"), packages(dir / "packages"), databaseDir(dir / "db"),
      database(databaseDir / "installed.xml")
{
    for (const fs::path &made : {root, pool, packages, databaseDir}) {
        fs::create_directories(made);
    }
    const fs::path configuration = dir / "device.conf";
    writeFile(configuration, "[paths]\nroot = " + root.string() + "\npackage_pool = " + pool.string() +
                                 "\n[device]\nboard_hard_type = 0x1A\ncpu_id = 3\n[trust]\nanchors = " +
                                 (programDir() / "keys/ca.pem").string() + "\nsigner_purpose = codeSigning\n");
    fs::permissions(configuration, fs::perms(0600));
    setenv("TARN_BASIC_CONFIG", configuration.c_str(), 1);
    TARN_ExtractCacheDrop();
}

Device::~Device()
{
    TARN_ExtractCacheDrop();
    setenv("TARN_BASIC_CONFIG", (programDir() / "basic.conf").c_str(), 1);
}

std::string Device::boardListText(const Release &release) const
{
    const std::string dir = below(kInstallDir).string();
    std::vector<std::string> lines = {std::string(64, '0') + " / " + below("opt").string() +
                                      " app-data app-data 0 tag NA NA 750 NA 0 x"};
    for (const auto &[name, content] : release.files) {
        lines.push_back(digestOf(content) + " e " + dir + " " + name + " " + name + " 0 tag NA NA 640 NA 0 x");
    }
    return linesOf(lines);
}

void Device::build(const Release &release) const
{
    std::vector<std::string> links;
    for (const auto &[path, target] : release.links) {
        links.push_back(target + " " + below(path).string());
    }
    std::vector<packaging::Member> members = {
        member("package_desc.txt", "package_format_ver: 1.3\npackage_name: app\nversion: " + release.version +
                                       "\nrequires: base>=2;tools\nfiles:\nbin/service x yes y\n"),
        member("cc_desc.txt",
               "package_format_ver: 1.3\nis_startup: yes\nversion: " + release.version + "\ncc_include: app;system\n"),
        member(kBoardList, boardListText(release)),
        member(kLinkList, linesOf(links)),
        member(kImageList, "system\n"),
        member("system", release.systemImage),
    };
    for (const auto &[name, content] : release.files) {
        members.push_back(member(name, content));
    }
    writeSigned(packages / release.ccFile(), std::move(members));
}

void Device::unpackDescriptors(const std::string &version) const
{
    const std::string from = packageOf(version);
    const fs::path desc = versionDir(version) / "desc";
    for (const char *name : {"package_desc.txt", "cc_desc.txt", kBoardList, kLinkList}) {
        ASSERT_EQ(TARN_ExtractFromPackage(from.c_str(), name, desc.c_str()), TARN_EXTRACT_OK) << name;
    }
    ASSERT_EQ(TARN_ExtractFromPackage(from.c_str(), kImageList, versionDir(version).c_str()), TARN_EXTRACT_OK);
}

void Device::installFile(const FilelistTxtRecord &file, const std::string &version) const
{
    ASSERT_EQ(TARN_ExtractFromPackageAndChmod(packageOf(version).c_str(), file.fileName, file.installDir, file.mode),
              TARN_EXTRACT_OK)
        << file.fileName;
}

void Device::makeLink(const LinklistRecord &link)
{
    ASSERT_EQ(SWM_DelExistFile(link.linkPath), SWM_OK);
    fs::create_directories(fs::path(link.linkPath).parent_path());
    ASSERT_EQ(symlink(link.linkSource, link.linkPath), 0) << link.linkPath;
}

void Device::installAll(const std::string &version) const
{
    OwnedList files(SWM_FreeFilelistTxtRecord);
    ASSERT_EQ(SWM_GetBrdFileRecordsBySubPkgVerAndHardtype("1A", "app", version.c_str(), &files), SWM_OK);
    for (const FilelistTxtNode *node : files.nodes<FilelistTxtNode>()) {
        if (node->record.isDir == 0) {
            installFile(node->record, version);
        }
    }
    uint32_t count = 0;
    ASSERT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "app", version.c_str(), nullptr, &count), SWM_OK);
    std::vector<LinklistRecord> links(count);
    ASSERT_EQ(SWM_GetFileLinkRecordFromSubPkgVersion("1A", "app", version.c_str(), links.data(), &count), SWM_OK);
    for (const LinklistRecord &link : links) {
        makeLink(link);
    }
}

void Device::upgrade(const std::string &from, const std::string &to) const
{
    OwnedList oldFiles(SWM_FreeFilelistTxtRecord), newFiles(SWM_FreeFilelistTxtRecord);
    OwnedList update(SWM_FreeFilelistTxtRecord), remove(SWM_FreeFilelistTxtRecord);
    ASSERT_EQ(SWM_GetAllRecordFromFilelistTxtNoCreateDir(boardList(from).c_str(), &oldFiles), SWM_OK);
    ASSERT_EQ(SWM_GetAllRecordFromFilelistTxtWithoutSort(boardList(to).c_str(), &newFiles), SWM_OK);
    ASSERT_EQ(SWM_GetAllRecordNeedUpdate(&oldFiles, &newFiles, &update, &remove), SWM_OK);
    for (const FilelistTxtNode *node : remove.nodes<FilelistTxtNode>()) {
        if (node->record.isDir == 0) {
            ASSERT_EQ(SWM_DelExistFile((fs::path(node->record.installDir) / node->record.fileName).c_str()), SWM_OK);
        }
    }
    for (const FilelistTxtNode *node : update.nodes<FilelistTxtNode>()) {
        if (node->record.isDir == 0) {
            installFile(node->record, to);
        }
    }

    OwnedList oldLinks(SWM_FreeLinklistRecord), newLinks(SWM_FreeLinklistRecord);
    OwnedList addLinks(SWM_FreeLinklistRecord), dropLinks(SWM_FreeLinklistRecord);
    ASSERT_EQ(SWM_GetAllRecordFromLinklist((versionDir(from) / "desc" / kLinkList).c_str(), &oldLinks), SWM_OK);
    ASSERT_EQ(SWM_GetAllRecordFromLinklist((versionDir(to) / "desc" / kLinkList).c_str(), &newLinks), SWM_OK);
    ASSERT_EQ(SWM_GetAllLinkNeedUpdate(&oldLinks, &newLinks, &addLinks, &dropLinks), SWM_OK);
    for (const LinklistNode *node : dropLinks.nodes<LinklistNode>()) {
        ASSERT_EQ(SWM_DelExistFile(node->record.linkPath), SWM_OK);
    }
    for (const LinklistNode *node : addLinks.nodes<LinklistNode>()) {
        makeLink(node->record);
    }
}

State Device::repairFiles(const std::string &version) const
{
    State repaired;
    OwnedList files(SWM_FreeFilelistTxtRecord), update(SWM_FreeFilelistTxtRecord), remove(SWM_FreeFilelistTxtRecord);
    EXPECT_EQ(SWM_GetAllRecordFromFilelistTxt(boardList(version).c_str(), &files), SWM_OK);
    EXPECT_EQ(SWM_GetAllRecordNeedUpdate(&files, &files, &update, &remove), SWM_OK);
    for (const FilelistTxtNode *node : update.nodes<FilelistTxtNode>()) {
        if (node->record.isDir == 0) {
            installFile(node->record, version);
            repaired.push_back(node->record.fileName);
        }
    }
    return repaired;
}

SwmPackageInfo Device::record(const std::string &version) const
{
    SwmPackageInfo info = {};
    setText(info.PackageName, "app");
    setText(info.Version, version);
    setText(info.CcFile, packageOf(version).filename());
    setText(info.CcPath, packages);
    setText(info.InstallPath, root);
    setText(info.PkgPoolPath, versionDir(version));
    return info;
}

void Device::addTree(State &lines) const
{
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root)) {
        const std::string name = entry.path().lexically_relative(root).string();
        if (entry.is_symlink()) {
            lines.push_back("link " + name + " -> " + fs::read_symlink(entry).string());
        } else if (entry.is_directory()) {
            lines.push_back("dir " + name);
        } else {
            lines.push_back("file " + name + " " + digestOf(readFile(entry)));
        }
    }
}

void Device::addDatabase(State &lines) const
{
    xmlDoc *doc = nullptr;
    xmlNode *product = nullptr;
    if (!fs::exists(database) || SWM_XmlReadFileAndGetRootElement(database.c_str(), &doc, &product) != SWM_OK) {
        return;
    }
    for (xmlNode *package = xmlFirstElementChild(product); package != nullptr;
         package = xmlNextElementSibling(package)) {
        SwmPackageInfo info = {};
        EXPECT_EQ(SWM_GetPackageBaseInfo(package, &info), SWM_OK);
        lines.push_back(std::string("package ") + info.PackageName + " " + info.Version + " " + info.CcFile);
        addPatches(lines, package);
    }
    xmlFreeDoc(doc);
}

State Device::state() const
{
    State lines;
    addTree(lines);
    addDatabase(lines);
    for (const fs::directory_entry &version : fs::directory_iterator(pool)) {
        for (const fs::directory_entry &entry : fs::directory_iterator(version)) {
            if (fs::exists(entry.path() / "bootlocal")) {
                lines.push_back("marker " + entry.path().filename().string());
            }
        }
    }
    std::sort(lines.begin(), lines.end());
    takeLog(); // looking is no part of a step
    return lines;
}

State treeOf(const Release &release)
{
    State lines = {"dir opt", "dir opt/app", "dir opt/app-data", "dir " + kInstallDir};
    for (const auto &[name, content] : release.files) {
        lines.push_back("file " + kInstallDir + "/" + name + " " + digestOf(content));
    }
    for (const auto &[path, target] : release.links) {
        lines.push_back("link " + path + " -> " + target);
        for (fs::path at = fs::path(path).parent_path(); !at.empty(); at = at.parent_path()) {
            lines.push_back("dir " + at.string());
        }
    }
    std::sort(lines.begin(), lines.end());
    lines.erase(std::unique(lines.begin(), lines.end()), lines.end());
    return lines;
}

} // namespace tarn::test
