// Signed file lists loaded from memory and from a path, step by step.
#include "tarn_package_verify_list_test.h"

namespace tarn::test::signedlist {
namespace {

TEST_F(SignedListTest, NumbersOfFiles)
{
    for (const Number &number : kNumbers) {
        SCOPED_TRACE(number.text);
        const std::string text = mainText(number.text) + fileText("a");
        const bool sound = number.value >= 1 && number.value <= 256;
        Lines lines;
        if (!sound) {
            lines = {wrongNumber(number.value)};
        } else if (number.value != 1) {
            lines = {otherNumber(number.value, 1)};
        }
        EXPECT_EQ(fromMemory(text), sound ? SWM_OK : SWM_E_FILE_COUNT);
        EXPECT_EQ(header->fileCount, number.value);
        EXPECT_TRUE(logged(lines));
        EXPECT_EQ(fromPath(text), sound ? SWM_OK : SWM_E_FILE_COUNT);
        EXPECT_EQ(header->fileCount, number.value);
        EXPECT_TRUE(logged(lines));
        EXPECT_EQ(recordsOf(*header), sound ? Texts{"a|da|1"} : Texts{});
    }
}

// ---- Both loaders ----

TEST_F(SignedListTest, SoundLists)
{
    struct Row {
        const char *name;
        std::string text;
        Texts expected;
        Lines lines = {};
    };
    const Row rows[] = {
        {"in the order of the sections",
         mainText("3") + fileText("b", "2") + fileText("a") + fileText("c"),
         {"b|db|2", "a|da|1", "c|dc|1"}},
        {"fewer than said", mainText("3") + fileText("a") + fileText("b"), {"a|da|1", "b|db|1"}, {otherNumber(3, 2)}},
        {"more than said", mainText("1") + fileText("a") + fileText("b"), {"a|da|1", "b|db|1"}, {otherNumber(1, 2)}},
        {"none", mainText("1"), {}, {otherNumber(1, 0)}},
        {"names stay double", mainText("2") + fileText("a") + fileText("a"), {"a|da|1", "a|da|1"}},
        {"name cut",
         mainText() + fileText(std::string(120, 'n')),
         {std::string(95, 'n') + "|" + ("d" + std::string(63, 'n')) + "|1"}},
        {"the first section is skipped whatever its name",
         "[other]\nFILETYPE=1\nFILENAME=x\nSHA256-DIGEST=y\n" + mainText("1") +
             "FILETYPE=7\nFILENAME=m\nSHA256-DIGEST=e\n",
         {"m|e|7"}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(fromMemory(row.text), SWM_OK);
        EXPECT_EQ(recordsOf(*header), row.expected);
        EXPECT_STREQ(header->creator, kCreator);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(fromPath(row.text), SWM_OK);
        EXPECT_EQ(recordsOf(*header), row.expected);
        EXPECT_STREQ(header->creator, kCreator);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(fromContent(row.text), SWM_OK);
        EXPECT_EQ(recordsOf(*header), row.expected);
        EXPECT_TRUE(logged(row.lines));
    }
}

TEST_F(SignedListTest, Creators)
{
    struct Row {
        std::string written;
        std::string read;
    };
    const std::string longName(120, 'k');
    const Row rows[] = {
        {"Korvel Technology Inc. ", "Korvel Technology Inc. "},
        {"korvel technology inc.", "korvel technology inc."},
        {"Korvel Technology Inc", "Korvel Technology Inc"},
        {"Korvel Technology Inc..", "Korvel Technology Inc.."},
        {"", ""},
        {longName, longName.substr(0, 95)},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.written);
        const std::string text = mainText("1", row.written) + fileText("a");
        EXPECT_EQ(fromMemory(text), 1u);
        EXPECT_TRUE(logged({wrongCreator(row.read)}));
        EXPECT_EQ(fromPath(text), 1u);
        EXPECT_TRUE(logged({wrongCreator(row.read)}));
        EXPECT_TRUE(recordsOf(*header).empty());
        EXPECT_EQ(fromContent(text), 1u);
        EXPECT_TRUE(logged({wrongCreator(row.read), listFailed(1)}));
        EXPECT_EQ(header, nullptr);
    }
}

TEST_F(SignedListTest, WhatTheLoadersDoDifferently)
{
    const std::string noCreator = "[MAIN FILE INFO]\nFILENUM=1\n" + fileText("a");
    const std::string noNumber = "[MAIN FILE INFO]\nCreate By=" + std::string(kCreator) + "\n" + fileText("a");
    const std::string neither = "[MAIN FILE INFO]\nCreate By=x\n" + fileText("a");
    const std::string noMain = fileText("a");
    EXPECT_EQ(fromMemory(noCreator), 1u);
    EXPECT_TRUE(logged({kNoCreator}));
    EXPECT_EQ(fromPath(noCreator), 1u);
    EXPECT_TRUE(logged({noCreatorOfFile(2)})) << "the platform's code for a missing key";
    EXPECT_EQ(fromMemory(noNumber), 1u);
    EXPECT_TRUE(logged({kNoFileNumber}));
    EXPECT_EQ(fromPath(noNumber), 2u) << "the platform's code";
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(fromMemory(neither), 1u);
    EXPECT_TRUE(logged({kNoFileNumber})) << "both are read before they are checked";
    EXPECT_EQ(fromPath(neither), 1u);
    EXPECT_TRUE(logged({wrongCreator("x")})) << "each is checked when it is read";
    EXPECT_EQ(fromMemory(noMain), 1u);
    EXPECT_TRUE(logged({kNoCreator}));
    EXPECT_EQ(fromPath(noMain), 1u);
    EXPECT_TRUE(logged({noCreatorOfFile(1)}));
    EXPECT_EQ(fromMemory("no sections"), SWM_E_LIST_LOAD);
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(fromContent("no sections"), SWM_E_LIST_LOAD);
    EXPECT_TRUE(logged({listFailed(SWM_E_LIST_LOAD)}));
}

TEST_F(SignedListTest, BadSections)
{
    struct Row {
        std::string section;
        LogLine line;
    };
    const Row rows[] = {{fileText("b", "0"), kTypeWrong},
                        {fileText("b", "x"), kTypeWrong},
                        {"[b]\nFILENAME=b\nSHA256-DIGEST=d\n", kTypeWrong},
                        {"[b]\nFILETYPE=1\nSHA256-DIGEST=d\n", kNameWrong},
                        {"[b]\nFILETYPE=1\nFILENAME=\nSHA256-DIGEST=d\n", kNameWrong},
                        {"[b]\nFILETYPE=1\nFILENAME=b\n", kDigestWrong}};
    for (const Row &row : rows) {
        SCOPED_TRACE(row.section);
        const std::string text = mainText("3") + fileText("a") + row.section + fileText("c");
        EXPECT_EQ(fromMemory(text), 1u);
        EXPECT_TRUE(logged({row.line, sectionsFailed(1)}));
        EXPECT_EQ(recordsOf(*header), Texts{"a|da|1"}) << "what was linked stays with the caller";
        EXPECT_EQ(fromPath(text), 1u);
        EXPECT_TRUE(logged({row.line, sectionsFailed(1)}));
        EXPECT_EQ(recordsOf(*header), Texts{"a|da|1"});
        EXPECT_EQ(fromContent(text), 1u);
        EXPECT_TRUE(logged({row.line, sectionsFailed(1), listFailed(1)}));
        EXPECT_EQ(header, nullptr);
        EXPECT_EQ(liveBlocks(), 0) << "nothing is left of it";
    }
}

// ---- Steps ----

TEST_F(SignedListTest, MainInformation)
{
    SwmIniSection *profile = SWM_IniLoadProfileFromFileMem(mainText("0x20", "x").c_str());
    ASSERT_NE(profile, nullptr);
    recordCalls({Call::IniProfileGetValue});
    EXPECT_EQ(SWM_GetSignatureFileListMainInfo(profile, &fresh()), SWM_OK) << "nothing is checked";
    EXPECT_EQ(recordedCalls(), (Texts{"SWM_IniProfileGetValue [MAIN FILE INFO] Create By 96",
                                      "SWM_IniProfileGetValue [MAIN FILE INFO] FILENUM 32"}));
    EXPECT_EQ(header->fileCount, 32u);
    EXPECT_STREQ(header->creator, "x");
    EXPECT_TRUE(nothingLogged());
    setScribble(true);
    for (unsigned nth = 1; nth <= 2; ++nth) {
        failCall(Call::IniProfileGetValue, nth);
        setFaultResult(55);
        EXPECT_EQ(SWM_GetSignatureFileListMainInfo(profile, &fresh()), 1u);
        EXPECT_TRUE(logged({nth == 1 ? kNoCreator : kNoFileNumber}));
        EXPECT_EQ(header->fileCount, 0u);
    }
    clearFaults();
    SWM_FreeProfile(profile);
}

TEST_F(SignedListTest, CheckOfMainInformation)
{
    struct Row {
        const char *creator;
        uint32_t number;
        uint32_t status;
    };
    const Row rows[] = {{kCreator, 1, SWM_OK},
                        {kCreator, 256, SWM_OK},
                        {kCreator, 0, SWM_E_FILE_COUNT},
                        {kCreator, 257, SWM_E_FILE_COUNT},
                        {kCreator, 0xFFFFFFFF, SWM_E_FILE_COUNT},
                        {kCreator, 0x80000001, SWM_E_FILE_COUNT},
                        {"Korvel Technology Inc. ", 1, 1},
                        {"x", 0, 1}};
    for (const Row &row : rows) {
        SigFileListDigest &filled = fresh();
        filled.fileCount = row.number;
        memcpy(filled.creator, row.creator, strlen(row.creator));
        EXPECT_EQ(SWM_CheckSignatureFileListMainInfo(&filled), row.status) << row.number;
        EXPECT_TRUE(logged(row.status == SWM_OK             ? Lines{}
                           : row.status == SWM_E_FILE_COUNT ? Lines{wrongNumber(row.number)}
                                                            : Lines{wrongCreator(row.creator)}));
    }
}

TEST_F(SignedListTest, WhatThePathLoaderAsks)
{
    writeFile(path, mainText() + fileText("a"));
    recordCalls({Call::IniGetValue, Call::SwmFopen, Call::IniLoadProfile, Call::Fclose});
    EXPECT_EQ(SWM_GetSignatureFileListDigestInfo(&fresh(), path.c_str()), SWM_OK);
    EXPECT_EQ(recordedCalls(), (Texts{"SWM_IniGetValue " + path.string() + " [MAIN FILE INFO] Create By 96",
                                      "SWM_IniGetValue " + path.string() + " [MAIN FILE INFO] FILENUM 32",
                                      "SWM_Fopen " + path.string() + " r+", "IniLoadProfile", "fclose"}));
    EXPECT_EQ(callCount(Call::FreeProfile), 1u);
}

TEST_F(SignedListTest, FailuresOfThePathLoader)
{
    struct Row {
        Call call;
        unsigned nth;
        uint32_t status;
        Lines lines;
    };
    const Row rows[] = {
        {Call::IniGetValue, 1, 1, {noCreatorOfFile(77)}},
        {Call::IniGetValue, 2, 77, {}},
        {Call::SwmFopen, 1, 77, {}},
        {Call::IniLoadProfile, 1, SWM_E_LIST_LOAD, {}},
        {Call::Malloc, 2, SWM_E_NO_MEMORY, {sectionsFailed(SWM_E_NO_MEMORY)}},
        {Call::Malloc, 3, SWM_E_NO_MEMORY, {sectionsFailed(SWM_E_NO_MEMORY)}},
    };
    setScribble(true);
    for (const Row &row : rows) {
        SCOPED_TRACE(nameOf(row.call));
        failCall(row.call, row.nth);
        setFaultResult(77);
        const size_t before = openDescriptors();
        EXPECT_EQ(fromPath(mainText("2") + fileText("a") + fileText("b")), row.status);
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(openDescriptors(), before);
        EXPECT_TRUE(logged(row.lines));
    }
    const std::string missing = dir / "missing";
    EXPECT_EQ(SWM_GetSignatureFileListDigestInfo(&fresh(), missing.c_str()), 1u);
    EXPECT_EQ(takeLog().size(), 1u);
    EXPECT_NE(SWM_GetALLFileDigestInfo(&fresh(), missing.c_str()), SWM_OK);
    EXPECT_TRUE(nothingLogged()) << "no section was walked";
}

TEST_F(SignedListTest, AllFilesOfAPath)
{
    writeFile(path, "[x]\na=b\n" + fileText("a"));
    EXPECT_EQ(SWM_GetALLFileDigestInfo(&fresh(), path.c_str()), SWM_OK) << "the first section is not looked at";
    EXPECT_EQ(recordsOf(*header), Texts{"a|da|1"});
    EXPECT_TRUE(logged({otherNumber(0, 1)}));
    writeFile(path, "nothing");
    EXPECT_EQ(SWM_GetALLFileDigestInfo(&fresh(), path.c_str()), SWM_E_LIST_LOAD);
    EXPECT_TRUE(nothingLogged());
}

TEST_F(SignedListTest, NoMemory)
{
    const std::string text = mainText("2") + fileText("a") + fileText("b");
    const Lines kLines[] = {{kNoMemory},
                            {sectionsFailed(SWM_E_NO_MEMORY), listFailed(SWM_E_NO_MEMORY)},
                            {sectionsFailed(SWM_E_NO_MEMORY), listFailed(SWM_E_NO_MEMORY)}};
    for (unsigned nth = 1; nth <= 3; ++nth) {
        failCall(Call::Malloc, nth);
        EXPECT_EQ(fromContent(text), SWM_E_NO_MEMORY);
        EXPECT_TRUE(faultHit());
        EXPECT_EQ(header, nullptr);
        EXPECT_EQ(liveBlocks(), 0);
        EXPECT_TRUE(logged(kLines[nth - 1]));
    }
    failCall(Call::IniLoadProfileFromFileMem, 1);
    EXPECT_EQ(fromContent(text), SWM_E_LIST_LOAD);
    EXPECT_TRUE(logged({listFailed(SWM_E_LIST_LOAD)}));
}

TEST_F(SignedListTest, ProfilesAreReleasedOnEveryPath)
{
    const std::string texts[] = {mainText() + fileText("a"), mainText("0") + fileText("a"), mainText("1", "x"),
                                 "[MAIN FILE INFO]\nx=y\n", mainText() + fileText("a", "0")};
    for (const std::string &text : texts) {
        clearFaults();
        fromMemory(text);
        EXPECT_EQ(callCount(Call::FreeProfile), 1u);
    }
    clearFaults();
}

TEST_F(SignedListTest, MissingArguments)
{
    writeFile(path, mainText() + fileText("a"));
    const Keys keys = {{"FILETYPE", "1"}, {"FILENAME", "a"}, {"SHA256-DIGEST", "d"}};
    SwmIniSection section = {nullptr, keys.first(), nullptr};
    SigFileListDigest &filled = fresh();
    const std::string text = mainText() + fileText("a");
    SigFileListDigest *out = nullptr;
    struct Row {
        const char *function;
        uint32_t status;
        std::function<uint32_t()> run;
    };
    const Row rows[] = {
        {"SWM_MallocSigFileListDigest", SWM_E_PARAM, [&] { return SWM_MallocSigFileListDigest(nullptr); }},
        {"SWM_GetDigestInfoByInputKey", SWM_E_PARAM,
         [&] { return SWM_GetDigestInfoByInputKey(nullptr, keys.first()); }},
        {"SWM_GetALLFileDigestInfoFromList", SWM_E_PARAM,
         [&] { return SWM_GetALLFileDigestInfoFromList(nullptr, &section); }},
        {"SWM_GetALLFileDigestInfoFromList", SWM_E_PARAM,
         [&] { return SWM_GetALLFileDigestInfoFromList(&filled, nullptr); }},
        {"SWM_GetALLFileDigestInfo", SWM_E_PARAM, [&] { return SWM_GetALLFileDigestInfo(nullptr, path.c_str()); }},
        {"SWM_GetALLFileDigestInfo", SWM_E_PARAM, [&] { return SWM_GetALLFileDigestInfo(&filled, nullptr); }},
        {"SWM_GetALLFileDigestInfo", SWM_E_PARAM, [&] { return SWM_GetALLFileDigestInfo(&filled, ""); }},
        {"SWM_GetSignatureFileListDigestInfo", 1,
         [&] { return SWM_GetSignatureFileListDigestInfo(nullptr, path.c_str()); }},
        {"SWM_GetSignatureFileListDigestInfo", 1, [&] { return SWM_GetSignatureFileListDigestInfo(&filled, nullptr); }},
        {"SWM_GetSignatureFileListDigestInfo", 1, [&] { return SWM_GetSignatureFileListDigestInfo(&filled, ""); }},
        {"SWM_GetSignatureFileListMainInfo", SWM_E_PARAM,
         [&] { return SWM_GetSignatureFileListMainInfo(nullptr, &filled); }},
        {"SWM_GetSignatureFileListMainInfo", SWM_E_PARAM,
         [&] { return SWM_GetSignatureFileListMainInfo(&section, nullptr); }},
        {"SWM_CheckSignatureFileListMainInfo", SWM_E_PARAM, [] { return SWM_CheckSignatureFileListMainInfo(nullptr); }},
        {"SWM_GetSignatureFileListDigestInfoFromMem", SWM_E_PARAM,
         [&] { return SWM_GetSignatureFileListDigestInfoFromMem(nullptr, &filled); }},
        {"SWM_GetSignatureFileListDigestInfoFromMem", SWM_E_PARAM,
         [&] { return SWM_GetSignatureFileListDigestInfoFromMem(text.c_str(), nullptr); }},
        {"SWM_GetSignatureFileListDigestInfoFromFile", SWM_E_PARAM,
         [&] { return SWM_GetSignatureFileListDigestInfoFromFile(nullptr, &out); }},
        {"SWM_GetSignatureFileListDigestInfoFromFile", SWM_E_PARAM,
         [&] { return SWM_GetSignatureFileListDigestInfoFromFile(text.c_str(), nullptr); }},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), row.status);
        EXPECT_TRUE(logged({nullParamOf(kFile, row.function)}));
    }
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(filled.fileCount, 0u);
    EXPECT_EQ(callCount(Call::IniGetValue), 0u);
}

