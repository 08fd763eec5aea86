// Package descriptions: keys and file sections.
#include "descriptor_test.h"

namespace tarn::test {
namespace {

using namespace std::string_literals;
using Texts = std::vector<std::string>;

constexpr const char *kFile = "tarn_package_parse_package_desc.cpp";
constexpr uint32_t kFiles = 0;
constexpr uint32_t kCompatible = 1;
constexpr const char *kConverter = "SWM_Trans2FileStructureRecord";

LogLine notRead(const char *what, const fs::path &file)
{
    const std::string format = std::string("get ") + what + " from package description file failed. PkgDescFile: ";
    LogLine line = errorOf(kFile, "SWM_BASE", "%s", (format + file.string() + ".").c_str());
    line.format.replace(line.format.size() - 2, 2, format + "%s.");
    return line;
}

std::string describe(const FileStructureData &data)
{
    EXPECT_TRUE(isZeroFilled(data.firstText));
    EXPECT_TRUE(isZeroFilled(data.secondText));
    EXPECT_TRUE(isZeroFilled(data.thirdText));
    return textOf(data.firstText) + "|" + textOf(data.secondText) + "|" + textOf(data.thirdText) + "|" +
           std::to_string(data.flag);
}

Texts filesOf(const SwmListHead &list)
{
    Texts texts;
    for (const FileStructureRecord *record : List::recordsOf<FileStructureRecord>(list)) {
        texts.push_back(describe(record->data));
    }
    return texts;
}

class PackageDescTest : public DescriptorTest {
protected:
    PkgDescInfo info = {};

