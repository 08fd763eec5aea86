// Loading a file of lines: the whole file, its lines, one line.
#include <fcntl.h>

#include "file_list_test.h"

namespace tarn::test {
namespace {

class LoadTest : public FileListTest {
protected:
    uint32_t load(SwmFilelistCompare compare = SWM_ComparebyPoolname)
    {
        return SwmLoadFileToList(path.c_str(), &list, compare);
    }
};

// ---- The whole file ----

class LoadContentTest : public LoadTest {
protected:
    char *content = untouched;
    uint64_t length = 17;
    char untouched[1] = {};

    uint32_t read(const fs::path &file) { return SwmLoadFileContent(file.c_str(), &content, &length); }
    void expectRefused(const fs::path &file, const LogLine &line)
    {
        EXPECT_EQ(read(file), SWM_FAIL);
        EXPECT_TRUE(logged({line}));
        EXPECT_EQ(content, untouched);
        EXPECT_EQ(length, 17u);
        EXPECT_EQ(liveBlocks(), 0);
    }
    static LogLine badSize(const fs::path &file, int size = 0)
    {
        return FILE_LIST_ERROR("SwmLoadFileContent get file size not correct, file=%s size=%d.", file.c_str(), size);
    }
    LogLine notOpened() const
    {
        return FILE_LIST_ERROR("SwmLoadFileContent open file not correct, file=%s.", path.c_str());
    }
    LogLine notRead() const { return FILE_LIST_ERROR("SwmLoadFileContent read failed, file=%s.", path.c_str()); }
};

TEST_F(LoadContentTest, TheFileAndANul)
{
    for (const std::string &text : {std::string("x"), std::string("\n\n"), std::string("a\0b\n", 4), pattern(100000)}) {
        write(text);
        ASSERT_EQ(read(path), SWM_OK);
        EXPECT_EQ(length, text.size() + 1);
        EXPECT_EQ(memcmp(content, text.c_str(), length), 0);
        free(content);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(LoadContentTest, HowThePlatformIsAsked)
{
    write("abc");
    recordCalls({Call::GetFileSize, Call::CanonicalOpen, Call::ReadFile, Call::CanonicalClose, Call::Malloc});
    ASSERT_EQ(read(path), SWM_OK);
    EXPECT_EQ(recordedCalls(), (Texts{"SWM_GetFileSize " + path.string(), "TARN_CanonicalOpen " + path.string() + " 0",
                                      "malloc 4", "TARN_ReadFile 3 0", "TARN_CanonicalClose"}));
    free(content);
}

TEST_F(LoadContentTest, SizesThatAreRefused)
{
    write("");
    expectRefused(path, badSize(path));
    expectRefused(dir / "missing", badSize(dir / "missing"));
    expectRefused(versionDir, badSize(versionDir));
    const fs::path fifo = makeUnreadable();
    expectRefused(fifo, badSize(fifo));

    write("text");
    setScribble(true);
    setFakeSize(4);
    failCall(Call::GetFileSize, 1);
    expectRefused(path, badSize(path));
    setFaultResult(0);
    for (const int64_t size : {int64_t{0}, int64_t{-1}, INT64_MIN, int64_t{0x7FFFFFFF}, int64_t{0x80000000},
                               int64_t{0xFFFFFFFF}, int64_t{0x100000000}, int64_t{0x100000004}, INT64_MAX}) {
        SCOPED_TRACE(size);
        setFakeSize(size);
        failCall(Call::GetFileSize, 1);
        expectRefused(path, badSize(path, static_cast<int>(size)));
    }
    EXPECT_EQ(callCount(Call::CanonicalOpen), 0u);
}

TEST_F(LoadContentTest, TwoGibibytesAreTooMuch)
{
    write("x");
    fs::resize_file(path, 0x7FFFFFFF);
    expectRefused(path, badSize(path, 0x7FFFFFFF));
    fs::resize_file(path, 0x100000001);
    expectRefused(path, badSize(path, 1));
    EXPECT_EQ(callCount(Call::CanonicalOpen), 0u);
}

TEST_F(LoadContentTest, TheLargestSizeIsTried)
{
    write("x");
    setFakeSize(0x7FFFFFFE);
    setFaultResult(0);
    failCall(Call::GetFileSize, 1);
    failCallToo(Call::Malloc, 1, ENOMEM);
    recordCalls({Call::Malloc});
    expectRefused(path, FILE_LIST_ERROR("SwmLoadFileContent malloc failed, errno=%d.", ENOMEM));
    EXPECT_EQ(recordedCalls(), Texts{"malloc 2147483647"});
}

TEST_F(LoadContentTest, FailuresOfTheFile)
{
    write("text");
    failCall(Call::CanonicalOpen, 1);
    expectRefused(path, notOpened());
    EXPECT_EQ(callCount(Call::CanonicalClose), 0u);
    failCall(Call::Malloc, 1, ENOMEM);
    expectRefused(path, FILE_LIST_ERROR("SwmLoadFileContent malloc failed, errno=%d.", ENOMEM));
    EXPECT_EQ(callCount(Call::CanonicalClose), 1u);
    for (const long count : {-1L, 0L, 3L, 5L}) {
        failCall(Call::ReadFile, 1);
        setFaultResult(count);
        expectRefused(path, notRead());
    }
    EXPECT_EQ(callCount(Call::CanonicalClose), 5u);
    bool silent = false;
    onCall(Call::CanonicalClose, 1, [&] { silent = takeLog().empty(); });
    failCallToo(Call::ReadFile, 1);
    expectRefused(path, notRead());
    EXPECT_TRUE(silent) << "closed before the result is looked at";
    failCall(Call::CanonicalClose, 1);
    EXPECT_EQ(read(path), SWM_OK) << "what was read counts";
    EXPECT_TRUE(nothingLogged());
    free(content);
}

TEST_F(LoadContentTest, AFileThatShrinksIsNotRead)
{
    write("text");
    onCall(Call::CanonicalOpen, 1, [&] { truncateTo(path, 3); });
    expectRefused(path, notRead());
    write("text");
    onCall(Call::CanonicalOpen, 1, [&] { appendBytes(path, "more"); });
    EXPECT_EQ(read(path), SWM_OK) << "what it was when asked";
    EXPECT_STREQ(content, "text");
    EXPECT_EQ(length, 5u);
    free(content);
}

// ---- Its lines ----

struct LoadRow {
    const char *name;
    std::string text;
    Texts records;
    Lines lines = {}; // none: success
};

TEST_F(LoadTest, Lines)
{
    const std::string a = fileLine("a");
    const std::string b = fileLine("b");
    const std::string nul(1, '\0');
    const Texts ab = {"a f", "b f"};
    const LoadRow rows[] = {
        {"sorted", a + "\n" + b + "\n", ab},
        {"to be sorted", b + "\n" + a + "\n", ab},
        {"no line feed at the end", b + "\n" + a, ab},
        {"CR LF", b + "\r\n" + a + "\r\n", ab},
        {"blank lines", "\n\n" + a + "\n\n \t \n" + b + "\n \r\n\n", ab},
        {"white space only", " \n\t\n\n \v\f\r\n", {}},
        {"one byte of white space", " ", {}},
        {"only line feeds", "\n\n\n", {}},
        {"only a NUL", nul, {}},
        {"a NUL ends a line", b + nul + a + "\n", ab},
        {"NULs are empty lines", nul + nul + a + nul + "\n" + nul + b + nul, ab},
        {"white space around", "  \t" + b + " \n\v" + a + "\f\n", ab},
        {"later line first",
         fileLine("p", "1") + "\n" + fileLine("a", "2") + "\n" + fileLine("p", "3") + "\n" + fileLine("p", "4") + "\n",
         {"a 2", "p 4", "p 3", "p 1"}},
        {"equal lines stay", a + "\n" + a + "\n", {"a f", "a f"}},
        {"bytes above 0x7F come last",
         fileLine("\xff") + "\n" + fileLine("\x80") + "\n" + fileLine("z") + "\n",
         {"z f", "\x80 f", "\xff f"}},
        {"a prefix comes first",
         fileLine("pool/ab") + "\n" + fileLine("pool/a") + "\n" + fileLine("pool/a.b") + "\n",
         {"pool/a f", "pool/a.b f", "pool/ab f"}},
        {"bad first line", "bad\n" + a + "\n", {}, badLine("bad")},
        {"bad line between", b + "\n" + a + "\n bad one \n" + fileLine("c") + "\n", ab, badLine("bad one")},
        {"bad last line", a + "\nbad\n", {"a f"}, badLine("bad")},
        {"bad last line without line feed", a + "\nbad", {"a f"}, badLine("bad")},
        {"a line cut by a NUL",
         a + "\n" + a.substr(0, 66) + nul + a.substr(66) + "\n",
         {"a f"},
         badLine(a.substr(0, 66))},
        {"the rest behind a NUL", a + nul + "rest\n" + b + "\n", {"a f"}, badLine("rest")},
    };
    for (const LoadRow &row : rows) {
        SCOPED_TRACE(row.name);
        write(row.text);
        EXPECT_EQ(load(), row.lines.empty() ? SWM_OK : SWM_FAIL);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(texts(), row.records);
        clearList();
        EXPECT_EQ(liveBlocks(), 0);
        // In file order without a comparison; what is told does not differ.
        EXPECT_EQ(load(nullptr), row.lines.empty() ? SWM_OK : SWM_FAIL);
        EXPECT_TRUE(logged(row.lines));
        EXPECT_EQ(texts().size(), row.records.size());
        clearList();
        EXPECT_EQ(liveBlocks(), 0);
    }
}

TEST_F(LoadTest, AnUnreadableFileSaysNothingMore)
{
    write("");
    EXPECT_EQ(load(), SWM_FAIL);
    EXPECT_TRUE(
        logged({FILE_LIST_ERROR("SwmLoadFileContent get file size not correct, file=%s size=%d.", path.c_str(), 0)}));
    EXPECT_TRUE(isEmptyList(*&list));
}

TEST_F(LoadTest, WithoutAComparisonLinesAreAppended)
{
    const FilelistTxtRecord first = fileRecord("m");
    ASSERT_EQ(SWM_AddFilelistTxtRecord(&list, &first), SWM_OK);
    write(fileLine("z") + "\n" + fileLine("a") + "\n" + fileLine("z", "2") + "\n");
    EXPECT_EQ(load(nullptr), SWM_OK);
    EXPECT_EQ(texts(), (Texts{"m f", "z f", "a f", "z 2"}));
}

TEST_F(LoadTest, AListThatIsNotEmptyIsInsertedInto)
{
    write(fileLine("b") + "\n" + fileLine("d") + "\n");
    ASSERT_EQ(load(), SWM_OK);
    write(fileLine("d", "2") + "\n" + fileLine("c") + "\n" + fileLine("a") + "\n" + fileLine("b", "2") + "\n");
    EXPECT_EQ(load(), SWM_OK);
    EXPECT_EQ(texts(), (Texts{"a f", "b 2", "b f", "c f", "d 2", "d f"}));
    clearList();
    // One out of order: before the first that is not smaller.
    for (const char *pool : {"m", "c", "x"}) {
        const FilelistTxtRecord record = fileRecord(pool);
        ASSERT_EQ(SWM_AddFilelistTxtRecord(&list, &record), SWM_OK);
    }
    write(fileLine("d") + "\n" + fileLine("n") + "\n");
    EXPECT_EQ(load(), SWM_OK);
    EXPECT_EQ(texts(), (Texts{"d f", "m f", "c f", "n f", "x f"}));
}

Texts g_comparisons;
int32_t notedComparison(const FilelistTxtRecord *newRecord, const FilelistTxtRecord *existingRecord)
{
    g_comparisons.push_back(std::string(newRecord->fileName) + existingRecord->fileName);
    return strcmp(newRecord->fileName, existingRecord->fileName);
}

TEST_F(LoadTest, ForeignComparisonsAreCalledLineByLine)
{
    g_comparisons.clear();
    write(fileLine("p", "2") + "\n" + fileLine("p", "1") + "\n" + fileLine("p", "3") + "\n" + fileLine("q", "2") +
          "\n");
    EXPECT_EQ(load(notedComparison), SWM_OK);
    EXPECT_EQ(g_comparisons, (Texts{"12", "31", "32", "21", "22"}));
    EXPECT_EQ(texts(), (Texts{"p 1", "q 2", "p 2", "p 3"}));
}

TEST_F(LoadTest, YieldsBeforeEvery256thLine)
{
    std::string text;
    for (int line = 1; line <= 1025; ++line) {
        text += "\n" + (line % 3 == 0 ? std::string(" \t\n") : fileLine("p", std::to_string(line)) + "\n\n\n");
    }
    write(text);
    recordCalls({Call::SchedYield, Call::IsSpaceString});
    ASSERT_EQ(load(), SWM_OK);
    size_t lines = 0;
    Texts yields;
    for (const std::string &call : recordedCalls()) {
        if (call == "sched_yield") {
            yields.push_back(std::to_string(lines));
        } else {
            ++lines;
        }
    }
    EXPECT_EQ(lines, 1025u);
    EXPECT_EQ(yields, (Texts{"255", "511", "767", "1023"}));
}

TEST_F(LoadTest, YieldsBeforeALineThatFailsToo)
{
    for (const auto &[before, yields] : {std::pair(254, 0u), std::pair(255, 1u), std::pair(256, 1u)}) {
        std::string text;
        for (int line = 0; line < before; ++line) {
            text += "\t\n";
        }
        write(text + "bad");
        clearFaults();
        EXPECT_EQ(load(), SWM_FAIL);
        EXPECT_EQ(callCount(Call::SchedYield), yields);
        EXPECT_TRUE(logged(badLine("bad")));
    }
}

TEST_F(LoadTest, AFailedYieldIsNothing)
{
    std::string text;
    for (int line = 0; line < 300; ++line) {
        text += " \n";
    }
    write(text);
    failCall(Call::SchedYield, 1);
    EXPECT_EQ(load(), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(nothingLogged());
}

// ---- One line ----

TEST_F(LoadTest, OneLine)
{
    const auto add = [&](std::string line, SwmFilelistCompare compare) {
        return SwmLoadFileLineToList(line.data(), &list, compare);
    };
    EXPECT_EQ(add(fileLine("b", "1"), SWM_ComparebyPoolname), SWM_OK);
    EXPECT_EQ(add(" \t ", SWM_ComparebyPoolname), SWM_OK);
    EXPECT_EQ(add("", SWM_ComparebyPoolname), SWM_OK);
    EXPECT_EQ(add(fileLine("a", "2"), SWM_ComparebyPoolname), SWM_OK);
    EXPECT_EQ(add(fileLine("b", "3"), SWM_ComparebyPoolname), SWM_OK);
    EXPECT_EQ(add(fileLine("a", "4"), nullptr), SWM_OK);
    EXPECT_EQ(texts(), (Texts{"a 2", "b 3", "b 1", "a 4"}));
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(add("bad", nullptr), SWM_FAIL);
    EXPECT_TRUE(logged({badColumnCount("bad"), lineRefused()}));
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(add(fileLine("c"), nullptr), SWM_FAIL);
    EXPECT_TRUE(logged({FILE_LIST_ERROR("SwmLoadFileLineToList malloc failed, errno=%d.", ENOMEM)}));
    EXPECT_EQ(texts().size(), 4u);
}

TEST_F(LoadTest, ANodeIsLinksAndRecord)
{
    std::string line = fileLine("a");
    recordCalls({Call::Malloc});
    ASSERT_EQ(SwmLoadFileLineToList(line.data(), &list, nullptr), SWM_OK);
    EXPECT_EQ(recordedCalls(), Texts{"malloc 1304"});
    std::string again = fileLine("a");
    failCall(Call::Memset, 1);
    EXPECT_EQ(SwmLoadFileLineToList(again.data(), &list, nullptr), SWM_OK);
    EXPECT_TRUE(faultHit());
    EXPECT_TRUE(logged({copyWarning("memset", "SwmLoadFileLineToList")}));
    EXPECT_EQ(texts(), (Texts{"a f", "a f"}));
}

TEST_F(LoadTest, NullArguments)
{
    char *content = nullptr;
    uint64_t length = 17;
    char line[] = "x";
    const NullRow rows[] = {
        {"SwmLoadFileContent", [&] { return SwmLoadFileContent(nullptr, &content, &length); }},
        {"SwmLoadFileContent", [&] { return SwmLoadFileContent("", &content, &length); }},
        {"SwmLoadFileContent", [&] { return SwmLoadFileContent("x", nullptr, &length); }},
        {"SwmLoadFileContent", [&] { return SwmLoadFileContent("x", &content, nullptr); }},
        {"SwmLoadFileToList", [&] { return SwmLoadFileToList(nullptr, &list, nullptr); }},
        {"SwmLoadFileToList", [&] { return SwmLoadFileToList("", &list, nullptr); }},
        {"SwmLoadFileToList", [&] { return SwmLoadFileToList("x", nullptr, nullptr); }},
        {"SwmLoadFileLineToList", [&] { return SwmLoadFileLineToList(nullptr, &list, nullptr); }},
        {"SwmLoadFileLineToList", [&] { return SwmLoadFileLineToList(line, nullptr, nullptr); }},
    };
    for (const NullRow &row : rows) {
        SCOPED_TRACE(row.function);
        EXPECT_EQ(row.run(), SWM_FAIL);
        EXPECT_TRUE(logged({nullParamOf(kFileListFile, row.function)}));
    }
    EXPECT_EQ(content, nullptr);
    EXPECT_EQ(length, 17u);
    EXPECT_EQ(callCount(Call::GetFileSize), 0u);
}

} // namespace
} // namespace tarn::test
