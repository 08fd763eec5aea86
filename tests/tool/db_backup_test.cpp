// tarn db backup, backups, restore.
#include "db_test.h"

namespace tarn::test {

namespace {

class DbBackupTest : public DbTest {
protected:
    std::string before;
    std::string damaged;

    void SetUp() override
    {
        DbTest::SetUp();
        done("create");
        addPackage("app", "1.0");
        before = readFile(db);
        damaged = before.substr(0, before.size() / 2);
        fs::create_directory(copies);
    }
};

} // namespace

TEST_F(DbBackupTest, CopiesAndShowsTheCopy)
{
    EXPECT_EQ(run("backups").status, 1);
    EXPECT_EQ(run("backups", {"--json"}).json()["copies"].size(), 0u);
    EXPECT_EQ(run("backup", {"--dry-run"}).status, 0);
    EXPECT_FALSE(fs::exists(copy));
    const Outcome outcome = run("backup");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, db.string() + ": copied to " + fs::canonical(copy).string() + ", 1 package\n");
    EXPECT_EQ(readFile(copy), before);
    EXPECT_EQ(run("backup", {"--json"}).json()["packages"], 1);
    Json found = run("backups", {"--json"}).json()["copies"][0];
    EXPECT_EQ(found["usable"], true);
    EXPECT_EQ(found["same"], true);
    EXPECT_EQ(found["packages"], 1);
    EXPECT_EQ(found["fault"], nullptr);
    EXPECT_EQ(found["modified"].get<std::string>().size(), std::string("2000-01-01T00:00:00Z").size());
    EXPECT_NE(run("backups").out.find("usable, 1 package, of "), std::string::npos);
    addPackage("other", "1");
    EXPECT_EQ(run("backups", {"--json"}).json()["copies"][0]["same"], false);
    writeFile(copy, damaged);
    const Outcome bad = run("backups");
    EXPECT_EQ(bad.status, 1);
    EXPECT_NE(bad.out.find("not usable, damaged, line "), std::string::npos) << bad.out;
    EXPECT_EQ(run("backups", {"--json"}).json()["copies"][0]["usable"], false);
}

TEST_F(DbBackupTest, ADamagedDatabaseIsNotCopied)
{
    done("backup");
    writeFile(db, damaged);
    refused("backup", {}, 3, "not copied over an earlier state, it is damaged: line ");
    EXPECT_EQ(readFile(copy), before);
    writeFile(db, before);
    fs::remove_all(copies);
    refused("backup", {}, 3, "there is no directory");
    EXPECT_FALSE(fs::exists(copies));
}

TEST_F(DbBackupTest, PutsTheCopyBack)
{
    done("backup");
    addPackage("other", "1");
    writeFile(copy, before);
    const std::string later = readFile(db);
    EXPECT_EQ(run("restore", {"--dry-run"}).status, 0);
    EXPECT_EQ(readFile(db), later);
    const Json report = run("restore", {"--json"}).json();
    EXPECT_EQ(report["changed"], true);
    EXPECT_EQ(report["was"], "good");
    EXPECT_EQ(report["forced"], false);
    EXPECT_EQ(readFile(db), before);
    EXPECT_NE(run("restore").out.find(": nothing to change, the same as "), std::string::npos);

    writeFile(db, damaged);
    EXPECT_NE(run("check").out.find("\"tarn db restore " + db.string() + "\" puts it back"), std::string::npos);
    const Outcome outcome = run("restore");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find(", which was damaged, is restored from "), std::string::npos);
    EXPECT_EQ(readFile(db), before);

    fs::remove(db);
    EXPECT_EQ(run("restore", {"--json"}).json()["was"], "missing");
    EXPECT_EQ(readFile(db), before);
    EXPECT_EQ(modeOf(db), modeOf(copy));
    expectNothingLeft();
}

TEST_F(DbBackupTest, ABadCopyIsPutBackByForceOnly)
{
    refused("restore", {}, 1, "there is no copy of it in ");
    writeFile(copy, damaged);
    refused("restore", {}, 3, "not restored: it is good, and its copy ");
    writeFile(db, "<Product>");
    refused("restore", {}, 3, "not restored: it is damaged, and its copy ");
    writeFile(db, before);
    const Outcome dry = run("restore", {"--force", "--dry-run"});
    EXPECT_EQ(dry.status, 0);
    EXPECT_EQ(readFile(db), before);
    const Outcome outcome = run("restore", {"--force"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find("put back by force: damaged, line "), std::string::npos) << outcome.err;
    EXPECT_EQ(readFile(db), damaged);
    // What is no file is nothing to put back.
    writeFile(db, before);
    fs::remove(copy);
    fs::create_directory(copy);
    refused("restore", {"--force"}, 3, "not a regular file");
}

} // namespace tarn::test
