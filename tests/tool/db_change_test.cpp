// tarn db: every change, for people and for programs, dry and done.
#include <sys/stat.h>
#include <unistd.h>

#include "db_test.h"

namespace tarn::test {

namespace {

class DbChangeTest : public DbTest {
protected:
    void SetUp() override
    {
        DbTest::SetUp();
        done("create");
        addPackage("app", "1.0");
    }

    // The change as JSON: first without effect, then with it; the report is the same.
    Json changeOf(const std::string &command, const Arguments &more)
    {
        const std::string before = readFile(db);
        const Json dry = run(command, more + Arguments{"--dry-run", "--json"}).json();
        EXPECT_EQ(readFile(db), before);
        EXPECT_EQ(dry["dry_run"], true);
        const Outcome human = run(command, more + Arguments{"--dry-run"});
        EXPECT_EQ(human.status, 0);
        EXPECT_EQ(human.out.rfind(db.string() + ": would have\n", 0), 0u) << human.out;
        EXPECT_EQ(readFile(db), before);
        const Outcome outcome = run(command, more + Arguments{"--json"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        const Json report = outcome.json();
        EXPECT_EQ(report["database"], db.string());
        EXPECT_EQ(report["changed"], true);
        EXPECT_EQ(report["dry_run"], false);
        EXPECT_EQ(report["changes"], dry["changes"]);
        EXPECT_NE(readFile(db), before);
        expectNothingLeft();
        return report["changes"];
    }
};

} // namespace

TEST_F(DbChangeTest, CreatesAnEmptyDatabase)
{
    fs::remove(db);
    const Outcome dry = run("create", {"--dry-run"});
    EXPECT_EQ(dry.status, 0);
    EXPECT_EQ(dry.out, db.string() + ": would be created, without packages\n");
    EXPECT_FALSE(fs::exists(db));
    const Outcome outcome = run("create");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, db.string() + ": created, without packages\n");
    EXPECT_EQ(run("check").out, db.string() + ": sound, 0 packages\n");
    EXPECT_EQ(modeOf(db) & 027u, 0u);
    refused("create", {}, 3, "is there already; a database is never overwritten");
    fs::remove(db);
    const Json report = run("create", {"--json"}).json();
    EXPECT_EQ(report["created"], true);
}

TEST_F(DbChangeTest, AddsAPackage)
{
    const Json changes = changeOf("add", Arguments{"other", "2", "--active-time", "now"} + places());
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0]["change"], "added");
    EXPECT_EQ(changes[0]["element"], "package");
    EXPECT_EQ(changes[0]["name"], "other");
    const Json added = package(1);
    EXPECT_EQ(added["name"], "other");
    EXPECT_EQ(added["version"], "2");
    EXPECT_EQ(added["cc_file"], "app.cc");
    EXPECT_EQ(added["cc_path"], "/opt/packages");
    EXPECT_EQ(added["install_path"], "/opt/app");
    EXPECT_EQ(added["pool_path"], "/pool/app");
    EXPECT_EQ(added["active_time"], "now");
}

TEST_F(DbChangeTest, ANewVersionComesInPlaceOrBeside)
{
    const Outcome outcome = run("add", Arguments{"app", "1.1"} + places());
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out.rfind(db.string() + ":\nupdated package app 1.1\n    Version: \"1.0\" -> \"1.1\"\n", 0), 0u);
    EXPECT_EQ(listed()["packages"].size(), 1u);
    changeOf("add", Arguments{"app", "2.0", "--side-by-side"} + places());
    EXPECT_EQ(listed()["packages"].size(), 2u);
    EXPECT_EQ(package(0)["version"], "1.1");
    EXPECT_EQ(package(1)["version"], "2.0");
}

