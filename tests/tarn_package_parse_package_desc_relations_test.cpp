// Which package a CC package brings, and what it requires.
#include "../fuzz/line_list_reference.h"
#include "descriptor_test.h"

namespace tarn::test {
namespace {

using Texts = std::vector<std::string>;

constexpr const char *kFile = "tarn_package_parse_package_desc.cpp";
const LogLine kNoMemory = errorOf(kFile, "SWM_BASE", "Malloc pkg basic node failed.");
const LogLine kBasicNotAdded = errorOf(kFile, "SWM_BASE", "Add pkg basic info to list failed.");
const LogLine kRequireNotAdded = errorOf(kFile, "SWM_BASE", "Add pkg require info to list failed.");
const LogLine kNoRelation = info("No symbol between pkg name and version.");

LogLine notSplit(const std::string &text)
{
    return errorOf(kFile, "SWM_BASE", "Trans string[%s] to array failed.", text.c_str());
}

LogLine wrongPieces(const std::string &text, uint32_t pieces)
{
    return errorOf(kFile, "SWM_BASE", "Trans string[%s] to array, array num[%u] error.", text.c_str(), pieces);
}

LogLine basicThere(const std::string &cc, const std::string &package, const std::string &version)
{
    return warning("New basic node cc[%s], pkg[%s], version[%s] is already in list.", cc.c_str(), package.c_str(),
                   version.c_str());
}

LogLine requireThere(const std::string &name, const std::string &version)
{
    return warning("New require node acCcName:%s, acPkgName:%s, acRequirePkgName:%s, acRequirePkgVer:%s is already in "
                   "list.",
                   "base.cc", "pkg", name.c_str(), version.c_str());
}

std::string describe(const PkgBasicData &data)
{
    EXPECT_TRUE(isZeroFilled(data.ccName));
    EXPECT_TRUE(isZeroFilled(data.packageName));
    EXPECT_TRUE(isZeroFilled(data.version));
    return textOf(data.ccName) + "|" + textOf(data.packageName) + "|" + textOf(data.version);
}

// Required name, version and relation; the rest is that of the package.
std::string describe(const PkgRequireData &data, const std::string &cc = "base.cc", const std::string &package = "pkg")
{
    EXPECT_EQ(textOf(data.ccName), cc);
    EXPECT_EQ(textOf(data.packageName), package);
    EXPECT_TRUE(isZeroFilled(data.requiredName));
    EXPECT_TRUE(isZeroFilled(data.requiredVersion));
    return textOf(data.requiredName) + "|" + textOf(data.requiredVersion) + "|" + std::to_string(data.relation);
}

class RelationsTest : public DescriptorTest {
protected:
    PkgDescInfo package = {};

