// File lists of patches: loading them, moving their directories, deleting their files.
#include <tarn_basic/pool.h>
#include <tarn_boot/descriptor.h>

#include "file_list_test.h"

namespace tarn::test {
namespace {

constexpr const char *kPatchFile = "tarn_pat_install_parse_filelist_txt.cpp";
constexpr const char *kLoad = "SWM_PAT_GetAllRecordFromFilelistTxt";
constexpr const char *kLoadKind = "TARN_PAT_OPER_InstallGetAllRecordFromBoardOrNormalFilelistTxt";

#define PATCH_ERROR(...) errorOf(kPatchFile, "SWM_BASE", __VA_ARGS__)

class PatchListTest : public FileListTest {
protected:
    uint32_t load() { return SWM_PAT_GetAllRecordFromFilelistTxt("id", "sub", path.c_str(), &list); }
    uint32_t loadKind(int32_t kind)
    {
        return TARN_PAT_OPER_InstallGetAllRecordFromBoardOrNormalFilelistTxt("id", "sub", path.c_str(), &list, kind);
    }
    Texts dirs()
    {
        Texts found;
        for (const FilelistTxtNode *node : list.records<FilelistTxtNode>()) {
            found.emplace_back(node->record.installDir);
        }
        return found;
    }
    void addDirs(const Texts &names)
    {
        clearList();
        for (const std::string &name : names) {
            const FilelistTxtRecord record = fileRecord("p", "f", name);
            ASSERT_EQ(SWM_AddFilelistTxtRecord(&list, &record), SWM_OK);
        }
    }
    std::string loadPath() const
    {
        char text[256] = "";
        EXPECT_EQ(SWM_PAT_GetPkgLoadFilePath("id", "sub", text, sizeof(text)), SWM_OK);
        return text;
    }
    LogLine loadFailed() const
    {
        return PATCH_ERROR("Locpat install, get all record from patch filelist failed! uiRet:%u.", SWM_FAIL);
    }
};

TEST_F(PatchListTest, DirectoriesAreMovedUnderTheLoadPath)
{
    write(fileLine("b", "f", "/usr/lib") + "\n" + dirLine("a", "usr/lib", "d") + "\n");
    const std::string base = loadPath();
    clearFaults();
    recordCalls({Call::GetLoadPath});
    EXPECT_EQ(load(), SWM_OK);
    EXPECT_EQ(recordedCalls(), Texts{"SWM_PAT_GetPkgLoadFilePath id sub 256"});
    EXPECT_EQ(texts(), (Texts{"a d", "b f"}));
    EXPECT_EQ(dirs(), (Texts{base + "/usr/lib", base + "//usr/lib"}));
    EXPECT_EQ(callCount(Call::CreateDirWithPermission) + callCount(Call::CreateDirWithCustomPermission), 0u);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PatchListTest, Kinds)
{
    write(fileLine("a", "f", "usr/lib") + "\n");
    const std::string base = loadPath();
    for (const int32_t kind : {1, 2}) {
        clearFaults();
        EXPECT_EQ(loadKind(kind), SWM_OK);
        EXPECT_EQ(dirs(), Texts{"usr/lib"});
        EXPECT_EQ(callCount(Call::GetLoadPath), 0u);
        clearList();
    }
    for (const int32_t kind : {0, 3, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(loadKind(kind), SWM_OK);
        EXPECT_EQ(dirs(), Texts{base + "/usr/lib"}) << kind;
        clearList();
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PatchListTest, FailedLoads)
{
    write(fileLine("a") + "\nbad");
    EXPECT_EQ(load(), SWM_FAIL);
    EXPECT_TRUE(logged(badLine("bad") + Lines{loadFailed()}));
    EXPECT_TRUE(isEmptyList(*&list));
    for (const int32_t kind : {1, 2}) {
        EXPECT_EQ(loadKind(kind), SWM_FAIL);
        EXPECT_TRUE(
            logged(badLine("bad") + Lines{PATCH_ERROR("DISTREPO_CLIENT, get all record from patch board filelist "
                                                      "failed! filelist path = %s, uiRet = %u.",
                                                      path.c_str(), SWM_FAIL)}));
    }
    EXPECT_EQ(loadKind(0), SWM_FAIL);
    EXPECT_TRUE(logged(badLine("bad") +
                       Lines{loadFailed(), PATCH_ERROR("DISTREPO_CLIENT, get all record from patch filelist failed! "
                                                       "patch filelist path = %s, uiRet = %u.",
                                                       path.c_str(), SWM_FAIL)}));
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_EQ(callCount(Call::GetLoadPath), 0u);
}

TEST_F(PatchListTest, TheLoadPathsResultIsNotLookedAt)
{
    write(fileLine("a", "f", "usr"));
    failCall(Call::GetLoadPath, 1);
    EXPECT_EQ(load(), SWM_OK);
    EXPECT_EQ(dirs(), Texts{"/usr"}) << "from a zeroed buffer";
    EXPECT_TRUE(nothingLogged());
    clearList();
    EXPECT_EQ(SWM_PAT_GetAllRecordFromFilelistTxt(nullptr, nullptr, path.c_str(), &list), SWM_OK);
    EXPECT_EQ(list.count(), 1u);
}

TEST_F(PatchListTest, Rewrite)
{
    SWM_PAT_OPER_Install_FilePathAdapt("/opt/p", &list);
    addDirs({"usr/lib", "/usr/lib", ""});
    SWM_PAT_OPER_Install_FilePathAdapt("/opt/p", &list);
    EXPECT_EQ(dirs(), (Texts{"/opt/p/usr/lib", "/opt/p//usr/lib", "/opt/p/"}));
    const FilelistTxtRecord &first = list.records<FilelistTxtNode>().front()->record;
    FilelistTxtRecord expected = fileRecord("p", "f", "/opt/p/usr/lib");
    EXPECT_EQ(memcmp(&first, &expected, sizeof(first)), 0) << "zeroes behind it, other fields as they were";
    EXPECT_TRUE(nothingLogged());
    for (const size_t length : {252u, 253u, 254u, 255u}) {
        const std::string name(length, 'd');
        addDirs({name});
        SWM_PAT_OPER_Install_FilePathAdapt("/", &list);
        EXPECT_EQ(dirs(), Texts{("//" + name).substr(0, 255)});
        EXPECT_TRUE(length <= 253 ? nothingLogged()
                                  : logged({copyWarning("snprintf", "SWM_PAT_OPER_Install_FilePathAdapt")}));
    }
    addDirs({"usr"});
    failCall(Call::Memset, 1);
    SWM_PAT_OPER_Install_FilePathAdapt("/opt", &list);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("memset", "SWM_PAT_OPER_Install_FilePathAdapt")}));
    EXPECT_EQ(dirs(), Texts{"/opt/usr"});
}

TEST_F(PatchListTest, AListWithoutACountIsLeftAlone)
{
    addDirs({"usr"});
    (&list)->count = 0;
    SWM_PAT_OPER_Install_FilePathAdapt("/opt", &list);
    (&list)->count = 1;
    EXPECT_EQ(dirs(), Texts{"usr"});
}

class PatchDeleteTest : public PatchListTest {
protected:
    const std::string root = (dir / "root").string();
    uint32_t remove() { return SWM_PAT_DelFeatureLocalFiles(nullptr, nullptr, &list); }
    void add(const std::string &name)
    {
        const FilelistTxtRecord record = fileRecord("p", name, root);
        ASSERT_EQ(SWM_AddFilelistTxtRecord(&list, &record), SWM_OK);
    }
    void SetUp() override
    {
        PatchListTest::SetUp();
        fs::create_directories(root + "/dir");
        for (const char *name : {"a", "missing", "dir", "link", "b", "c"}) {
            add(name);
        }
        for (const char *name : {"a", "b", "c", "kept"}) {
            writeFile(root + "/" + name, "x");
        }
        fs::create_symlink(root + "/kept", root + "/link");
        clearFaults();
    }
};

TEST_F(PatchDeleteTest, RegularFilesOnly)
{
    EXPECT_EQ(remove(), SWM_OK);
    for (const char *name : {"a", "b", "c"}) {
        EXPECT_FALSE(fs::exists(root + "/" + name));
    }
    EXPECT_TRUE(fs::exists(root + "/kept"));
    EXPECT_TRUE(fs::is_symlink(root + "/link"));
    EXPECT_TRUE(fs::exists(root + "/dir"));
    EXPECT_EQ(list.count(), 6u);
    EXPECT_EQ(remove(), SWM_OK) << "nothing left";
    clearList();
    EXPECT_EQ(remove(), SWM_OK);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PatchDeleteTest, StopsAtTheFirstFailure)
{
    failCall(Call::Unlink, 2, EPERM);
    EXPECT_EQ(remove(), SWM_FAIL);
    EXPECT_TRUE(logged({PATCH_ERROR("Failed to delete file[%s], errno = %d", (root + "/b").c_str(), EPERM)}));
    EXPECT_FALSE(fs::exists(root + "/a"));
    EXPECT_TRUE(fs::exists(root + "/b"));
    EXPECT_TRUE(fs::exists(root + "/c"));
}

TEST_F(PatchDeleteTest, AFailedPrintIsWarnedAbout)
{
    failCall(Call::Snprintf, 1);
    EXPECT_EQ(remove(), SWM_OK);
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_PAT_DelFeatureLocalFiles")}));
    EXPECT_TRUE(fs::exists(root + "/a")) << "its path is empty";
    EXPECT_FALSE(fs::exists(root + "/b"));
}

TEST_F(PatchListTest, NullArguments)
{
    const auto nothing = [](const auto &call) { return call(), SWM_FAIL; };
    const NullRow rows[] = {
        {kLoad, [&] { return SWM_PAT_GetAllRecordFromFilelistTxt("a", "b", nullptr, &list); }},
        {kLoad, [&] { return SWM_PAT_GetAllRecordFromFilelistTxt("a", "b", "", &list); }},
        {kLoad, [&] { return SWM_PAT_GetAllRecordFromFilelistTxt("a", "b", "x", nullptr); }},
        {kLoadKind,
         [&] { return TARN_PAT_OPER_InstallGetAllRecordFromBoardOrNormalFilelistTxt("a", "b", nullptr, &list, 1); }},
        {kLoadKind,
         [&] { return TARN_PAT_OPER_InstallGetAllRecordFromBoardOrNormalFilelistTxt("a", "b", "x", nullptr, 0); }},
        {"SWM_PAT_DelFeatureLocalFiles", [&] { return SWM_PAT_DelFeatureLocalFiles("a", "b", nullptr); }},
        {"SWM_PAT_OPER_Install_FilePathAdapt",
         [&] { return nothing([&] { SWM_PAT_OPER_Install_FilePathAdapt(nullptr, &list); }); }},
        {"SWM_PAT_OPER_Install_FilePathAdapt",
         [&] { return nothing([] { SWM_PAT_OPER_Install_FilePathAdapt("x", nullptr); }); }},
    };
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kPatchFile, row.function)}));
    }
}

} // namespace
} // namespace tarn::test
