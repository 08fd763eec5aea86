// File lists: what an installed record and a new one mean for each other, and comparing whole lists. Long and untidy
// lists are held against the plain algorithms.
#include <random>

#include <tarn_basic/crypto.h>

#include "../fuzz/list_update_reference.h"
#include "file_list_test.h"

namespace tarn::test {
namespace {

// ---- One pair ----

class UpdateTypeTest : public FileListTest {
protected:
    const std::string root = (dir / "root").string();
    FilelistTxtRecord installed; // a sound file
    FilelistTxtRecord wanted;

    void SetUp() override
    {
        FileListTest::SetUp();
        fs::create_directories(root + "/patch/1");
        installed = wanted = install(root, "file");
    }
    // A record with the digest of "content".
    FilelistTxtRecord recordOf(const std::string &where, const std::string &name) const
    {
        FilelistTxtRecord record = fileRecord("p", name, where);
        SWM_GetShaVal("ed7002b439e9ac845f22357d822bac1444730fbdb6016d3ec9432297b9ec9f73", record.digest, 32);
        return record;
    }
    FilelistTxtRecord install(const std::string &where, const std::string &name) const
    {
        writeFile(where + "/" + name, "content");
        return recordOf(where, name);
    }
    uint32_t type() const { return SWM_GetTxtRecordUpdateType(&installed, &wanted); }
    uint32_t typeOfLink(const std::string &where, const std::string &target)
    {
        fs::remove(where + "/link");
        fs::create_symlink(target, where + "/link");
        installed = wanted = recordOf(where, "link");
        return type();
    }
};

TEST_F(UpdateTypeTest, NamesThenDigests)
{
    EXPECT_EQ(type(), UPDATE_SAME);
    wanted.hasCol10 = 1;
    EXPECT_EQ(type(), UPDATE_REFRESH);
    installed.hasCol10 = 1;
    wanted.hasCol10 = 0;
    EXPECT_EQ(type(), UPDATE_SAME) << "the new record's option text counts";
    wanted.hasCol10 = 7;
    EXPECT_EQ(type(), UPDATE_REFRESH);
    wanted.digest[31] ^= 1;
    EXPECT_EQ(type(), UPDATE_MODIFY);
    for (const auto &[oldPool, newPool, expected] :
         {std::tuple("a", "b", UPDATE_DEL), std::tuple("b", "a", UPDATE_ADD), std::tuple("a", "ab", UPDATE_DEL),
          std::tuple("\x80", "z", UPDATE_ADD), std::tuple("z", "\x80", UPDATE_DEL),
          std::tuple("", "", UPDATE_MODIFY)}) {
        strcpy(installed.poolName, oldPool);
        strcpy(wanted.poolName, newPool);
        EXPECT_EQ(type(), expected) << oldPool << " " << newPool;
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(UpdateTypeTest, TheInstalledFile)
{
    strcpy(wanted.installDir, "elsewhere");
    strcpy(wanted.fileName, "other");
    EXPECT_EQ(type(), UPDATE_SAME) << "where the old record has it";
    writeFile(root + "/file", "damaged");
    EXPECT_EQ(type(), UPDATE_MODIFY);
    wanted.hasCol10 = 1;
    EXPECT_EQ(type(), UPDATE_MODIFY) << "before the option text";
    fs::remove(root + "/file");
    EXPECT_EQ(type(), UPDATE_ADD);
    fs::create_directories(root + "/file");
    EXPECT_EQ(type(), UPDATE_MODIFY) << "a directory has no digest";
    EXPECT_TRUE(nothingLogged());
}

TEST_F(UpdateTypeTest, Links)
{
    const std::string patch = root + "/patch/1";
    install(patch, "inside");
    install(root, "outside");
    fs::create_directories(root + "/patch/12");
    install(root + "/patch/12", "beside");
    writeFile(patch + "/bad", "damaged");
    EXPECT_EQ(typeOfLink(root, root + "/outside"), UPDATE_SAME) << "no patch";
    EXPECT_EQ(typeOfLink(patch, patch + "/inside"), UPDATE_SAME);
    EXPECT_EQ(typeOfLink(patch, "inside"), UPDATE_SAME);
    EXPECT_EQ(typeOfLink(patch, patch + "/bad"), UPDATE_MODIFY) << "inside, then by digest";
    EXPECT_EQ(typeOfLink(patch, root + "/outside"), UPDATE_ADD);
    EXPECT_EQ(typeOfLink(patch, "../../outside"), UPDATE_ADD);
    EXPECT_EQ(typeOfLink(patch, root + "/patch/12/beside"), UPDATE_SAME) << "a plain prefix";
    EXPECT_EQ(typeOfLink(patch, "missing"), UPDATE_ADD) << "a dangling link does not exist";
    wanted.hasCol10 = 1;
    EXPECT_EQ(type(), UPDATE_ADD);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(UpdateTypeTest, WhatThePlatformAnswers)
{
    const std::string patch = root + "/patch/1";
    install(patch, "inside");
    ASSERT_EQ(typeOfLink(patch, "inside"), UPDATE_SAME);
    struct Row {
        Call call;
        long answer;
        uint32_t type;
    };
    const Row rows[] = {
        {Call::SwmIsFileExist, 0, UPDATE_ADD},    {Call::SwmIsFileExist, 7, UPDATE_SAME},
        {Call::GetDirname, 1, UPDATE_ADD},        {Call::GetLinkInfo, 1, UPDATE_ADD},
        {Call::IsSymlinkFile, 0, UPDATE_SAME},    {Call::IsSymlinkFile, 1, UPDATE_SAME},
        {Call::IsFileDamaged2, 1, UPDATE_MODIFY}, {Call::IsFileDamaged2, 7, UPDATE_MODIFY},
        {Call::IsFileDamaged2, 0, UPDATE_SAME},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(nameOf(row.call)) + " " + std::to_string(row.answer));
        setScribble(true);
        failCall(row.call, 1);
        setFaultResult(row.answer);
        EXPECT_EQ(type(), row.type);
        EXPECT_TRUE(faultHit());
    }
    clearFaults();
    const std::string link = patch + "/link";
    recordCalls({Call::SwmIsFileExist, Call::IsSymlinkFile, Call::GetDirname, Call::GetLinkInfo, Call::IsFileDamaged2});
    EXPECT_EQ(type(), UPDATE_SAME);
    EXPECT_EQ(recordedCalls(),
              (Texts{"SWM_IsFileExist " + link, "SWM_IsSymlinkFile " + link, "SWM_GetDirname " + link + " 256",
                     "TARN_GetLinkInfo " + link + " 384", "SWM_SHA_IsFileDamaged2 " + link + " 32"}));
    wanted.digest[0] ^= 1;
    EXPECT_EQ(type(), UPDATE_MODIFY);
    strcpy(wanted.poolName, "q");
    EXPECT_EQ(type(), UPDATE_DEL);
    EXPECT_EQ(callCount(Call::SwmIsFileExist), 1u) << "different records need no file";
}

TEST_F(UpdateTypeTest, ACutPathIsWarnedAbout)
{
    installed = wanted = fileRecord("p", std::string(127, 'n'), std::string(255, 'd'));
    EXPECT_EQ(type(), UPDATE_ADD) << "383 bytes fit";
    EXPECT_TRUE(nothingLogged());
    failCall(Call::Snprintf, 1);
    EXPECT_EQ(type(), UPDATE_ADD);
    EXPECT_TRUE(logged({copyWarning("snprintf", "SWM_GetTxtRecordUpdateType")}));
}

// ---- Whole lists ----

class CompareTest : public UpdateTypeTest {
protected:
    SwmListHead updates = {nullptr, nullptr, 17};
    SwmListHead deletions = {nullptr, nullptr, 17};

    uint32_t compare(const FileRecords &oldRecords, const FileRecords &newRecords)
    {
        const reference::BorrowedList<FilelistTxtNode> oldList(oldRecords);
        const reference::BorrowedList<FilelistTxtNode> newList(newRecords);
        const uint32_t status = SWM_GetAllRecordNeedUpdate(&oldList.head, &newList.head, &updates, &deletions);
        EXPECT_TRUE(isEqual(oldList.head, oldRecords)) << "left as it was";
        EXPECT_TRUE(isEqual(newList.head, newRecords)) << "left as it was";
        return status;
    }
    // Whole records, in order.
    static bool isEqual(const SwmListHead &head, const FileRecords &expected)
    {
        const auto found = List::recordsOf<FilelistTxtNode>(head);
        return std::equal(found.begin(), found.end(), expected.begin(), expected.end(),
                          [](const FilelistTxtNode *node, const FilelistTxtRecord &record) {
                              return memcmp(&node->record, &record, sizeof(record)) == 0;
                          });
    }
    void release()
    {
        SWM_FreeFilelistTxtRecord(&updates);
        SWM_FreeFilelistTxtRecord(&deletions);
    }
    FilelistTxtRecord sound(const std::string &pool, bool refreshed = false) const
    {
        FilelistTxtRecord record = recordOf(root, "file");
        strcpy(record.poolName, pool.c_str());
        record.hasCol10 = refreshed ? 1 : 0;
        return record;
    }
    FilelistTxtRecord missing(const std::string &pool) const { return fileRecord(pool, "none", root); }
    FilelistTxtRecord changed(const std::string &pool) const { return fileRecord(pool, "file", root, 1); }
};

TEST_F(CompareTest, UpdatesAndDeletions)
{
    struct Row {
        const char *name;
        FileRecords oldRecords;
        FileRecords newRecords;
        FileRecords updates;
        FileRecords deletions;
    };
    const auto s = [&](const char *pool) { return sound(pool); };
    const auto r = [&](const char *pool) { return sound(pool, true); };
    const auto m = [&](const char *pool) { return missing(pool); };
    const auto c = [&](const char *pool) { return changed(pool); };
    const Row rows[] = {
        {"nothing", {}, {}, {}, {}},
        {"equal", {s("a"), s("b")}, {s("a"), s("b")}, {}, {}},
        {"no old list", {}, {m("a"), m("b")}, {m("a"), m("b")}, {}},
        {"no new list", {m("a"), m("b")}, {}, {}, {m("a"), m("b")}},
        {"only in the new list", {s("b")}, {m("a"), s("b"), m("c")}, {m("a"), m("c")}, {}},
        {"only in the old list", {m("a"), s("b"), m("c")}, {s("b")}, {}, {m("a"), m("c")}},
        {"another digest", {s("a"), s("b")}, {c("a"), s("b")}, {c("a")}, {}},
        {"missing, last", {m("a")}, {m("a")}, {m("a")}, {m("a")}},
        {"missing, before another", {m("a"), s("b")}, {m("a"), s("b")}, {m("a")}, {m("a")}},
        {"refreshed", {s("a"), s("b")}, {r("a"), s("b")}, {r("a")}, {s("a")}},
        {"old record meets an equal name again", {m("a"), s("b")}, {m("a"), c("a"), s("b")}, {m("a"), c("a")}, {}},
        {"missing twice", {m("a"), m("a")}, {m("a"), m("a")}, {m("a")}, {m("a")}},
        {"duplicates in the rest", {m("a"), m("a"), m("b")}, {}, {}, {m("a"), m("b")}},
        {"duplicates in the new rest", {}, {m("a"), m("a"), c("a"), m("a")}, {m("a"), c("a")}, {}},
        {"unsorted lists", {s("b"), s("a")}, {s("a"), s("b")}, {s("a")}, {s("a")}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(compare(row.oldRecords, row.newRecords), SWM_OK);
        EXPECT_TRUE(isEqual(updates, row.updates));
        EXPECT_TRUE(isEqual(deletions, row.deletions));
        release();
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(CompareTest, FailedAdditions)
{
    const FileRecords first = {missing("a"), missing("b"), sound("m")};
    const FileRecords second = {missing("c"), missing("d"), sound("m")};
    failCall(Call::Malloc, 2, ENOMEM);
    EXPECT_EQ(compare(first, second), SWM_OK) << "ignored in the walk";
    EXPECT_TRUE(isEqual(deletions, {missing("a")}));
    EXPECT_TRUE(isEqual(updates, {missing("c"), missing("d")}));
    release();
    for (const bool inOld : {true, false}) {
        failCall(Call::Malloc, 2, ENOMEM);
        const FileRecords records = {missing("a"), missing("b"), missing("c")};
        EXPECT_EQ(inOld ? compare(records, {}) : compare({}, records), SWM_FAIL) << "the remainder's failure counts";
        EXPECT_TRUE(isEqual(deletions, inOld ? FileRecords{missing("a")} : FileRecords()));
        EXPECT_TRUE(isEqual(updates, inOld ? FileRecords() : FileRecords{missing("a")}));
        release();
    }
    // The old remainder fails: the new one is not added.
    failCall(Call::Malloc, 2, ENOMEM);
    EXPECT_EQ(compare({missing("a")}, {missing("a"), missing("b")}), SWM_OK);
    release();
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(CompareTest, NullLists)
{
    const reference::BorrowedList<FilelistTxtNode> one({missing("a")});
    const auto expectRefused = [&](const char *function, uint32_t status) {
        EXPECT_EQ(status, SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFileListFile, function)}));
    };
    constexpr const char *kWalk = "SWM_GetAllRecordNeedUpdate";
    expectRefused(kWalk, SWM_GetAllRecordNeedUpdate(nullptr, &one.head, &updates, &deletions));
    expectRefused(kWalk, SWM_GetAllRecordNeedUpdate(&one.head, nullptr, &updates, &deletions));
    expectRefused(kWalk, SWM_GetAllRecordNeedUpdate(&one.head, &one.head, nullptr, &deletions));
    expectRefused(kWalk, SWM_GetAllRecordNeedUpdate(&one.head, &one.head, &updates, nullptr));
    EXPECT_EQ(updates.count, 17u);
    EXPECT_EQ(deletions.count, 17u);
    constexpr const char *kAdd = "SWM_AddSrcFileListToDstFileList";
    expectRefused(kAdd, SWM_AddSrcFileListToDstFileList(nullptr, &list, one.nodes.data()));
    expectRefused(kAdd, SWM_AddSrcFileListToDstFileList(&one.head, nullptr, one.nodes.data()));
    EXPECT_EQ(SWM_AddSrcFileListToDstFileList(&one.head, &list, nullptr), SWM_OK) << "nothing to add";
    EXPECT_TRUE(isEmptyList(*&list));
    EXPECT_TRUE(nothingLogged());
}

// ---- Against the plain algorithms ----

class PlainAlgorithmTest : public CompareTest {
protected:
    std::mt19937 random{7};

    size_t pick(size_t number) { return static_cast<size_t>(random() % number); }
    std::string pool()
    {
        static const std::string kPrefixes[] = {"", "p", "pool/", "pool/lib/long/common/", "\xff\x80", "pool/\x80"};
        static const std::string kRests[] = {"", "a", "b", "ab", "\x7f", "\x80", "\xff", "aaaaaaa", "aaaaaab"};
        const std::string name = kPrefixes[pick(6)] + kRests[pick(9)] + (pick(3) == 0 ? kRests[pick(9)] : "");
        return name.empty() ? "x" : name;
    }
    FileRecords someRecords(bool sorted)
    {
        FileRecords records;
        const bool fewNames = pick(2) == 0;
        for (size_t left = pick(4) == 0 ? 0 : pick(50); left > 0; --left) {
            const std::string name = fewNames ? std::string(1, static_cast<char>(0x7E + pick(4))) : pool();
            FilelistTxtRecord record = pick(2) == 0 ? sound(name, pick(4) == 0) : missing(name);
            if (pick(4) == 0) {
                record = changed(name);
            }
            record.col5Num = static_cast<int32_t>(pick(3)); // tells equal records apart
            records.push_back(record);
        }
        if (sorted) {
            std::stable_sort(records.begin(), records.end(),
                             [](const auto &a, const auto &b) { return strcmp(a.poolName, b.poolName) < 0; });
        }
        return records;
    }
    // Before the first that is not smaller, else at the end.
    static void insertPlainly(FileRecords &records, const FilelistTxtRecord &record)
    {
        const auto place = std::find_if(records.begin(), records.end(), [&](const FilelistTxtRecord &existing) {
            return strcmp(record.poolName, existing.poolName) <= 0;
        });
        records.insert(place, record);
    }
};

TEST_F(PlainAlgorithmTest, Loading)
{
    for (int round = 0; round < 1500; ++round) {
        FileRecords expected;
        std::string text;
        const size_t lines = pick(20) == 0 ? 1000 : pick(60);
        const bool bad = pick(8) == 0;
        for (size_t line = 0; line < lines; ++line) {
            const std::string name = pool();
            std::string converted = fileLine(name, std::to_string(line));
            text += converted + "\n";
            FilelistTxtRecord record;
            ASSERT_EQ(SWM_Trans2FilelistTxtRecord(converted.data(), &record), SWM_OK);
            insertPlainly(expected, record);
        }
        write(text + (bad ? "bad\n" + fileLine("a") : " "));
        ASSERT_EQ(SwmLoadFileToList(path.c_str(), &list, SWM_ComparebyPoolname), bad ? SWM_FAIL : SWM_OK);
        ASSERT_TRUE(isEqual(*&list, expected)) << text;
        clearList();
    }
    takeLog();
}

TEST_F(PlainAlgorithmTest, InsertingOneByOne)
{
    for (int round = 0; round < 300; ++round) {
        FileRecords expected;
        for (const FilelistTxtRecord &record : someRecords(false)) {
            auto *node = static_cast<FilelistTxtNode *>(malloc(sizeof(FilelistTxtNode)));
            node->record = record;
            const bool append = pick(5) == 0;
            ASSERT_EQ(SWM_InsertFilelistTxtRecord(&list, node, append ? nullptr : SWM_ComparebyPoolname), SWM_OK);
            append ? expected.push_back(record) : insertPlainly(expected, record);
            ASSERT_TRUE(isEqual(*&list, expected));
        }
        clearList();
    }
}

TEST_F(PlainAlgorithmTest, MergeWalk)
{
    for (int round = 0; round < 2500; ++round) {
        const bool sorted = pick(3) != 0;
        const FileRecords oldRecords = someRecords(sorted);
        const FileRecords newRecords = pick(5) == 0 ? oldRecords : someRecords(sorted);
        const auto expected = reference::compareFileLists(
            oldRecords, newRecords, [](const auto &a, const auto &b) { return SWM_GetTxtRecordUpdateType(&a, &b); });
        ASSERT_EQ(compare(oldRecords, newRecords), SWM_OK);
        ASSERT_TRUE(isEqual(updates, expected.taken)) << round;
        ASSERT_TRUE(isEqual(deletions, expected.dropped)) << round;
        release();
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(PlainAlgorithmTest, AddingARemainder)
{
    for (int round = 0; round < 2000; ++round) {
        FileRecords expected;
        for (const FilelistTxtRecord &record : someRecords(pick(2) == 0)) {
            reference::addOnce(expected, record, reference::sameFile);
            ASSERT_EQ(SWM_AddFilelistTxtRecord(&list, &record), SWM_OK);
        }
        const FileRecords more = someRecords(pick(2) == 0);
        const reference::BorrowedList<FilelistTxtNode> source(more);
        const size_t start = more.empty() ? 0 : pick(more.size());
        for (size_t i = start; i < more.size(); ++i) {
            reference::addOnce(expected, more[i], reference::sameFile);
        }
        ASSERT_EQ(SWM_AddSrcFileListToDstFileList(&source.head, &list, more.empty() ? nullptr : &source.nodes[start]),
                  SWM_OK);
        ASSERT_TRUE(isEqual(*&list, expected)) << round;
        clearList();
    }
}

} // namespace
} // namespace tarn::test
