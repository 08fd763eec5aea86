// File lists: the directories they name, and loading a list with them.
#include "file_list_test.h"

namespace tarn::test {
namespace {

struct Creator {
    const char *function;
    uint32_t (*create)(const SwmListHead *list);
    bool custom;

    Call call() const { return custom ? Call::CreateDirWithCustomPermission : Call::CreateDirWithPermission; }
    std::string made(const std::string &path, const std::string &mode) const
    {
        return nameOf(call()) + (" " + path) + (custom ? " " : " 2 ") + mode + " NA NA";
    }
};

constexpr Creator kCreators[] = {
    {"SWM_CreateAllDir", &SWM_CreateAllDir, false},
    {"SWM_CreateAllDirEx", &SWM_CreateAllDirEx, true},
};

class DirectoryTest : public FileListTest, public testing::WithParamInterface<Creator> {
protected:
    static constexpr std::initializer_list<Call> kSteps = {Call::Trans2AbsolutePath, Call::PkgSpecialDirHandler,
                                                           Call::CreateDirWithPermission,
                                                           Call::CreateDirWithCustomPermission};

    void read(const std::string &text)
    {
        write(text);
        clearList();
        ASSERT_EQ(SWM_GetAllRecordFromFilelistTxtNoCreateDir(path.c_str(), &list), SWM_OK);
    }
    std::string place(const std::string &name) const { return (dir / "root" / name).string(); }
    LogLine notMade(const std::string &name) const
    {
        return FILE_LIST_ERROR("%s:mkdir %s failed", GetParam().function, name.c_str());
    }
};

TEST_P(DirectoryTest, InListOrder)
{
    const std::string root = place("");
    read(dirLine("2", root, "b") + "\n" + fileLine("15", "f", root) + "\n" + dirLine("1", root, "a", "0", "700") +
         "\n" + dirLine("3", root, "no", "1") + "\n" + dirLine("4", root + "a", "deep") + "\n");
    recordCalls(kSteps);
    EXPECT_EQ(GetParam().create(&list), SWM_OK);
    Texts expected;
    for (const auto &[name, mode] : {std::pair("/a", "448"), std::pair("/b", "488"), std::pair("a/deep", "488")}) {
        const std::string made = root + name;
        const std::string plain = fs::path(made).lexically_normal();
        expected.insert(expected.end(), {"SWM_Trans2AbsolutePath " + made, "SWM_PkgSpecialDirHandler " + plain,
                                         GetParam().made(plain, mode)});
    }
    EXPECT_EQ(recordedCalls(), expected);
    EXPECT_EQ(modeOf(place("a")), 0700u);
    EXPECT_TRUE(fs::is_directory(place("a/deep")));
    EXPECT_FALSE(fs::exists(place("no")));
    EXPECT_FALSE(fs::exists(place("f")));
    EXPECT_TRUE(nothingLogged());
}

TEST_P(DirectoryTest, TheFirstFailureEndsIt)
{
    const std::string root = place("x");
    read(dirLine("1", root, "a") + "\n" + dirLine("2", root, "b") + "\n" + dirLine("3", root, "c") + "\n");
    failCall(GetParam().call(), 2);
    EXPECT_EQ(GetParam().create(&list), SWM_FAIL);
    EXPECT_TRUE(logged({notMade(root + "/b")}));
    EXPECT_TRUE(fs::exists(root + "/a")) << "stays";
    EXPECT_FALSE(fs::exists(root + "/c"));
    EXPECT_EQ(texts().size(), 3u);
}

TEST_P(DirectoryTest, ACutPathIsWarnedAbout)
{
    const std::string parent(255, 'd');
    for (const size_t length : {127u, 126u}) {
        FilelistTxtRecord record = fileRecord("p", std::string(length, 'n'), parent);
        record.isDir = 1;
        record.mode = 0750;
        const reference::BorrowedList<FilelistTxtNode> one({record});
        const bool cut = parent.size() + 1 + length > 383;
        const LogLine custom = {0, SWM_LOG_WARNING, "[BOOT][SWM_COMMON][WARNING]: snprintf failed. strings :%s and %s.",
                                "[BOOT][SWM_COMMON][WARNING]: snprintf failed. strings :" + parent + " and " +
                                    record.fileName + "."};
        recordCalls({Call::Trans2AbsolutePath});
        onCall(Call::Trans2AbsolutePath, 1, [] {});
        failCallToo(GetParam().call(), 1);
        GetParam().create(&one.head);
        EXPECT_EQ(recordedCalls(), Texts{"SWM_Trans2AbsolutePath " + (parent + "/" + record.fileName).substr(0, 383)});
        const std::vector<LogLine> lines = takeLog();
        EXPECT_EQ(lines.size(), cut ? 2u : 1u);
        EXPECT_EQ(lines.front().format, !cut ? "[BOOT][SWM_BASE][ERROR][%s:%d]: %s:mkdir %s failed"
                                        : GetParam().custom
                                            ? custom.format
                                            : "[BOOT][SWM_COMMON][WARNING]: snprintf failed: %s, line: %d");
        EXPECT_TRUE(!cut || !GetParam().custom || lines.front().text == custom.text);
    }
}

TEST_P(DirectoryTest, AnEmptyList)
{
    EXPECT_EQ(GetParam().create(&list), SWM_OK);
    EXPECT_TRUE(nothingLogged());
}

INSTANTIATE_TEST_SUITE_P(Both, DirectoryTest, testing::ValuesIn(kCreators),
                         [](const auto &row) { return std::string(row.param.function + 4); });

// ---- Loading with directories ----

struct Loader {
    const char *name;
    uint32_t (*load)(const char *path, SwmListHead *list);
    const Creator *creator;
};

uint32_t loadPlain(const char *path, SwmListHead *list)
{
    return SWM_GetAllRecordFromFilelistTxtCommProc(path, list, SWM_ComparebyPoolname, 0);
}

int32_t unwantedComparison(const FilelistTxtRecord *, const FilelistTxtRecord *)
{
    ADD_FAILURE() << "must not be called";
    return 0;
}

uint32_t loadCustom(const char *path, SwmListHead *list)
{
    return SWM_GetAllRecordFromFilelistTxtCommProc(path, list, unwantedComparison, 7);
}

const Loader kLoaders[] = {
    {"NoCreateDir", &SWM_GetAllRecordFromFilelistTxtNoCreateDir, nullptr},
    {"Plain", &loadPlain, &kCreators[0]},
    {"Custom", &loadCustom, &kCreators[1]},
    {"Usual", &SWM_GetAllRecordFromFilelistTxt, &kCreators[1]},
    {"WithoutSort", &SWM_GetAllRecordFromFilelistTxtWithoutSort, &kCreators[0]},
};

class LoaderTest : public FileListTest, public testing::WithParamInterface<Loader> {
protected:
    uint32_t load() { return GetParam().load(path.c_str(), &list); }
    Lines failure(const Lines &lines) const
    {
        return GetParam().creator == nullptr ? lines : lines + Lines{loadRefused()};
    }
    const std::string root = (dir / "root").string();
};

TEST_P(LoaderTest, SortedAndWithDirectories)
{
    write(fileLine("b") + "\n" + dirLine("c", root, "made") + "\n" + fileLine("a") + "\n" + fileLine("b", "2") + "\n");
    (&list)->count = 17; // whatever it held is lost
    (&list)->next = nullptr;
    EXPECT_EQ(load(), SWM_OK);
    EXPECT_EQ(texts(), (Texts{"a f", "b 2", "b f", "c made"}));
    EXPECT_EQ(fs::exists(root + "/made"), GetParam().creator != nullptr);
    EXPECT_EQ(callCount(Call::CreateDirWithPermission), GetParam().creator == &kCreators[0] ? 1u : 0u);
    EXPECT_EQ(callCount(Call::CreateDirWithCustomPermission), GetParam().creator == &kCreators[1] ? 1u : 0u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(FileListTest, TheTwoUsualLoadersDifferOnlyInHowTheyMakeDirectories)
{
    const std::string root = (dir / "root").string();
    write(fileLine("b") + "\n" + dirLine("c", root, "made") + "\n" + fileLine("a") + "\n");
    EXPECT_EQ(SWM_GetAllRecordFromFilelistTxt(path.c_str(), &list), SWM_OK);
    EXPECT_EQ(callCount(Call::CreateDirWithCustomPermission), 1u);
    EXPECT_EQ(callCount(Call::CreateDirWithPermission), 0u);
    const Texts usual = texts();
    fs::remove_all(root);
    clearList();
    EXPECT_EQ(SWM_GetAllRecordFromFilelistTxtWithoutSort(path.c_str(), &list), SWM_OK);
    EXPECT_EQ(callCount(Call::CreateDirWithCustomPermission), 1u);
    EXPECT_EQ(callCount(Call::CreateDirWithPermission), 1u);
    EXPECT_EQ(texts(), usual);
    EXPECT_EQ(usual, (Texts{"a f", "b f", "c made"}));
    EXPECT_TRUE(fs::is_directory(root + "/made"));
}

TEST_P(LoaderTest, AFailedDirectoryDoesNotFailTheLoad)
{
    write(dirLine("b", root, "made") + "\n" + fileLine("a") + "\n");
    if (GetParam().creator == nullptr) {
        EXPECT_EQ(load(), SWM_OK);
        return;
    }
    failCall(GetParam().creator->call(), 1);
    EXPECT_EQ(load(), SWM_OK);
    EXPECT_TRUE(logged(
        {FILE_LIST_ERROR("%s:mkdir %s failed", GetParam().creator->function, (root + "/made").c_str()),
         FILE_LIST_ERROR("%s:create all dirent by filelist failed", "SWM_GetAllRecordFromFilelistTxtCommProc")}));
    EXPECT_EQ(texts(), (Texts{"a f", "b made"}));
}

TEST_P(LoaderTest, EmptyAfterAFailure)
{
    for (const char *bad : {"bad\n", "bad"}) {
        write(dirLine("b", root, "made") + "\n" + fileLine("a") + "\n" + bad);
        EXPECT_EQ(load(), SWM_FAIL);
        EXPECT_TRUE(isEmptyList(*&list));
        EXPECT_TRUE(logged(failure(badLine("bad"))));
        EXPECT_EQ(liveBlocks(), 0);
    }
    write("");
    EXPECT_EQ(load(), SWM_FAIL);
    EXPECT_TRUE(logged(
        failure({FILE_LIST_ERROR("SwmLoadFileContent get file size not correct, file=%s size=%d.", path.c_str(), 0)})));
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_FALSE(fs::exists(root));
    write("\n \n");
    EXPECT_EQ(load(), SWM_OK);
    EXPECT_TRUE(isEmptyList(*&list));
}

TEST_P(LoaderTest, NullArguments)
{
    const std::string function =
        std::string("SWM_GetAllRecordFromFilelistTxt") + (GetParam().creator == nullptr ? "NoCreateDir" : "CommProc");
    const LogLine line = nullParamOf(kFileListFile, function);
    (&list)->count = 17;
    for (const auto &call : {std::function([&] { return GetParam().load(nullptr, &list); }),
                             std::function([&] { return GetParam().load("", &list); }),
                             std::function([&] { return GetParam().load("x", nullptr); })}) {
        EXPECT_EQ(call(), SWM_FAIL);
        EXPECT_TRUE(logged({line}));
    }
    EXPECT_EQ(list.count(), 17u);
    (&list)->count = 0;
    EXPECT_EQ(callCount(Call::GetFileSize), 0u);
}

INSTANTIATE_TEST_SUITE_P(All, LoaderTest, testing::ValuesIn(kLoaders),
                         [](const auto &row) { return std::string(row.param.name); });

} // namespace
} // namespace tarn::test