TEST_F(DbChangeTest, WhatIsThereAlreadyIsNotWritten)
{
    struct stat before = {};
    ASSERT_EQ(stat(db.c_str(), &before), 0);
    for (const Arguments &more : {Arguments{}, Arguments{"--active-time", "later"}}) {
        const Outcome outcome = run("add", Arguments{"app", "1.0"} + places() + more);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, db.string() + ": nothing to change\n");
    }
    struct stat after = {};
    ASSERT_EQ(stat(db.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
}

TEST_F(DbChangeTest, UpdatesWhatIsGiven)
{
    const Json changes = changeOf("update", {"app", "--new-version", "1.2", "--cc", "/new/b.cc", "--active-time", "t"});
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0]["change"], "updated");
    EXPECT_EQ(changes[0]["fields"].size(), 4u);
    const Json updated = package(0);
    EXPECT_EQ(updated["version"], "1.2");
    EXPECT_EQ(updated["cc_file"], "b.cc");
    EXPECT_EQ(updated["cc_path"], "/new");
    EXPECT_EQ(updated["active_time"], "t");
    EXPECT_EQ(updated["install_path"], "/opt/app");
    addPackage("app", "2", {"--side-by-side"});
    refused("update", {"app", "--install-path", "/x"}, 3, "has 2 entries of package \"app\"");
    changeOf("update", {"app", "--pkg-version", "2", "--install-path", "/x"});
    EXPECT_EQ(package(0)["install_path"], "/opt/app");
    EXPECT_EQ(package(1)["install_path"], "/x");
}

TEST_F(DbChangeTest, PatchesAndModsComeAndGo)
{
    for (const std::string kind : {"patch", "mod"}) {
        const std::string many = kind == "patch" ? "patches" : "mods";
        const Json changes = changeOf("add-" + kind, Arguments{"app", "fix", "7"} + sources());
        ASSERT_EQ(changes.size(), 1u);
        EXPECT_EQ(changes[0]["change"], "added");
        EXPECT_EQ(changes[0]["element"], kind);
        EXPECT_EQ(changes[0]["package"], "app");
        const Json part = package(0)[many][0];
        EXPECT_EQ(part["name"], "fix");
        EXPECT_EQ(part["version"], "7");
        EXPECT_EQ(part["source"], "/src");
        EXPECT_EQ(part["install_path"], "/opt/app");
        EXPECT_EQ(part["pool_path"], "/pool/p");
        EXPECT_NE(run("show", {"app"}).out.find("fix"), std::string::npos);
        refused("add-" + kind, Arguments{"app", "fix", "8"} + sources(), 1, "has a " + kind + " \"fix\" already");
        changeOf("remove-" + kind, {"app", "fix"});
        EXPECT_EQ(package(0)[many].size(), 0u);
        refused("remove-" + kind, {"app", "fix"}, 1, "has no " + kind + " \"fix\"");
        refused("add-" + kind, Arguments{"none", "fix", "8"} + sources(), 1, "package \"none\" is not installed");
        refused("remove-" + kind, {"none", "fix"}, 1, "package \"none\" is not installed");
    }
}

TEST_F(DbChangeTest, RemovesByNameVersionAndCcPackage)
{
    addPackage("app", "2.0", {"--side-by-side"});
    addPackage("app", "3.0", {"--side-by-side"});
    refused("remove", {"app"}, 3, "choose one with --pkg-version, or remove them all with --all");
    changeOf("remove", {"app", "--pkg-version", "2.0"});
    EXPECT_EQ(package(1)["version"], "3.0");
    EXPECT_EQ(changeOf("remove", {"app", "--all"}).size(), 2u);
    EXPECT_EQ(listed()["packages"].size(), 0u);
    refused("remove", {"app"}, 1, "package \"app\" is not installed");

    addPackage("one", "1");
    addPackage("two", "1");
    done("add", {"three", "1", "--cc", "/opt/packages/other.cc", "--install-path", "/i", "--pool-path", "/p"});
    refused("remove-cc", {"/opt/app.cc"}, 1, "has no package from \"/opt/app.cc\"");
    EXPECT_EQ(changeOf("remove-cc", {"/opt/packages/app.cc"}).size(), 2u);
    EXPECT_EQ(package(0)["name"], "three");
}

