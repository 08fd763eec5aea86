// tarn db check: each thing that can be wrong, with its line; what list and show make of damaged databases.
#include "db_test.h"

namespace tarn::test {

namespace {

class DbCheckTest : public DbTest {
protected:
    // The only problem of that kind.
    Json problem(const std::string &content, const std::string &kind)
    {
        writeFile(db, content);
        const Outcome human = run("check");
        EXPECT_EQ(human.status, 1) << kind << human.err;
        EXPECT_EQ(readFile(db), content);
        const Outcome outcome = run("check", {"--json"});
        EXPECT_EQ(outcome.status, 1) << kind;
        const Json report = outcome.json();
        EXPECT_EQ(report["sound"], false);
        for (const Json &found : report["problems"]) {
            if (found["kind"] == kind) {
                const std::string line = std::to_string(found["line"].get<long>());
                EXPECT_NE(human.out.find(db.string() + ": line " + line + ": "), std::string::npos) << human.out;
                EXPECT_NE(human.out.find(" -- " + found["hint"].get<std::string>() + "\n"), std::string::npos);
                return found;
            }
        }
        ADD_FAILURE() << "no " << kind << " in " << outcome.out;
        return {};
    }
    void expectProblem(const std::string &content, const std::string &kind, long line, bool isDamage = false)
    {
        const Json found = problem(content, kind);
        EXPECT_EQ(found.value("line", -1L), line) << kind << ": " << found;
        EXPECT_EQ(found.value("damage", !isDamage), isDamage) << kind;
        EXPECT_NE(found.value("hint", ""), "") << kind;
    }
};

std::string patchOf(const std::string &name)
{
    return "<Patch>\n" + leaf("PatchName", name) + leaf("Version", "1") + leaf("SrcFilePath", "s") +
           leaf("InstallPath", "i") + leaf("PkgPoolPath", "p") + "</Patch>\n";
}

std::string without(std::string text, const std::string &part)
{
    return text.erase(text.find(part), part.size());
}

} // namespace

TEST_F(DbCheckTest, ASoundDatabase)
{
    writeFile(db, productOf(packageOf("app", "1") + packageOf("app", "2") + packageOf("other", "1")));
    const Outcome outcome = run("check");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, db.string() + ": sound, 3 packages\n");
    const Json report = run("check", {"--json"}).json();
    EXPECT_EQ(report["sound"], true);
    EXPECT_EQ(report["packages"], 3);
    EXPECT_EQ(report["problems"], Json::array());
}

TEST_F(DbCheckTest, TheDocumentAsAWhole)
{
    const std::string good = productOf(packageOf("app", "1"));
    expectProblem(good.substr(0, good.size() - 12), "not_well_formed", 13, true);
    expectProblem(without(good, "</Version>"), "not_well_formed", 12, true);
    expectProblem(productOf(packageOf("a & b", "1")), "not_well_formed", 5, true);
    expectProblem(productOf(packageOf("a\x01", "1")), "not_well_formed", 5, true);
    expectProblem(productOf(packageOf("a\xFF", "1")), "not_well_formed", 5, true);
    expectProblem(good + "<more/>", "not_well_formed", 15, true);
    expectProblem("", "not_well_formed", 1, true);
    expectProblem("<Other/>", "wrong_root", 1, true);
    expectProblem("\n<!DOCTYPE Product>\n<Product/>", "doctype", 2, true);
    expectProblem("<!DOCTYPE Product [<!ENTITY x SYSTEM \"/etc/passwd\">]>\n<Product/>", "doctype", 1, true);
    expectProblem("<Product>\n" + packageOf("\xC3\xA4", "1") + "</Product>", "undeclared_encoding", 4);
}

TEST_F(DbCheckTest, Elements)
{
    const std::string package = packageOf("app", "1");
    expectProblem(productOf(package + "<Packge/>\n"), "unknown_element", 14);
    expectProblem(productOf(packageOf("app", "1", "<Path/>\n")), "unknown_element", 13);
    expectProblem(productOf(without(package, leaf("CcFile", "app.cc"))), "missing_element", 4);
    expectProblem(productOf("<Package/>\n"), "missing_element", 3);
    expectProblem(productOf(package + "<StartupPackage/>\n"), "missing_element", 14);
    expectProblem(productOf(without(packageOf("app", "1", patchOf("fix")), leaf("SrcFilePath", "s"))),
                  "missing_element", 13);
    expectProblem(productOf("<Package>\n" + baseOf("a", "1") + baseOf("b", "1") + "</Package>\n"), "repeated_element",
                  13);
    expectProblem(productOf(packageOf("app", "1</Version><Version>2")), "repeated_element", 6);
    expectProblem(productOf(packageOf("app", "<b/>")), "not_plain", 6);
    expectProblem(productOf("<Package x=\"1\">\n" + baseOf("app", "1") + "</Package>\n"), "attribute", 3);
    expectProblem(productOf("<Package xmlns=\"urn:x\">\n" + baseOf("app", "1") + "</Package>\n"), "namespace", 3);
    expectProblem(productOf(package + "\ntext\n\n"), "stray_text", 15);
}

