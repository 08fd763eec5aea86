// tarn signed-list: the list line by line, and the signature over it.
#include <gtest/gtest.h>

#include "packaging/signed_list.h"
#include "packaging/signer.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

const std::string kDigest(64, 'a');

struct ProblemRow {
    const char *name;
    std::string text;
    const char *kind; // of the first problem
    unsigned line;
    bool loads;
};

class SignedListTest : public testing::Test {
protected:
    TempDir dir;
    fs::path file = dir / "signature_pss_filelist";
    fs::path cms = dir / "signature_pss_cms";
    std::string good = packaging::signedListText({{"a.bin", kDigest}, {"b.bin", kDigest, 2}});

    Outcome list(const std::string &command, const std::string &text, const Arguments &more = {})
    {
        writeFile(file, text);
        return runTool(Arguments{"signed-list", command, file} + more);
    }

    // Line 1 to 3 are the main section, 4 to 7 the file's.
    static std::string listText(const std::string &count = "1", const std::string &type = "1",
                                const std::string &name = "a.bin", const std::string &digest = kDigest,
                                const std::string &creator = "Korvel Technology Inc.")
    {
        return "[MAIN FILE INFO]\nCreate By=" + creator + "\nFILENUM=" + count + "\n[1]\nFILETYPE=" + type +
               "\nFILENAME=" + name + "\nSHA256-DIGEST=" + digest + "\n";
    }
};

} // namespace

TEST_F(SignedListTest, ShowsCreatorAndFiles)
{
    const Outcome outcome = list("show", good);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("created by \"Korvel Technology Inc.\", 2 files\n"), std::string::npos) << outcome.out;
    const Json report = list("show", good, {"--json"}).json();
    EXPECT_EQ(report["file_count"], 2);
    EXPECT_EQ(report["files"], Json({{{"type", 1}, {"name", "a.bin"}, {"digest", kDigest}},
                                     {{"type", 2}, {"name", "b.bin"}, {"digest", kDigest}}}));
    const Outcome refused = list("show", listText("0"));
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("File number(0) is invalid"), std::string::npos) << refused.err;
    EXPECT_EQ(runTool({"signed-list", "show", dir / "none"}).status, 3);
}

TEST_F(SignedListTest, GoodListsHaveNoProblems)
{
    for (const std::string &text : {good, listText(), "; remark\r\n" + listText(), "\xEF\xBB\xBF" + listText()}) {
        const Outcome outcome = list("check", text);
        EXPECT_EQ(outcome.status, 0) << outcome.out;
        EXPECT_NE(outcome.out.find(", 0 problems\n"), std::string::npos);
    }
}

TEST_F(SignedListTest, EveryProblemIsNamedWithItsLine)
{
    const std::string second = "[2]\nFILETYPE=1\nFILENAME=a.bin\nSHA256-DIGEST=" + kDigest + "\n";
    const ProblemRow rows[] = {
        {"empty", "", "no_sections", 0, false},
        {"another creator", listText("1", "1", "a", kDigest, "Somebody"), "creator", 2, false},
        {"a blank behind the creator", listText("1", "1", "a", kDigest, "Korvel Technology Inc. "), "creator", 2,
         false},
        {"count 0", listText("0"), "count", 3, false},
        {"count 257", listText("257"), "count", 3, false},
        {"count 2 of 1", listText("2"), "count", 3, true},
        {"count that ends early", listText("1x"), "number", 3, true},
        {"count that is octal", listText("010"), "number", 3, true},
        {"type 0", listText("1", "0"), "type", 5, false},
        {"type that is none", listText("1", "x"), "number", 5, false},
        {"no name", listText("1", "1", ""), "no_name", 6, false},
        {"a long name", listText("1", "1", std::string(96, 'n')), "cut", 6, true},
        {"a blank behind a name", listText("1", "1", "a "), "blanks", 6, true},
        {"a short digest", listText("1", "1", "a", "12"), "digest", 7, true},
        {"an upper-case digest", listText("1", "1", "a", std::string(64, 'A')), "digest", 7, true},
        {"the same file twice", listText("2") + second, "duplicate", 10, true},
        {"a missing key", "[MAIN FILE INFO]\nFILENUM=1\n[1]\nFILETYPE=1\n", "missing_key", 1, false},
        {"an empty section", listText("1") + "[empty]\n", "count", 3, true},
        {"a key twice", listText() + "FILENAME=b\n", "repeated_key", 8, true},
        {"a line that is none", listText() + "lost\n", "ignored", 8, true},
        {"a section without its end", listText("2") + "[2\nFILETYPE=1\n", "count", 3, true},
        {"a key before all sections", "a=b\n" + listText(), "ignored", 1, true},
        {"another first section", "[OTHER]\n" + listText().substr(17), "main_section", 1, false},
    };
    for (const ProblemRow &row : rows) {
        SCOPED_TRACE(row.name);
        const Outcome outcome = list("check", row.text, {"--json"});
        EXPECT_EQ(outcome.status, 1);
        const Json report = outcome.json();
        EXPECT_EQ(report["loads"], row.loads) << outcome.out;
        ASSERT_FALSE(report["problems"].empty());
        EXPECT_EQ(report["problems"][0]["kind"], row.kind) << outcome.out;
        EXPECT_EQ(report["problems"][0]["line"], row.line) << outcome.out;
        EXPECT_EQ(list("check", row.text).status, 1);
    }
}

TEST_F(SignedListTest, TheSignatureAndItsSigner)
{
    const packaging::Signer signer(programDir() / "keys/signer.key", programDir() / "keys/signer.pem");
    writeFile(cms, signer.sign(good));
    const Outcome outcome = list("check", good, {"--cms", cms});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_NE(outcome.out.find(cms.string() + ": valid, signer \"CN="), std::string::npos) << outcome.out;
    EXPECT_EQ(list("check", good, {"--cms", cms, "--json"}).json()["signature"]["valid"], true);
    const Outcome shown = list("show", good, {"--cms", cms});
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_NE(shown.out.find(", 2 files\n" + cms.string() + ": valid, signer \"CN="), std::string::npos) << shown.out;
    EXPECT_EQ(list("show", good, {"--cms", cms, "--json"}).json()["signature"]["valid"], true);
    EXPECT_EQ(list("show", good, {"--json"}).json()["signature"], nullptr);
    EXPECT_EQ(list("show", listText(), {"--cms", cms}).status, 1);
    const Outcome changed = list("check", listText(), {"--cms", cms});
    EXPECT_EQ(changed.status, 1);
    EXPECT_NE(changed.out.find("changed after it was signed"), std::string::npos) << changed.out;
    writeFile(cms, "no signature");
    EXPECT_EQ(list("check", good, {"--cms", cms}).status, 1);
    EXPECT_EQ(list("check", good, {"--cms", dir / "none"}).status, 3);
    // Without anchors nothing can be judged.
    writeFile(cms, signer.sign(good));
    writeFile(dir / "empty.conf", "[trust]\n");
    EXPECT_EQ(list("check", good, {"--cms", cms, "--config", dir / "empty.conf"}).status, 3);
    EXPECT_EQ(list("show", good, {"--cms", cms, "--config", dir / "empty.conf"}).status, 3);
}

} // namespace tarn::test
