// What a database of installed software holds, as the tool reads it, and what is wrong with it. The library's own
// reading forgives; this one is for telling people. The format: docs/formats.md.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "exit_status.h"

namespace tarn::tool {

// A leaf: its element, its name in reports, the bytes of its field in the library's records, terminator included.
struct DbField {
    const char *element;
    const char *key;
    size_t room;
};

enum BaseField { kPackageName, kVersion, kCcFile, kCcPath, kInstallPath, kPkgPoolPath, kActiveTime, kBaseFields };

// Of patches and mods. Written are those up to PkgPoolPath; the library's listing reads the last two, "PatchName" of a
// mod as well.
enum PartField {
    kPartName,
    kPartVersion,
    kSrcFilePath,
    kPartInstallPath,
    kPartPoolPath,
    kPatchPath,
    kListedModName,
    kPartFields
};

enum class PartKind { Patch, Mod };

std::span<const DbField> baseFields();
std::span<const DbField> partFields(PartKind kind);
// "patch", "mod".
const char *partWord(PartKind kind);

// The texts of an element's leaves, in the order of its fields. Equal when the texts are.
struct DbRecord {
    long line = 0;
    std::vector<std::optional<std::string>> values;

    // "" for a leaf that is missing.
    std::string text(size_t field) const { return values[field].value_or(""); }
    bool operator==(const DbRecord &other) const { return values == other.values; }
};

struct DbPackage {
    DbRecord base;
    std::vector<DbRecord> patches;
    std::vector<DbRecord> mods;
    std::vector<std::string> unknown; // names of elements that do not belong there
    bool operator==(const DbPackage &) const = default;

    std::vector<DbRecord> &parts(PartKind kind) { return kind == PartKind::Patch ? patches : mods; }
    const std::vector<DbRecord> &parts(PartKind kind) const { return kind == PartKind::Patch ? patches : mods; }
    std::string name() const { return base.text(kPackageName); }
    std::string version() const { return base.text(kVersion); }
};

struct DbContents {
    std::vector<DbPackage> packages;
    std::vector<std::optional<std::string>> startups; // CC file of each startup package
    std::vector<std::string> unknown;
    bool operator==(const DbContents &) const = default;
};

struct DbProblem {
    long line = 0;
    const char *kind = ""; // one word for programs
    std::string message;
    const char *hint = "";
    bool isDamage = false;         // the file as a whole cannot be trusted: nothing is changed in it
    std::optional<size_t> package; // the index of the one it is in
};

struct DbReading {
    DbContents contents;
    std::vector<DbProblem> problems; // by line
    size_t moreProblems = 0;         // not kept: there were too many

    // The first that is damage, or null.
    const DbProblem *damage() const;
    bool isSound() const { return problems.empty(); }
};

// Reads strictly: what the parser had to forgive is a problem. Declarations of entities are never taken up.
DbReading readDatabase(const std::string &bytes);

// The value as the library reads it: "" when it does not fit its field.
std::string asLibraryReads(const DbRecord &record, std::span<const DbField> fields, size_t field);

Json recordJson(const DbRecord &record, std::span<const DbField> fields);
Json packageJson(const DbPackage &package);
Json problemJson(const DbProblem &problem);
Json problemsJson(const std::vector<DbProblem> &problems);

// "line 3: ..."
std::string problemText(const DbProblem &problem);

} // namespace tarn::tool