    uint32_t readFrom(const char *file, uint32_t type)
    {
        list.clear();
        *&list = garbageHead();
        const uint32_t status = SwmGetAllFilesByTypeFromDesc(file, &list, type);
        EXPECT_FALSE(isGarbageHead(*&list));
        return status;
    }
    uint32_t read(const std::string &text, uint32_t type = kFiles) { return readFrom(write(text), type); }
    uint32_t readInfo(const std::string &text)
    {
        memset(&info, 0, sizeof(info));
        return SWM_GetPkgInfoFromPkgDesc(write(text), &info);
    }
    void freeInfo()
    {
        SWM_FreeFileStructureRecord(&info.files);
        SWM_FreeFileStructureRecord(&info.compatibleFiles);
    }
};

// ---- File lines ----

TEST_F(PackageDescTest, SoundFileLines)
{
    const std::string text127(127, 't');
    const LogLine cut = copyWarning("snprintf", kConverter);
    struct Row {
        const char *name;
        std::string line;
        std::string expected;
        Lines lines = {};
    };
    const Row rows[] = {
        {"yes", "a b yes c", "a|b|c|1"},
        {"no", "a b no c", "a|b|c|0"},
        {"other case", "a b YES c", "a|b|c|0"},
        {"longer", "a b yess c", "a|b|c|0"},
        {"shorter", "a b ye c", "a|b|c|0"},
        {"trimmed", " \t a b yes c \v\f\r\n", "a|b|c|1"},
        {"several spaces are one", "a  b   yes    c", "a|b|c|1"},
        {"a tab does not separate", "a\tx b yes c", "a\tx|b|c|1"},
        {"127 characters", text127 + " " + text127 + " yes " + text127, text127 + "|" + text127 + "|" + text127 + "|1"},
        {"128 characters each",
         text127 + "1 " + text127 + "2 yes " + text127 + "3",
         text127 + "|" + text127 + "|" + text127 + "|1",
         {cut, cut, cut}},
        {"a colon is text here", "a:b b yes c", "a:b|b|c|1"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        std::string line = row.line;
        FileStructureData data = {};
        EXPECT_EQ(SWM_Trans2FileStructureRecord(line.data(), &data), SWM_OK);
        EXPECT_EQ(describe(data), row.expected);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(PackageDescTest, BadFileLines)
{
    for (const char *text : {"", " ", "a", "a b", "a b yes", "a b yes c d", "a b yes c d e f", "a\tb\tyes\tc"}) {
        std::string line = text;
        FileStructureData data = {};
        EXPECT_EQ(SWM_Trans2FileStructureRecord(line.data(), &data), SWM_FAIL) << text;
        EXPECT_EQ(liveBlocks(), 0);
    }
    for (const Call call : {Call::StringTrim, Call::TransString2Array}) {
        char line[] = "a b yes c";
        FileStructureData data = untouchedRecord<FileStructureData>();
        failCall(call, 1);
        EXPECT_EQ(SWM_Trans2FileStructureRecord(line, &data), SWM_FAIL);
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(isUntouched(data));
    }
    EXPECT_TRUE(nothingLogged());
    char line[] = "  a b yes c ";
    FileStructureData data = {};
    EXPECT_EQ(SWM_Trans2FileStructureRecord(line, &data), SWM_OK);
    EXPECT_STREQ(line, "a b yes c") << "trimmed in place";
}

TEST_F(PackageDescTest, FailedPrintsOfAFileLine)
{
    const char *kExpected[] = {"|b|c|1", "a||c|1", "a|b||1"};
    for (unsigned nth = 1; nth <= 3; ++nth) {
        char line[] = "a b yes c";
        FileStructureData data = {};
        failCall(Call::Snprintf, nth);
        EXPECT_EQ(SWM_Trans2FileStructureRecord(line, &data), SWM_OK);
        EXPECT_EQ(describe(data), kExpected[nth - 1]);
        EXPECT_TRUE(logged({copyWarning("snprintf", kConverter)}));
    }
}

TEST_F(PackageDescTest, ProcessingAFileLine)
{
    const auto process = [this](uint32_t inSection, std::string line) {
        return SWM_ProcFileStructureRecord(inSection, line.data(), &list);
    };
    EXPECT_EQ(process(0, "a b yes c"), SWM_OK);
    EXPECT_EQ(process(0, "bad"), SWM_OK);
    EXPECT_EQ(list.count(), 0u);
    EXPECT_EQ(process(1, "a b yes c"), SWM_OK);
    EXPECT_EQ(process(7, "d e no f"), SWM_OK);
    EXPECT_EQ(process(1, " a  b yes c\n"), SWM_OK) << "there already";
    EXPECT_EQ(process(1, "a b no c"), SWM_OK);
    EXPECT_EQ(process(1, "a b c"), SWM_FAIL);
    EXPECT_EQ(filesOf(*&list), (Texts{"a|b|c|1", "d|e|f|0", "a|b|c|0"}));
    failCall(Call::Malloc, 1);
    EXPECT_EQ(process(1, "x y yes z"), SWM_FAIL);
    EXPECT_EQ(list.count(), 3u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PackageDescTest, AddingAFileRecord)
{
    FileStructureData data = {};
    data.firstText[0] = 'a';
    data.flag = 1;
    const auto add = [&] { return SWM_AddFileStructureRecord(&list, &data); };
    EXPECT_EQ(add(), SWM_OK);
    EXPECT_EQ(add(), SWM_OK);
    EXPECT_EQ(list.count(), 1u);
    // Every byte counts, also those behind a text.
    for (const size_t at : {size_t{1}, size_t{127}, size_t{128}, size_t{255}, size_t{256}, size_t{383}, size_t{387}}) {
        FileStructureData other = data;
        reinterpret_cast<char *>(&other)[at] = 'x';
        EXPECT_EQ(SWM_IsSameFileStruRecord(&data, &other), 0u) << at;
        EXPECT_EQ(SWM_AddFileStructureRecord(&list, &other), SWM_OK);
        EXPECT_EQ(SWM_AddFileStructureRecord(&list, &other), SWM_OK);
        EXPECT_EQ(memcmp(&list.records<FileStructureRecord>().back()->data, &other, sizeof(other)), 0);
    }
    EXPECT_EQ(list.count(), 8u);
    EXPECT_TRUE(nothingLogged());
    data.firstText[0] = 'b';
    failCall(Call::Memcpy, 1);
    EXPECT_EQ(add(), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("memcpy", "SWM_AddFileStructureRecord")}));
    ASSERT_EQ(list.count(), 9u);
    EXPECT_EQ(describe(list.records<FileStructureRecord>().back()->data), "|||0");
    failCall(Call::Malloc, 1);
    EXPECT_EQ(add(), SWM_FAIL);
    EXPECT_EQ(list.count(), 9u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PackageDescTest, SameFileRecords)
{
    FileStructureData a = {};
    FileStructureData b = {};
    EXPECT_EQ(SWM_IsSameFileStruRecord(&a, &b), 1u);
    EXPECT_EQ(SWM_IsSameFileStruRecord(&a, nullptr), 0u);
    EXPECT_EQ(SWM_IsSameFileStruRecord(nullptr, &b), 0u);
    EXPECT_EQ(SWM_IsSameFileStruRecord(nullptr, nullptr), 0u);
    b.flag = 1;
    EXPECT_EQ(SWM_IsSameFileStruRecord(&a, &b), 0u);
    EXPECT_TRUE(nothingLogged());
}

// ---- Sections ----

TEST_F(PackageDescTest, SectionHeaders)
{
    struct Row {
        const char *line;
        uint32_t files;
        uint32_t compatible;
    };
    const Row rows[] = {
        {"files:", 1, 0},
        {"files:\n", 1, 0},
        {"  files: x", 1, 0},
        {"myfiles:", 1, 0},
        {"files-compatible:", 0, 1},
        {"my files-compatible: x", 0, 1},
        {"files :", 0, 0},
        {"files", 0, 0},
        {"Files:", 0, 0},
        {"files-compatible", 0, 0},
        {"", 0, 0},
        {":", 0, 0},
        {"a:files", 0, 0},
        {"a:files:", 1, 0},
        {"files: files-compatible:", 1, 1},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(SWM_IsFilesSection(row.line, kFiles), row.files) << row.line;
        EXPECT_EQ(SWM_IsFilesSection(row.line, kCompatible), row.compatible) << row.line;
        EXPECT_EQ(SWM_IsFilesSection(row.line, 2), 0u) << row.line;
        EXPECT_EQ(SWM_IsFilesSection(row.line, 0xFFFFFFFF), 0u) << row.line;
    }
    EXPECT_EQ(SWM_IsFilesSection(nullptr, kFiles), 0u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PackageDescTest, SoundSections)
{
    struct Row {
        const char *name;
        std::string text;
        Texts files;
        Texts compatible = {};
    };
    const Row rows[] = {
        {"one", "files:\na b yes c\nd e no f\n", {"a|b|c|1", "d|e|f|0"}},
        {"no line feed at the end", "files:\na b yes c", {"a|b|c|1"}},
        {"both", "files:\na b yes c\nfiles-compatible:\nd e no f\n", {"a|b|c|1"}, {"d|e|f|0"}},
        {"the other way round", "files-compatible:\nd e no f\nfiles:\na b yes c\n", {"a|b|c|1"}, {"d|e|f|0"}},
        {"lines before are ignored", "a b\nname: x\nc d\nfiles:\na b yes c\n", {"a|b|c|1"}},
        {"comments and blank lines", "files:\n# x: y\n\n  \na b yes c\n  # a b\nd e no f\n", {"a|b|c|1", "d|e|f|0"}},
        {"any line with a colon ends it", "files:\na b yes c\nname: x\nd e no f\n", {"a|b|c|1"}},
        {"also a file line", "files:\na b yes c\nd: e no f\ng h no i\n", {"a|b|c|1"}},
        {"a second header after others is not reached", "files:\na b yes c\nx:\nfiles:\nd e no f\n", {"a|b|c|1"}},
        {"a repeated header changes nothing", "files:\na b yes c\nfiles:\nd e no f\n", {"a|b|c|1", "d|e|f|0"}},
        {"header with more on it", "my files: of x\na b yes c\n", {"a|b|c|1"}},
        {"duplicates once", "files:\na b yes c\na  b yes c \na b no c\n", {"a|b|c|1", "a|b|c|0"}},
        {"no section", "name: x\na b yes c\n", {}},
        {"commented header", "# files:\na b yes c\n", {}},
        {"empty section", "files:\n", {}},
        {"empty file", "", {}},
        {"CR LF", "files:\r\na b yes c\r\n\r\nfiles-compatible:\r\nd e no f\r\n", {"a|b|c|1"}, {"d|e|f|0"}},
        {"NUL ends a line", "files:\0x\na b yes c\0 d e\n\0bad\nd e no f\n"s, {"a|b|c|1", "d|e|f|0"}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read(row.text, kFiles), SWM_OK);
        EXPECT_EQ(filesOf(*&list), row.files);
        EXPECT_EQ(read(row.text, kCompatible), SWM_OK);
        EXPECT_EQ(filesOf(*&list), row.compatible);
        EXPECT_EQ(read(row.text, 2), SWM_OK) << "no section";
        EXPECT_EQ(list.count(), 0u);
        list.clear();
        EXPECT_EQ(SWM_GetAllFileStructureFromPkgDesc(path.c_str(), &list), SWM_OK);
        EXPECT_EQ(filesOf(*&list), row.files);
        list.clear();
        EXPECT_EQ(SWM_GetAllFileCompatFromPkgDesc(path.c_str(), &list), SWM_OK);
        EXPECT_EQ(filesOf(*&list), row.compatible);
        EXPECT_TRUE(nothingLogged());
    }
}

TEST_F(PackageDescTest, EndsOfSectionFiles)
{
    struct Row {
        const char *name;
        std::string text;
        uint32_t status;
        Texts files = {};
    };
    const Row rows[] = {
        {"bad line first", "files:\na b yes\na b yes c\n", SWM_FAIL},
        {"bad line last", "files:\na b yes c\na b yes\n", SWM_FAIL},
        {"bad line last, without a line feed", "files:\na b yes c\na b yes", SWM_OK, {"a|b|c|1"}},
        {"only a bad line, without a line feed", "files:\na b yes", SWM_OK},
        {"bad line, then a blank one without a line feed", "files:\na b yes\n ", SWM_FAIL},
        {"bad line, then a comment", "files:\na b yes\n#", SWM_FAIL},
        {"bad line, then another section", "files:\na b yes\nx:\n", SWM_FAIL},
        {"another section, then a bad line", "files:\na b yes c\nx:\na b\n", SWM_OK, {"a|b|c|1"}},
        {"bad line outside", "a b\nfiles:\na b yes c\n", SWM_OK, {"a|b|c|1"}},
        {"header without a line feed", "files:", SWM_OK},
        {"end of section without a line feed", "files:\na b yes c\nx:", SWM_OK, {"a|b|c|1"}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read(row.text), row.status);
        EXPECT_EQ(filesOf(*&list), row.files);
        EXPECT_TRUE(nothingLogged());
    }
    // The same for a record there is no memory for.
    for (const bool lineFeed : {true, false}) {
        failCall(Call::Malloc, 1);
        EXPECT_EQ(read(std::string("files:\na b yes c") + (lineFeed ? "\n" : "")), lineFeed ? SWM_FAIL : SWM_OK);
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(list.count(), 0u);
    }
}

// Pieces of 511 bytes, each a line of its own.
TEST_F(PackageDescTest, LongFileLines)
{
    const auto blanks = [](size_t number) { return std::string(number, ' '); };
    struct Row {
        const char *name;
        std::string text;
        uint32_t status;
        Texts files = {};
    };
    const Row rows[] = {
        {"a line of 511 bytes", "files:\na b yes c" + blanks(501) + "\nd e no f\n", SWM_OK, {"a|b|c|1", "d|e|f|0"}},
        {"two records in one", "files:\na b yes c" + blanks(502) + "d e no f\n", SWM_OK, {"a|b|c|1", "d|e|f|0"}},
        {"second record cut", "files:\na b yes c" + blanks(500) + "d e no f\n", SWM_FAIL},
        {"header behind the first piece", std::string(511, 'x') + "files:\na b yes c\n", SWM_OK, {"a|b|c|1"}},
        {"header cut in two", std::string(508, 'x') + "files:\na b yes c\n", SWM_OK},
        {"rest of a comment is none", "files:\n#" + std::string(510, 'x') + "a b yes c\n", SWM_OK, {"a|b|c|1"}},
        {"rest of a comment is a bad line", "files:\n#" + std::string(510, 'x') + "a b\n", SWM_FAIL},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(read(row.text), row.status);
        EXPECT_EQ(filesOf(*&list), row.files);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PackageDescTest, SectionsThatCannotBeOpenedOrRead)
{
    SwmListHead head = garbageHead();
    EXPECT_EQ(SwmGetAllFilesByTypeFromDesc((dir / "missing").c_str(), &head, kFiles), SWM_FAIL);
    EXPECT_TRUE(isEmptyList(head)) << "made empty before the file is opened";
    const fs::path directory = dir / "directory";
    fs::create_directory(directory);
    EXPECT_EQ(readFrom(directory.c_str(), kFiles), SWM_FAIL);
    EXPECT_EQ(list.count(), 0u);
    EXPECT_EQ(readFrom(fifo(), kFiles), SWM_OK) << "nobody writes: its end";
    for (unsigned nth = 1; nth <= 4; ++nth) {
        failCall(Call::Fgets, nth);
        EXPECT_EQ(read("files:\na b yes c\nd e no f\n"), SWM_FAIL) << nth;
        EXPECT_TRUE(faultHit());
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PackageDescTest, FailedClearsOfALine)
{
    const unsigned told = failedClearsToldBy("SwmGetAllFilesByTypeFromDesc", [this] {
        EXPECT_EQ(read("name\nfiles:\na b yes c\nd e no f\n"), SWM_OK);
        EXPECT_EQ(filesOf(*&list), (Texts{"a|b|c|1", "d|e|f|0"}));
    });
    EXPECT_EQ(told, 4u) << "each handled line";
}

// ---- Whole descriptions ----

const std::string kSound = "package_name: pkg\nversion: 1.0\nrequires: libA>=1;libB\n"
                           "files:\na b yes c\nfiles-compatible:\nd e no f\ng h yes i\n";

TEST_F(PackageDescTest, SoundDescription)
{
    EXPECT_EQ(readInfo(kSound), SWM_OK);
    EXPECT_STREQ(info.packageName, "pkg");
    EXPECT_STREQ(info.version, "1.0");
    EXPECT_STREQ(info.requiresText, "libA>=1;libB");
    EXPECT_EQ(filesOf(info.files), Texts{"a|b|c|1"});
    EXPECT_EQ(filesOf(info.compatibleFiles), (Texts{"d|e|f|0", "g|h|i|1"}));
    freeInfo();
    EXPECT_EQ(readInfo(""), SWM_OK) << "nothing is needed";
    EXPECT_STREQ(info.packageName, "");
    EXPECT_STREQ(info.version, "");
    EXPECT_STREQ(info.requiresText, "");
    EXPECT_TRUE(isEmptyList(info.files));
    EXPECT_TRUE(isEmptyList(info.compatibleFiles));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PackageDescTest, ReadingStopsAtTheFirstFailure)
{
    const auto tooLong = [](const char *key) {
        return errorOf("tarn_package_parse_desc_comm.cpp", "SWM_BASE",
                       "The value length of %s is not enough, len = %u, ret = %u", key, 128u, SWM_E_BUFFER_SMALL);
    };
    const std::string text128(128, 'x');
    struct Row {
        std::string text;
        Lines lines;
        const char *name;
        const char *version;
        const char *requiresText;
    };
    const Row rows[] = {
        {"package_name: " + text128 + "\n", {tooLong("package_name"), notRead("package name", path)}, "", "", ""},
        {"package_name: p\nversion: " + text128 + "\n",
         {tooLong("version"), notRead("package version", path)},
         "p",
         "",
         ""},
        {"package_name: p\nversion: 1\nrequires: " + text128 + "\n",
         {tooLong("requires"), notRead("package requires", path)},
         "p",
         "1",
         ""},
        {"package_name: p\nversion: 1\nrequires: r\nfiles:\nbad\n", {notRead("file structure", path)}, "p", "1", "r"},
        {"package_name: p\nversion: 1\nrequires: r\nfiles:\na b yes c\nfiles-compatible:\nbad\n",
         {notRead("files-compatible", path)},
         "p",
         "1",
         "r"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text.substr(0, 60));
        EXPECT_EQ(readInfo(row.text), SWM_FAIL);
        EXPECT_STREQ(info.packageName, row.name);
        EXPECT_STREQ(info.version, row.version);
        EXPECT_STREQ(info.requiresText, row.requiresText);
        EXPECT_EQ(liveBlocks(), 0);
        EXPECT_TRUE(logged(row.lines));
    }
    EXPECT_TRUE(isEmptyList(info.files)) << "freed";
    EXPECT_TRUE(isEmptyList(info.compatibleFiles));
    const char *kSteps[] = {"package name", "package version", "package requires", "file structure",
                            "files-compatible"};
    for (unsigned step = 0; step < 5; ++step) {
        failCall(Call::SwmFopen, step + 1);
        EXPECT_EQ(readInfo(kSound), SWM_FAIL);
        EXPECT_TRUE(logged({notRead(kSteps[step], path)}));
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(PackageDescTest, Release)
{
    for (const uint32_t wrongCount : {2u, 0u, 1u, 7u}) {
        ASSERT_EQ(read("files:\na b yes c\nd e no f\n"), SWM_OK);
        (&list)->count = wrongCount;
        SWM_FreeFileStructureRecord(&list);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_EQ(liveBlocks(), 0);
    }
    SWM_FreeFileStructureRecord(&list);
    list.fillWithZeros();
    SWM_FreeFileStructureRecord(&list);
    SWM_FreeFileStructureRecord(nullptr);
    EXPECT_TRUE(nothingLogged());
    list.clear();
}

TEST_F(PackageDescTest, MissingArguments)
{
    write(kSound);
    const char *file = path.c_str();
    PkgDescInfo kept = untouchedRecord<PkgDescInfo>();
    SwmListHead head = garbageHead();
    FileStructureData data = untouchedRecord<FileStructureData>();
    char line[] = "a b yes c";
    const NullRow rows[] = {
        {"SWM_GetPkgInfoFromPkgDesc", [&] { return SWM_GetPkgInfoFromPkgDesc(nullptr, &kept); }},
        {"SWM_GetPkgInfoFromPkgDesc", [&] { return SWM_GetPkgInfoFromPkgDesc("", &kept); }},
        {"SWM_GetPkgInfoFromPkgDesc", [&] { return SWM_GetPkgInfoFromPkgDesc(file, nullptr); }},
        {"SwmGetAllFilesByTypeFromDesc", [&] { return SwmGetAllFilesByTypeFromDesc(nullptr, &head, 0); }},
        {"SwmGetAllFilesByTypeFromDesc", [&] { return SwmGetAllFilesByTypeFromDesc("", &head, 1); }},
        {"SwmGetAllFilesByTypeFromDesc", [&] { return SwmGetAllFilesByTypeFromDesc(file, nullptr, 0); }},
        {"SWM_ProcFileStructureRecord", [&] { return SWM_ProcFileStructureRecord(1, nullptr, &head); }},
        {"SWM_ProcFileStructureRecord", [&] { return SWM_ProcFileStructureRecord(1, line, nullptr); }},
        {"SWM_Trans2FileStructureRecord", [&] { return SWM_Trans2FileStructureRecord(nullptr, &data); }},
        {"SWM_Trans2FileStructureRecord", [&] { return SWM_Trans2FileStructureRecord(line, nullptr); }},
        {"SWM_AddFileStructureRecord", [&] { return SWM_AddFileStructureRecord(nullptr, &data); }},
        {"SWM_AddFileStructureRecord", [&] { return SWM_AddFileStructureRecord(&head, nullptr); }},
    };
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFile, row.function)}));
    }
    EXPECT_EQ(SWM_GetAllFileStructureFromPkgDesc(nullptr, &head), SWM_FAIL);
    EXPECT_EQ(SWM_GetAllFileStructureFromPkgDesc(file, nullptr), SWM_FAIL);
    EXPECT_EQ(SWM_GetAllFileCompatFromPkgDesc(nullptr, &head), SWM_FAIL);
    EXPECT_EQ(SWM_GetAllFileCompatFromPkgDesc(file, nullptr), SWM_FAIL);
    EXPECT_EQ(takeLog().size(), 4u);
    EXPECT_TRUE(isUntouched(kept));
    EXPECT_TRUE(isUntouched(data));
    EXPECT_TRUE(isGarbageHead(head));
    EXPECT_EQ(callCount(Call::SwmFopen), 0u);
}

} // namespace
} // namespace tarn::test