TEST_F(DbCheckTest, Values)
{
    expectProblem(productOf(packageOf("app", std::string(128, 'v'))), "too_long", 6);
    expectProblem(productOf(packageOf(std::string(128, 'n'), "1")), "too_long", 5);
    expectProblem(productOf(packageOf("", "1")), "no_name", 4);
    expectProblem(productOf(packageOf("app", "1") + packageOf("x", "1") + packageOf("app", "1")), "duplicate", 25);
    expectProblem(productOf(packageOf("app", "1", patchOf("fix") + patchOf("fix"))), "duplicate", 20);
    expectProblem(productOf(packageOf("app", "1", patchOf("fix"))), "not_listable", 13);
}

TEST_F(DbCheckTest, DamageIsShownAsFarAsItCanBeReadAndNeverChanged)
{
    const std::string content = productOf(packageOf("first", "1") + packageOf("second", "2"));
    writeFile(db, content.substr(0, content.size() - 40));
    const Outcome list = run("list");
    EXPECT_EQ(list.status, 1);
    EXPECT_NE(list.out.find("first"), std::string::npos);
    EXPECT_NE(list.out.find("second"), std::string::npos);
    EXPECT_NE(list.err.find("damaged, shown as far as it can be read"), std::string::npos);
    const Outcome json = run("list", {"--json"});
    EXPECT_EQ(json.status, 1);
    EXPECT_EQ(json.json()["damaged"], true);
    EXPECT_EQ(json.json()["packages"].size(), 2u);
    const Outcome show = run("show", {"first"});
    EXPECT_EQ(show.status, 1);
    EXPECT_NE(show.out.find("PackageName  first"), std::string::npos) << show.out;
    EXPECT_NE(run("show", {"third"}).err.find("the database is damaged"), std::string::npos);
    refused("remove", {"first"}, 3, "not changed, it is damaged: line ");
    refused("add", Arguments{"third", "1"} + places(), 3, "not changed, it is damaged: line ");
    refused("add-patch", Arguments{"first", "fix", "1"} + sources(), 3, "not changed, it is damaged: line ");
    writeFile(db, "<!DOCTYPE Product>\n" + content.substr(content.find('\n') + 1));
    refused("remove", {"first"}, 3, "a document type (DOCTYPE)");
}

TEST_F(DbCheckTest, WhatIsWrongIsMarkedAtItsPackage)
{
    writeFile(db, productOf(packageOf("good", "1") + without(packageOf("bad", "1"), leaf("CcFile", "app.cc"))));
    const Outcome list = run("list");
    EXPECT_EQ(list.status, 0);
    EXPECT_NE(list.out.find("\n!  bad   1        (missing)"), std::string::npos) << list.out;
    const Json packages = run("list", {"--json"}).json()["packages"];
    EXPECT_EQ(packages[0]["problems"].size(), 0u);
    ASSERT_EQ(packages[1]["problems"].size(), 1u);
    EXPECT_EQ(packages[1]["problems"][0]["kind"], "missing_element");
    EXPECT_EQ(packages[1]["cc_file"], nullptr);
    EXPECT_NE(run("show", {"bad"}).out.find("CcFile       (missing)"), std::string::npos);
}

TEST_F(DbCheckTest, EntitiesAreNeverTakenUp)
{
    writeFile(db, "<!DOCTYPE Product [<!ENTITY a \"SECRET\">]>\n<Product>\n" + packageOf("&a;", "1") + "</Product>");
    for (const std::string command : {"check", "list"}) {
        const Outcome outcome = run(command, {"--json"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out.find("SECRET"), std::string::npos);
    }
}

TEST_F(DbCheckTest, StartupPackage)
{
    const std::string startup =
        "<StartupPackage><BasePackage><CcFile>base.cc</CcFile></BasePackage></StartupPackage>\n";
    writeFile(db, productOf(packageOf("app", "1") + startup));
    EXPECT_EQ(run("startup").out, "base.cc\n");
    EXPECT_EQ(run("startup", {"--json"}).json()["startup"], "base.cc");
    writeFile(db, productOf(packageOf("app", "1")));
    EXPECT_EQ(run("startup").status, 1);
    EXPECT_EQ(run("startup", {"--json"}).json()["startup"], nullptr);
    expectProblem(productOf(startup + startup), "repeated_element", 4);
    writeFile(db, productOf("<StartupPackage/>\n"));
    EXPECT_EQ(run("startup").status, 3);
}

TEST_F(DbCheckTest, CcFilesAreReadOnWhereTheLibraryGivesUp)
{
    writeFile(db, productOf(packageOf("app", "1", patchOf("fix"))));
    const Outcome outcome = run("cc-files");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "/opt/packages/app.cc\n");
    EXPECT_NE(outcome.err.find("the library cannot list it"), std::string::npos) << outcome.err;
    EXPECT_EQ(run("cc-files", {"--json"}).json()["listed_by_library"], false);
}

} // namespace tarn::test