    RelationsTest()
    {
        reference::fill(package.packageName, "pkg");
        reference::fill(package.version, "1.0");
    }
    Texts requirements()
    {
        Texts texts;
        for (const PkgRequireInfo *record : list.records<PkgRequireInfo>()) {
            texts.push_back(describe(record->data));
        }
        return texts;
    }
    Texts basics()
    {
        Texts texts;
        for (const PkgBasicInfo *record : list.records<PkgBasicInfo>()) {
            texts.push_back(describe(record->data));
        }
        return texts;
    }
    uint32_t require(const std::string &text)
    {
        reference::fill(package.requiresText, text);
        return SWM_MallocAndAddPkgRequireInfoToList(&list, "base.cc", &package);
    }
};

// ---- Identity ----

TEST_F(RelationsTest, BasicInformation)
{
    PkgBasicData data = {};
    EXPECT_EQ(SWM_GetPkgBasicInfo(&data, "base.cc", &package), SWM_OK);
    EXPECT_EQ(describe(data), "base.cc|pkg|1.0");
    EXPECT_EQ(SWM_GetPkgBasicInfo(&(data = {}), "", &package), SWM_OK);
    EXPECT_EQ(describe(data), "|pkg|1.0");
    EXPECT_EQ(SWM_GetPkgBasicInfo(&(data = {}), std::string(127, 'c').c_str(), &package), SWM_OK);
    EXPECT_EQ(describe(data), std::string(127, 'c') + "|pkg|1.0");
    EXPECT_EQ(SWM_GetPkgBasicInfo(&(data = {}), std::string(300, 'c').c_str(), &package), SWM_OK);
    EXPECT_EQ(describe(data), std::string(127, 'c') + "|pkg|1.0");
    EXPECT_TRUE(nothingLogged()) << "the cut is the stated count";
}

TEST_F(RelationsTest, FailedCopiesOfBasicInformation)
{
    const char *kExpected[] = {"|pkg|1.0", "base.cc||1.0", "base.cc|pkg|"};
    for (unsigned nth = 1; nth <= 3; ++nth) {
        PkgBasicData data = {};
        failCall(Call::Strncpy, nth);
        EXPECT_EQ(SWM_GetPkgBasicInfo(&data, "base.cc", &package), SWM_OK);
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(describe(data), kExpected[nth - 1]);
        EXPECT_TRUE(logged({copyWarning("strncpy", "SWM_GetPkgBasicInfo")}));
    }
}

TEST_F(RelationsTest, AddingBasicInformation)
{
    const auto add = [this](const char *cc) { return SWM_MallocAndAddPkgBasicInfoToList(&list, cc, &package); };
    EXPECT_EQ(add("base.cc"), SWM_OK);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(add("base.cc"), SWM_OK);
    EXPECT_TRUE(logged({basicThere("base.cc", "pkg", "1.0")}));
    EXPECT_EQ(add("other.cc"), SWM_OK);
    reference::fill(package.version, "2.0");
    EXPECT_EQ(add("base.cc"), SWM_OK);
    EXPECT_EQ(basics(), (Texts{"base.cc|pkg|1.0", "other.cc|pkg|1.0", "base.cc|pkg|2.0"}));
    EXPECT_TRUE(nothingLogged());
    failCall(Call::Malloc, 1);
    EXPECT_EQ(add("third.cc"), SWM_FAIL);
    EXPECT_TRUE(logged({kNoMemory, kBasicNotAdded}));
    EXPECT_EQ(list.count(), 3u);
    const PkgBasicData data = {};
    failCall(Call::Malloc, 1);
    EXPECT_EQ(SWM_AddPkgBasicInfoToList(&list, &data), SWM_FAIL);
    EXPECT_TRUE(logged({kNoMemory}));
}

TEST_F(RelationsTest, EveryByteOfARecordCounts)
{
    PkgBasicData basic = {};
    PkgBasicData otherBasic = {};
    EXPECT_EQ(SWM_IsSamePkgBasicNode(&basic, &otherBasic), 1u);
    for (size_t at = 0; at < sizeof(basic); ++at) {
        otherBasic = basic;
        reinterpret_cast<char *>(&otherBasic)[at] = 1;
        ASSERT_EQ(SWM_IsSamePkgBasicNode(&basic, &otherBasic), 0u) << at;
    }
    PkgRequireData require = {};
    PkgRequireData otherRequire = {};
    EXPECT_EQ(SWM_IsSamePkgRequireNode(&require, &otherRequire), 1u);
    for (size_t at = 0; at < sizeof(require); ++at) {
        otherRequire = require;
        reinterpret_cast<char *>(&otherRequire)[at] = 1;
        ASSERT_EQ(SWM_IsSamePkgRequireNode(&require, &otherRequire), 0u) << at;
    }
    EXPECT_EQ(SWM_IsSamePkgBasicNode(nullptr, &basic), 0u);
    EXPECT_EQ(SWM_IsSamePkgBasicNode(&basic, nullptr), 0u);
    EXPECT_EQ(SWM_IsSamePkgRequireNode(nullptr, &require), 0u);
    EXPECT_EQ(SWM_IsSamePkgRequireNode(&require, nullptr), 0u);
    EXPECT_TRUE(nothingLogged());
}

// What stands behind a text keeps two records apart in a list too.
TEST_F(RelationsTest, DuplicatesOverWholeBuffers)
{
    PkgBasicData basic = {};
    EXPECT_EQ(SWM_AddPkgBasicInfoToList(&list, &basic), SWM_OK);
    basic.version[127] = 'x';
    EXPECT_EQ(SWM_AddPkgBasicInfoToList(&list, &basic), SWM_OK);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(SWM_AddPkgBasicInfoToList(&list, &basic), SWM_OK);
    EXPECT_TRUE(logged({basicThere("", "", "")}));
    EXPECT_EQ(list.count(), 2u);
    SWM_FreePkgBasicList(&list);
    PkgRequireData require = {};
    EXPECT_EQ(SWM_AddPkgRequireInfoToList(&list, &require), SWM_OK);
    require.requiredVersion[127] = 'x';
    EXPECT_EQ(SWM_AddPkgRequireInfoToList(&list, &require), SWM_OK);
    require.relation = 3;
    EXPECT_EQ(SWM_AddPkgRequireInfoToList(&list, &require), SWM_OK);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(SWM_AddPkgRequireInfoToList(&list, &require), SWM_OK);
    EXPECT_EQ(takeLog().size(), 1u);
    EXPECT_EQ(list.count(), 3u);
    EXPECT_EQ(memcmp(&list.records<PkgRequireInfo>().back()->data, &require, sizeof(require)), 0);
    failCall(Call::Malloc, 1);
    require.relation = 2;
    EXPECT_EQ(SWM_AddPkgRequireInfoToList(&list, &require), SWM_FAIL);
    EXPECT_TRUE(logged({kNoMemory}));
}

// ---- Requirements ----

TEST_F(RelationsTest, EntriesWithARelation)
{
    struct Row {
        const char *entry;
        const char *expected;
    };
    const Row rows[] = {
        {"libA>=1.0", "libA|1.0|0"},     {"libA<=1.0", "libA|1.0|1"},    {"libA=1.0", "libA|1.0|2"},
        {"libA >= 1.0", "libA | 1.0|0"}, {" libA=1.0 ", " libA|1.0 |2"}, {"libA==1.0", "libA|1.0|2"},
        {"libA=>1.0", "libA|>1.0|2"},    {"libA=<1.0", "libA|<1.0|2"},   {"libA>>=1.0", "libA|1.0|0"},
        {"libA>==1.0", "libA|1.0|0"},    {"=libA=1.0=", "libA|1.0|2"},   {">=libA>1.0", "libA|1.0|0"},
        {"libA>=1.0<", "libA|1.0<|0"},   {"libA<=1.0>", "libA|1.0>|1"},  {"<=libA<1.0", "libA|1.0|1"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.entry);
        PkgRequireData data = untouchedRecord<PkgRequireData>();
        EXPECT_EQ(SWM_GetPkgRequireInfoByReqArray(row.entry, &data, sizeof(data), "base.cc", &package), SWM_OK);
        EXPECT_EQ(describe(data), row.expected);
        EXPECT_TRUE(nothingLogged());
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(RelationsTest, EntriesWithoutARelation)
{
    for (const char *entry : {"libB", "libD>1", "libD<1", " libB ", "lib B", ">", "libB:1"}) {
        PkgRequireData data = untouchedRecord<PkgRequireData>();
        EXPECT_EQ(SWM_GetPkgRequireInfoByReqArray(entry, &data, sizeof(data), "base.cc", &package), SWM_OK);
        EXPECT_EQ(describe(data), std::string(entry) + "||3");
        EXPECT_TRUE(logged({kNoRelation}));
    }
}

TEST_F(RelationsTest, EntriesWithOtherThanTwoPieces)
{
    struct Row {
        const char *entry;
        uint32_t pieces;
    };
    const Row rows[] = {{"libE>=1>=2", 3}, {"libE>=", 1}, {">=1", 1},    {">=", 0},      {"=", 0},
                        {"a=b=c", 3},      {"a>=b=c", 3}, {"a<=b<c", 3}, {"a>b>=c", 3},  {"a<=b=c<d", 4},
                        {"=a", 1},         {"a=", 1},     {"<=>=", 1},   {"a<=b>=c", 3}, {"===", 0}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.entry);
        PkgRequireData data = {};
        EXPECT_EQ(SWM_GetPkgRequireInfoByReqArray(row.entry, &data, sizeof(data), "base.cc", &package), SWM_FAIL);
        EXPECT_TRUE(logged({wrongPieces(row.entry, row.pieces)}));
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(RelationsTest, LongPiecesAreCut)
{
    const std::string name(200, 'n');
    const std::string version(200, 'v');
    PkgRequireData data = {};
    const std::string entry = name + ">=" + version;
    EXPECT_EQ(SWM_GetPkgRequireInfoByReqArray(entry.c_str(), &data, sizeof(data), name.c_str(), &package), SWM_OK);
    EXPECT_EQ(describe(data, name.substr(0, 127)), name.substr(0, 127) + "|" + version.substr(0, 127) + "|0");
    EXPECT_EQ(SWM_GetPkgRequireInfoByReqArray(name.c_str(), &data, sizeof(data), "base.cc", &package), SWM_OK);
    EXPECT_EQ(describe(data), name.substr(0, 127) + "||3");
    EXPECT_TRUE(logged({kNoRelation})) << "the cut is the stated count";
}

TEST_F(RelationsTest, FillingARequirement)
{
    char name[] = "libA";
    char version[] = "7";
    char *pieces[] = {name, version};
    for (const uint32_t relation : {0u, 1u, 2u, 3u, 99u}) {
        PkgRequireData data = {};
        EXPECT_EQ(SWM_GetPkgRequireInfo(&data, "base.cc", &package, relation, pieces), SWM_OK);
        EXPECT_EQ(describe(data), "libA|7|" + std::to_string(relation));
        data = {};
        EXPECT_EQ(SWM_GetPkgRequireInfoNoVer(&data, "base.cc", &package, relation, "libA=7"), SWM_OK);
        EXPECT_EQ(describe(data), "libA=7||" + std::to_string(relation));
    }
    EXPECT_TRUE(nothingLogged());
    for (unsigned nth = 1; nth <= 4; ++nth) {
        PkgRequireData data = {};
        failCall(Call::Strncpy, nth);
        EXPECT_EQ(SWM_GetPkgRequireInfo(&data, "base.cc", &package, 2, pieces), SWM_OK);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(logged({copyWarning("strncpy", "SWM_GetPkgRequireInfo")}));
        EXPECT_EQ(data.relation, 2u);
    }
    for (unsigned nth = 1; nth <= 3; ++nth) {
        PkgRequireData data = {};
        failCall(Call::Strncpy, nth);
        EXPECT_EQ(SWM_GetPkgRequireInfoNoVer(&data, "base.cc", &package, 3, "libA"), SWM_OK);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(logged({copyWarning("strncpy", "SWM_GetPkgRequireInfoNoVer")}));
    }
}

TEST_F(RelationsTest, FailedSplitAndClearOfAnEntry)
{
    for (const char *entry : {"a>=1", "a<=1", "a=1"}) {
        PkgRequireData data = {};
        failCall(Call::TransString2Array, 1);
        EXPECT_EQ(SWM_GetPkgRequireInfoByReqArray(entry, &data, sizeof(data), "base.cc", &package), SWM_FAIL);
        EXPECT_TRUE(logged({notSplit(entry)}));
    }
    PkgRequireData data = {};
    failCall(Call::Memset, 1);
    EXPECT_EQ(SWM_GetPkgRequireInfoByReqArray("a=1", &data, sizeof(data), "base.cc", &package), SWM_OK);
    EXPECT_EQ(describe(data), "a|1|2");
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_GetPkgRequireInfoByReqArray")}));
}

TEST_F(RelationsTest, Requirements)
{
    struct Row {
        const char *text;
        Texts expected;
        Lines lines = {};
    };
    const Row rows[] = {
        {"libA>=1.0;libB;libC=2", {"libA|1.0|0", "libB||3", "libC|2|2"}, {kNoRelation}},
        {"libA<=1", {"libA|1|1"}},
        {"", {}},
        {";;", {}},
        {";a=1;;b=2;", {"a|1|2", "b|2|2"}},
        {"a=1 ; b=2", {"a|1 |2", " b|2|2"}},
        {"a=1;a=1", {"a|1|2"}, {requireThere("a", "1")}},
        {"a=1;a>=1;a=2;A=1", {"a|1|2", "a|1|0", "a|2|2", "A|1|2"}},
        {"a;a", {"a||3"}, {kNoRelation, kNoRelation, requireThere("a", "")}},
        {"a,b", {"a,b||3"}, {kNoRelation}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        list.clear();
        EXPECT_EQ(require(row.text), SWM_OK);
        EXPECT_EQ(requirements(), row.expected);
        EXPECT_TRUE(logged(row.lines));
    }
}

TEST_F(RelationsTest, RequirementsBeforeAFailureStay)
{
    EXPECT_EQ(require("a=1;b>=1>=2;c=3"), SWM_FAIL);
    EXPECT_TRUE(logged({wrongPieces("b>=1>=2", 3), notSplit("b>=1>=2")}));
    EXPECT_EQ(requirements(), Texts{"a|1|2"});
    EXPECT_EQ(require("b=2;c="), SWM_FAIL);
    EXPECT_TRUE(logged({wrongPieces("c=", 1), notSplit("c=")}));
    EXPECT_EQ(requirements(), (Texts{"a|1|2", "b|2|2"})) << "the list is added to";
    failCall(Call::TransString2Array, 1);
    EXPECT_EQ(require("d=1;e=2"), SWM_FAIL);
    EXPECT_TRUE(logged({notSplit("d=1;e=2")}));
    failCall(Call::TransString2Array, 3);
    EXPECT_EQ(require("d=1;e=2"), SWM_FAIL);
    EXPECT_TRUE(logged({notSplit("e=2"), notSplit("e=2")}));
    EXPECT_EQ(list.count(), 3u);
    failCall(Call::Malloc, 2);
    EXPECT_EQ(require("f=1;g=2"), SWM_FAIL);
    EXPECT_TRUE(logged({kNoMemory, kRequireNotAdded}));
    EXPECT_EQ(list.count(), 4u);
    SWM_FreePkgRequireList(&list);
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(RelationsTest, FailedCopyIntoANewRecord)
{
    failCall(Call::Memcpy, 1);
    EXPECT_EQ(require("a=1"), SWM_OK);
    EXPECT_EQ(list.count(), 1u) << "appended all the same";
    EXPECT_EQ(takeLog().size(), faultHit() ? 1u : 0u);
}

TEST_F(RelationsTest, Release)
{
    for (const uint32_t wrongCount : {2u, 0u, 1u, 7u}) {
        ASSERT_EQ(require("a=1;b=2"), SWM_OK);
        (&list)->count = wrongCount;
        SWM_FreePkgRequireList(&list);
        EXPECT_TRUE(isEmptyList(*&list));
        ASSERT_EQ(SWM_MallocAndAddPkgBasicInfoToList(&list, "a", &package), SWM_OK);
        ASSERT_EQ(SWM_MallocAndAddPkgBasicInfoToList(&list, "b", &package), SWM_OK);
        (&list)->count = wrongCount;
        SWM_FreePkgBasicList(&list);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
    }
    for (const auto release : {SWM_FreePkgBasicList, SWM_FreePkgRequireList}) {
        release(&list);
        list.fillWithZeros();
        release(&list);
        release(nullptr);
        list.clear();
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(RelationsTest, MissingArguments)
{
    PkgBasicData basic = untouchedRecord<PkgBasicData>();
    PkgRequireData require = untouchedRecord<PkgRequireData>();
    SwmListHead head = garbageHead();
    char text[] = "a";
    char *pieces[] = {text, text};
    char *noName[] = {nullptr, text};
    char *noVersion[] = {text, nullptr};
    const uint32_t size = sizeof(require);
    const char *cc = "base.cc";
    const PkgDescInfo *none = nullptr;
    const NullRow rows[] = {
        {"SWM_GetPkgBasicInfo", [&] { return SWM_GetPkgBasicInfo(nullptr, cc, &package); }},
        {"SWM_GetPkgBasicInfo", [&] { return SWM_GetPkgBasicInfo(&basic, nullptr, &package); }},
        {"SWM_GetPkgBasicInfo", [&] { return SWM_GetPkgBasicInfo(&basic, cc, none); }},
        {"SWM_MallocAndAddPkgBasicInfoToList",
         [&] { return SWM_MallocAndAddPkgBasicInfoToList(nullptr, cc, &package); }},
        {"SWM_MallocAndAddPkgBasicInfoToList",
         [&] { return SWM_MallocAndAddPkgBasicInfoToList(&head, nullptr, &package); }},
        {"SWM_MallocAndAddPkgBasicInfoToList", [&] { return SWM_MallocAndAddPkgBasicInfoToList(&head, cc, none); }},
        {"SWM_AddPkgBasicInfoToList", [&] { return SWM_AddPkgBasicInfoToList(nullptr, &basic); }},
        {"SWM_AddPkgBasicInfoToList", [&] { return SWM_AddPkgBasicInfoToList(&head, nullptr); }},
        {"SWM_GetPkgRequireInfo", [&] { return SWM_GetPkgRequireInfo(nullptr, cc, &package, 0, pieces); }},
        {"SWM_GetPkgRequireInfo", [&] { return SWM_GetPkgRequireInfo(&require, nullptr, &package, 0, pieces); }},
        {"SWM_GetPkgRequireInfo", [&] { return SWM_GetPkgRequireInfo(&require, cc, none, 0, pieces); }},
        {"SWM_GetPkgRequireInfo", [&] { return SWM_GetPkgRequireInfo(&require, cc, &package, 0, nullptr); }},
        {"SWM_GetPkgRequireInfo", [&] { return SWM_GetPkgRequireInfo(&require, cc, &package, 0, noName); }},
        {"SWM_GetPkgRequireInfo", [&] { return SWM_GetPkgRequireInfo(&require, cc, &package, 0, noVersion); }},
        {"SWM_GetPkgRequireInfoNoVer", [&] { return SWM_GetPkgRequireInfoNoVer(nullptr, cc, &package, 0, "a"); }},
        {"SWM_GetPkgRequireInfoNoVer", [&] { return SWM_GetPkgRequireInfoNoVer(&require, nullptr, &package, 0, "a"); }},
        {"SWM_GetPkgRequireInfoNoVer", [&] { return SWM_GetPkgRequireInfoNoVer(&require, cc, none, 0, "a"); }},
        {"SWM_GetPkgRequireInfoNoVer", [&] { return SWM_GetPkgRequireInfoNoVer(&require, cc, &package, 0, nullptr); }},
        {"SWM_GetPkgRequireInfoByReqArray",
         [&] { return SWM_GetPkgRequireInfoByReqArray(nullptr, &require, size, cc, &package); }},
        {"SWM_GetPkgRequireInfoByReqArray",
         [&] { return SWM_GetPkgRequireInfoByReqArray("a", nullptr, size, cc, &package); }},
        {"SWM_GetPkgRequireInfoByReqArray",
         [&] { return SWM_GetPkgRequireInfoByReqArray("a", &require, size, nullptr, &package); }},
        {"SWM_GetPkgRequireInfoByReqArray",
         [&] { return SWM_GetPkgRequireInfoByReqArray("a", &require, size, cc, none); }},
        {"SWM_MallocAndAddPkgRequireInfoToList",
         [&] { return SWM_MallocAndAddPkgRequireInfoToList(nullptr, cc, &package); }},
        {"SWM_MallocAndAddPkgRequireInfoToList",
         [&] { return SWM_MallocAndAddPkgRequireInfoToList(&head, nullptr, &package); }},
        {"SWM_MallocAndAddPkgRequireInfoToList", [&] { return SWM_MallocAndAddPkgRequireInfoToList(&head, cc, none); }},
        {"SWM_AddPkgRequireInfoToList", [&] { return SWM_AddPkgRequireInfoToList(nullptr, &require); }},
        {"SWM_AddPkgRequireInfoToList", [&] { return SWM_AddPkgRequireInfoToList(&head, nullptr); }},
    };
    unsigned number = 0;
    for (const NullRow &row : rows) {
        SCOPED_TRACE(std::string(row.function) + " row " + std::to_string(number++));
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFile, row.function)}));
    }
    EXPECT_TRUE(isUntouched(basic));
    EXPECT_TRUE(isUntouched(require));
    EXPECT_TRUE(isGarbageHead(head));
}

} // namespace
} // namespace tarn::test