TEST_F(DbChangeTest, NothingToChangeItIn)
{
    refused("update", {"none", "--install-path", "/x"}, 1, "package \"none\" is not installed");
    refused("update", {"app"}, 2, "nothing to update is given");
    refused("update", {"app", "--pkg-version", "1.0", "--new-version", "2"}, 2, "exclude each other");
    refused("remove", {"app", "--all", "--pkg-version", "1.0"}, 2, "exclude each other");
    refused("remove", {"app", "--pkg-version", "9"}, 1, "package \"app\" \"9\" is not installed");
    refused("remove-cc", {"/opt/packages/"}, 2, "ends with a slash");
    refused("add", Arguments{"x", "1", "--cc", "/a/", "--install-path", "/i", "--pool-path", "/p"}, 2,
            "ends with a slash");
    refused("remove", {"app", "--wait", "soon"}, 2, "no number of seconds");
}

TEST_F(DbChangeTest, PathsThatTheLibraryReadsAndWritesDifferently)
{
    const fs::path strange = place / "a%41.xml";
    for (const std::string command : {"create", "check", "list", "startup", "cc-files"}) {
        for (const std::string &path : {strange.string(), std::string("-")}) {
            const Outcome outcome = runTool({"db", command, "--", path});
            EXPECT_EQ(outcome.status, 2) << command;
            EXPECT_NE(outcome.err.find(path == "-" ? "is no database" : "is unescaped when the library saves"),
                      std::string::npos)
                << outcome.err;
        }
    }
    EXPECT_FALSE(fs::exists(strange));
    EXPECT_EQ(runTool({"db", "remove", strange, "app"}).status, 2);
    // The directory's name is a part of it.
    fs::create_directory(dir / "d%20");
    EXPECT_EQ(runTool({"db", "create", dir / "d%20/x.xml"}).status, 2);
}

TEST_F(DbChangeTest, ModeAndOwnerStay)
{
    fs::create_directory(copies);
    ASSERT_EQ(chmod(db.c_str(), 0604), 0);
    const bool isRoot = geteuid() == 0;
    ASSERT_EQ(isRoot ? chown(db.c_str(), 1234, 2345) : 0, 0);
    addPackage("other", "1");
    for (const fs::path &path : {db, copy}) {
        struct stat status = {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777u, 0604u) << path;
        EXPECT_EQ(status.st_uid, isRoot ? 1234u : geteuid()) << path;
        EXPECT_EQ(status.st_gid, isRoot ? 2345u : getegid()) << path;
    }
}

TEST_F(DbChangeTest, ALinkStaysALinkAndHardLinksAreRefused)
{
    fs::create_symlink(db, dir / "link.xml");
    EXPECT_EQ(runTool(Arguments{"db", "add", dir / "link.xml", "other", "1"} + places()).status, 0);
    EXPECT_TRUE(fs::is_symlink(dir / "link.xml"));
    EXPECT_EQ(listed()["packages"].size(), 2u);
    fs::create_hard_link(db, dir / "twin.xml");
    refused("remove", {"app"}, 3, "has 2 names (hard links)");
}

TEST_F(DbChangeTest, TheFormerStateIsCopiedFirst)
{
    EXPECT_NE(run("add", Arguments{"a", "1"} + places()).out.find("no copy of its former state"), std::string::npos);
    fs::create_directory(copies);
    const std::string before = readFile(db);
    const Json report = run("add", Arguments{"b", "1", "--json"} + places()).json();
    EXPECT_EQ(report["backup"], fs::canonical(copy).string());
    EXPECT_EQ(readFile(copy), before);
    EXPECT_EQ(run("remove", {"b", "--dry-run", "--json"}).json()["backup"], nullptr);
    EXPECT_EQ(readFile(copy), before);
    // Where no copy can be made, nothing is changed.
    fs::remove(copy);
    fs::create_directory(copy);
    refused("remove", {"b"}, 3, "nothing was changed");
}

TEST_F(DbChangeTest, TheLibrarysOwnReadingAgrees)
{
    EXPECT_EQ(run("cc-files").out, "/opt/packages/app.cc\n");
    const Json report = run("cc-files", {"--json"}).json();
    EXPECT_EQ(report["listed_by_library"], true);
    EXPECT_EQ(report["cc_files"], Json::array({"/opt/packages/app.cc"}));
}

} // namespace tarn::test
