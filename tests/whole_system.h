// A small device and an installer that does with the library's operations what installers do: versions of a package in
// a pool, files and links below a root, a database, boot markers. What is there afterwards comes back as lines of text.
#pragma once

#include <map>

#include <libxml/tree.h>
#include <tarn_boot/tarn_boot.h>

#include "packaging/digest.h"
#include "packaging/package.h"
#include "support/fixture.h"
#include "support/log_capture.h"

namespace tarn::test {

using State = std::vector<std::string>;

inline std::string digestOf(const std::string &content)
{
    packaging::Sha256 digest;
    digest.update(content.data(), content.size());
    return digest.text();
}

template <size_t N> void setText(char (&field)[N], const std::string &value)
{
    ASSERT_LT(snprintf(field, N, "%s", value.c_str()), static_cast<int>(N));
}

// A list of the library's and the operation that releases it.
class OwnedList {
public:
    explicit OwnedList(void (*operation)(SwmListHead *)) : release(operation) {}
    OwnedList(const OwnedList &) = delete;
    ~OwnedList() { release(&head); }
    SwmListHead *operator&() { return &head; }
    template <typename Node> std::vector<const Node *> nodes() const
    {
        std::vector<const Node *> found;
        const auto *end = reinterpret_cast<const SwmListNode *>(&head);
        for (const SwmListNode *node = head.next; node != nullptr && node != end; node = node->next) {
            found.push_back(reinterpret_cast<const Node *>(node));
        }
        return found;
    }

private:
    SwmListHead head = {};
    void (*release)(SwmListHead *);
};

// What one version of the package "app" brings.
struct Release {
    std::string version;
    std::map<std::string, std::string> files; // by name: content; all in opt/app/bin
    std::map<std::string, std::string> links; // by path below the root: target
    std::string systemImage;                  // a file system, or any bytes where none can be made

    std::string ccFile() const { return "app-" + version + ".cc"; }
};

// Root, pool and database of one test. The platform learns of them by its configuration.
class Device {
public:
    explicit Device(const fs::path &dir);
    ~Device();

    fs::path below(const std::string &path) const { return root / path; }
    fs::path versionDir(const std::string &version) const { return pool / "app" / version; }
    fs::path boardList(const std::string &version) const { return versionDir(version) / "desc" / kBoardList; }

    // Signs a release with the program's key, and how its file list says where the files go.
    void build(const Release &release) const;
    std::string boardListText(const Release &release) const;
    fs::path packageOf(const std::string &version) const { return packages / ("app-" + version + ".cc"); }

    // Steps of an installer. Each says with gtest's means what did not succeed.
    void unpackDescriptors(const std::string &version) const;
    void installAll(const std::string &version) const;
    void upgrade(const std::string &from, const std::string &to) const;
    // Installs the records whose files are missing or damaged; their names.
    State repairFiles(const std::string &version) const;
    SwmPackageInfo record(const std::string &version) const;

    // "dir PATH", "file PATH DIGEST", "link PATH -> TARGET" below the root, "package NAME VERSION CCFILE" and "patch
    // NAME" of the database, "marker VERSION".
    State state() const;

    const fs::path root, pool, packages, databaseDir, database;

    static constexpr const char *kBoardList = "board_filelist_1A_00000003.txt";
    static constexpr const char *kLinkList = "filelink_filelist_1A_00000003.txt";
    static constexpr const char *kImageList = "image_filelist_1A_00000003.txt";

private:
    void installFile(const FilelistTxtRecord &file, const std::string &version) const;
    static void makeLink(const LinklistRecord &link);
    void addTree(State &lines) const;
    void addDatabase(State &lines) const;
};

// The lines that `release` should leave below a root, by its own data.
State treeOf(const Release &release);

} // namespace tarn::test