// ---- A section without keys is never left ----

TEST_F(SignedListTest, SectionWithoutKeysIsNeverLeft)
{
    constexpr unsigned kLong = 60000; // milliseconds
    const Keys keys = {{"FILETYPE", "1"}, {"FILENAME", "a"}, {"SHA256-DIGEST", "d"}};
    char name[] = "[x]";
    SwmIniSection last = {name, keys.first(), nullptr};
    SwmIniSection empty = {name, nullptr, &last};
    SwmIniSection second = {name, keys.first(), &empty};
    SwmIniSection main = {name, nullptr, &second};
    const Shared<SigFileListDigest> shared;
    shared->fileDigests = {&shared->fileDigests, &shared->fileDigests};
    const pid_t child = startChild([&] { return SWM_GetALLFileDigestInfoFromList(&*shared, &main) == SWM_OK ? 0 : 1; });
    EXPECT_TRUE(waitUntil([&] { return shared->fileDigests.next != &shared->fileDigests; }, kLong));
    const SwmListNode *first = shared->fileDigests.next;
    EXPECT_EQ(awaitChild(child, 300), std::nullopt);
    EXPECT_EQ(shared->fileDigests.prev, first) << "one record, from the section before";

    // Without the empty one the same chain ends.
    second.next = &last;
    shared->fileDigests = {&shared->fileDigests, &shared->fileDigests};
    shared->fileCount = 2;
    EXPECT_EQ(runInChild([&] { return SWM_GetALLFileDigestInfoFromList(&*shared, &main) == SWM_OK ? 0 : 1; }, kLong),
              0);
}

} // namespace
} // namespace tarn::test::signedlist
