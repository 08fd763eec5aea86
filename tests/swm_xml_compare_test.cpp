// Field by field: when two records count as equal, and the distinct container files of a list.
#include <chrono>

#include "support/xml_test.h"

namespace tarn::test {
namespace {

// ---- Records ----

template <class Record> struct FieldRow {
    const char *name;
    std::function<void(Record &)> change;
    uint32_t equal;
};

template <class Record>
void expectComparison(uint32_t (*compare)(const Record *, const Record *), const Record &record,
                      const std::vector<FieldRow<Record>> &rows)
{
    EXPECT_EQ(compare(&record, &record), 1u);
    for (const FieldRow<Record> &row : rows) {
        Record other = record;
        row.change(other);
        EXPECT_EQ(compare(&record, &other), row.equal) << row.name;
        EXPECT_EQ(compare(&other, &record), row.equal) << row.name;
    }
    EXPECT_EQ(compare(nullptr, &record), 0u);
    EXPECT_EQ(compare(&record, nullptr), 0u);
    EXPECT_TRUE(nothingLogged());
}

template <class Part> std::vector<FieldRow<Part>> partRows(char (Part::*name)[128])
{
    return {{"name", [name](Part &part) { fill(part.*name, "other"); }, 1},
            {"version", [](Part &part) { fill(part.Version, "other"); }, 0},
            {"source", [](Part &part) { fill(part.SrcFilePath, "other"); }, 0},
            {"install path", [](Part &part) { fill(part.InstallPath, "other"); }, 0},
            {"pool path", [](Part &part) { fill(part.PkgPoolPath, ""); }, 0}};
}

std::vector<FieldRow<SwmPackageInfo>> packageRows(uint32_t name, uint32_t paths)
{
    return {{"name", [](SwmPackageInfo &info) { fill(info.PackageName, "other"); }, name},
            {"version", [](SwmPackageInfo &info) { fill(info.Version, "1.00"); }, 0},
            {"file", [](SwmPackageInfo &info) { fill(info.CcFile, "A.cc"); }, 0},
            {"path", [](SwmPackageInfo &info) { fill(info.CcPath, ""); }, paths},
            {"install path", [](SwmPackageInfo &info) { fill(info.InstallPath, "other"); }, paths},
            {"pool path", [](SwmPackageInfo &info) { fill(info.PkgPoolPath, "other"); }, paths},
            {"time", [](SwmPackageInfo &info) { fill(info.ActiveTime, "other"); }, 1},
            {"patches", [](SwmPackageInfo &info) { info.patchCount = 3; }, 1},
            {"mods", [](SwmPackageInfo &info) { info.modCount = 3; }, 1}};
}

TEST_F(XmlTest, ComparedFields)
{
    expectComparison(SWM_ComparePatchInfo, patch("x"), partRows(&SwmPatchInfo::PatchName));
    expectComparison(SWM_CompareModInfo, mod("x"), partRows(&SwmModInfo::ModName));
    expectComparison(SWM_ComparePkgBriefInfo, package("x"), packageRows(0, 1));
    expectComparison(SWM_ComparePackageBaseInfo, package("x"), packageRows(1, 0));
}

TEST_F(XmlTest, ComparisonsGoBothWays)
{
    const SwmPatchInfo patches[] = {patch("x", "1"), patch("x", "2")};
    const SwmModInfo mods[] = {mod("x", "1"), mod("x", "2")};
    const SwmPackageInfo packages[] = {package("x", "1"), package("x", "2")};
    for (const size_t left : {0, 1}) {
        for (const size_t right : {0, 1}) {
            const uint32_t isSame = left == right ? 1 : 0;
            EXPECT_EQ(SWM_ComparePatchInfo(&patches[left], &patches[right]), isSame);
            EXPECT_EQ(SWM_CompareModInfo(&mods[left], &mods[right]), isSame);
            EXPECT_EQ(SWM_ComparePkgBriefInfo(&packages[left], &packages[right]), isSame);
        }
    }
}

// ---- One patch or mod against those there are ----

template <class Part> struct ExistingRow {
    const char *name;
    std::vector<Part> existing;
    int32_t count;
    uint32_t found;
    uint32_t same; // stays 9 when not found
};

template <class Part>
std::vector<ExistingRow<Part>> existingRows(const std::function<Part(const char *, const char *)> &make)
{
    return {
        {"none", {}, 0, 0, 9},
        {"count 0", {make("x", "1")}, 0, 0, 9},
        {"negative count", {make("x", "1")}, -1, 0, 9},
        {"most negative count", {make("x", "1")}, INT32_MIN, 0, 9},
        {"no array", {}, 3, 0, 9},
        {"the first, equal", {make("x", "1"), make("y", "1")}, 2, 1, 1},
        {"the first, different", {make("x", "2"), make("y", "1")}, 2, 1, 0},
        {"not the second", {make("y", "1"), make("x", "1")}, 2, 0, 9},
        {"another name", {make("X", "1")}, 1, 0, 9},
    };
}

TEST_F(XmlTest, OnlyTheFirstExistingNameCounts)
{
    const SwmPatchInfo newPatch = patch("x", "1");
    const SwmModInfo newMod = mod("x", "1");
    auto samePaths = [](auto part) {
        fill(part.SrcFilePath, "/src/x");
        fill(part.InstallPath, "/opt/x");
        fill(part.PkgPoolPath, "/pool/x");
        return part;
    };
    for (const auto &row : existingRows<SwmPatchInfo>(
             [&](const char *name, const char *version) { return samePaths(patch(name, version)); })) {
        uint32_t same = 9;
        const SwmPatchInfo *existing = row.existing.empty() ? nullptr : row.existing.data();
        EXPECT_EQ(SWM_ComparePackagePatchInfo(&newPatch, existing, row.count, &same), row.found) << row.name;
        EXPECT_EQ(same, row.same) << row.name;
    }
    for (const auto &row : existingRows<SwmModInfo>(
             [&](const char *name, const char *version) { return samePaths(mod(name, version)); })) {
        uint32_t same = 9;
        const SwmModInfo *existing = row.existing.empty() ? nullptr : row.existing.data();
        EXPECT_EQ(SWM_ComparePackageModInfo(&newMod, existing, row.count, &same), row.found) << row.name;
        EXPECT_EQ(same, row.same) << row.name;
    }
    uint32_t same = 9;
    EXPECT_EQ(SWM_ComparePackagePatchInfo(nullptr, &newPatch, 1, &same), 0u);
    EXPECT_EQ(SWM_ComparePackagePatchInfo(&newPatch, &newPatch, 1, nullptr), 0u);
    EXPECT_EQ(SWM_ComparePackageModInfo(nullptr, &newMod, 1, &same), 0u);
    EXPECT_EQ(SWM_ComparePackageModInfo(&newMod, &newMod, 1, nullptr), 0u);
    EXPECT_EQ(same, 9u);
    EXPECT_TRUE(nothingLogged());
}

// ---- Distinct container files ----

std::vector<SwmPackageInfo> packagesOf(const std::vector<std::string> &files)
{
    std::vector<SwmPackageInfo> packages;
    for (const std::string &file : files) {
        packages.push_back(package("p" + std::to_string(packages.size()), "1", file));
    }
    return packages;
}

TEST_F(XmlTest, DistinctFilesAreCountedAndTheRestCleared)
{
    struct Row {
        const char *name;
        std::vector<std::string> files, left;
        uint32_t number;
    };
    const Row rows[] = {
        {"none", {}, {}, 0},
        {"one", {"a"}, {"a"}, 1},
        {"duplicate", {"a", "b", "a"}, {"a", "b", ""}, 2},
        {"all the same", {"a", "a", "a"}, {"a", "", ""}, 1},
        {"empty ones do not count", {"", "a", "", "a"}, {"", "a", "", ""}, 1},
        {"case counts", {"a", "A"}, {"a", "A"}, 2},
        {"prefixes differ", {"ab", "a", "abc"}, {"ab", "a", "abc"}, 3},
        {"full length",
         {std::string(127, 'x'), std::string(126, 'x') + "y"},
         {std::string(127, 'x'), std::string(126, 'x') + "y"},
         2},
    };
    for (const Row &row : rows) {
        for (const bool withMemory : {true, false}) {
            SCOPED_TRACE(row.name);
            std::vector<SwmPackageInfo> packages = packagesOf(row.files);
            packages.push_back(package("behind", "1", "a"));
            if (!withMemory) {
                failCall(Call::Malloc, 1);
            }
            uint32_t counter = 5;
            SWM_GetCCNumberWithPackageInfo(packages.data(), static_cast<uint32_t>(row.files.size()), &counter);
            EXPECT_EQ(counter, 5 + row.number) << "added to";
            for (size_t i = 0; i < row.left.size(); ++i) {
                EXPECT_EQ(packages[i].CcFile, row.left[i]);
                EXPECT_STREQ(packages[i].CcPath, "/cc");
            }
            EXPECT_STREQ(packages.back().CcFile, "a");
            clearFaults();
        }
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(XmlTest, TenThousandDistinctFiles)
{
    constexpr uint32_t kNumber = 10000;
    std::vector<SwmPackageInfo> packages;
    for (uint32_t i = 0; i < 2 * kNumber; ++i) {
        packages.push_back(package("p", "1", std::to_string(i % kNumber)));
    }
    const auto start = std::chrono::steady_clock::now();
    uint32_t counter = 0;
    SWM_GetCCNumberWithPackageInfo(packages.data(), 2 * kNumber, &counter);
    EXPECT_EQ(counter, kNumber);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    for (uint32_t i = 0; i < 2 * kNumber; ++i) {
        ASSERT_EQ(packages[i].CcFile, i < kNumber ? std::to_string(i) : "") << i;
    }
}

TEST_F(XmlTest, NullArgumentsOfTheCount)
{
    SwmPackageInfo info = package("p");
    uint32_t counter = 5;
    SWM_GetCCNumberWithPackageInfo(nullptr, 1, &counter);
    EXPECT_TRUE(logged({nullArgument()}));
    SWM_GetCCNumberWithPackageInfo(&info, 1, nullptr);
    EXPECT_TRUE(logged({nullArgument()}));
    EXPECT_EQ(counter, 5u);
}

} // namespace
} // namespace tarn::test
