// Tools at the same database at once, and writes that fail.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include "db_test.h"

namespace tarn::test {

namespace {

class DbRaceTest : public DbTest {
protected:
    void SetUp() override
    {
        DbTest::SetUp();
        done("create");
        addPackage("app", "1.0");
    }
    fs::path lockPath() const { return db.string() + ".lock"; }
};

} // namespace

TEST_F(DbRaceTest, ALockHeldByAnotherIsWaitedFor)
{
    const Descriptor lock(lockPath(), O_RDONLY);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    for (const Arguments &change :
         {Arguments{"remove", "app"}, Arguments{"update", "app", "--install-path", "/x"}, Arguments{"backup"}}) {
        refused(change[0], Arguments(change.begin() + 1, change.end()) + Arguments{"--wait", "0"}, 3,
                "another tarn is changing it");
    }
    EXPECT_EQ(run("list").status, 0);
    EXPECT_EQ(run("remove", {"app", "--dry-run"}).status, 0);
    const pid_t waiting = startTool({"db", "remove", db, "app", "--wait", "200"});
    usleep(100000);
    EXPECT_EQ(listed()["packages"].size(), 1u);
    ASSERT_EQ(flock(lock, LOCK_UN), 0);
    EXPECT_EQ(exitStatus(waiting), 0);
    EXPECT_EQ(listed()["packages"].size(), 0u);
}

TEST_F(DbRaceTest, NoChangeOfTwentyAtOnceIsLost)
{
    std::vector<pid_t> tools;
    for (int index = 0; index < 20; ++index) {
        tools.push_back(
            startTool(Arguments{"db", "add", db, "p" + std::to_string(index), "1", "--wait", "200"} + places()));
    }
    for (const pid_t tool : tools) {
        EXPECT_EQ(exitStatus(tool), 0);
    }
    EXPECT_EQ(listed()["packages"].size(), 21u);
    EXPECT_EQ(run("check").status, 0);
    expectNothingLeft();
}

TEST_F(DbRaceTest, FailedWritesLeaveTheOldState)
{
    const auto limited = [](rlim_t size) {
        return Surroundings{{}, {}, [size] {
                                const rlimit limit = {size, size};
                                setrlimit(RLIMIT_FSIZE, &limit);
                            }};
    };
    // What is printed is limited, too.
    std::string many;
    for (int index = 0; index < 30; ++index) {
        many += packageOf("p" + std::to_string(index), "1");
    }
    writeFile(db, productOf(many));
    fs::create_directory(copies);
    const Arguments adding = Arguments{"other", "1"} + places();
    refused("add", adding, 3, "cannot make a private copy of the database: File too large", limited(4000));
    refused("add", adding, 3, "not changed, SWM_AddBasePackageInfo failed", limited(fs::file_size(db)));
    refused("backup", {}, 3, "cannot be made", limited(4000));
    EXPECT_TRUE(fs::is_empty(copies));
}

TEST_F(DbRaceTest, AReadOnlyPlaceIsRefused)
{
    if (geteuid() == 0) {
        GTEST_SKIP() << "root writes everywhere";
    }
    fs::permissions(db, fs::perms::owner_read);
    refused("remove", {"app"}, 3, "cannot write");
    fs::permissions(db, fs::perms::owner_read | fs::perms::owner_write);
    fs::permissions(place, fs::perms::owner_read | fs::perms::owner_exec);
    refused("remove", {"app"}, 3, "not changed");
    fs::permissions(place, fs::perms::owner_all);
}

TEST_F(DbRaceTest, ALockThatIsALinkIsNotFollowed)
{
    fs::remove(lockPath());
    fs::create_symlink(dir / "elsewhere", lockPath());
    refused("remove", {"app"}, 3, "cannot open the lock file");
    EXPECT_FALSE(fs::exists(dir / "elsewhere"));
}

TEST_F(DbRaceTest, WhatIsNoDatabaseFile)
{
    fs::remove(db);
    EXPECT_EQ(run("list").status, 3);
    EXPECT_NE(run("remove", {"app"}).err.find("\"tarn db create\" makes a new one"), std::string::npos);
    fs::create_directory(db);
    EXPECT_EQ(run("list").status, 3);
    EXPECT_EQ(runTool({"db", "list", "/dev/full"}).status, 3);
    EXPECT_EQ(runTool({"db", "remove", "/dev/full", "app"}).status, 3);
    EXPECT_FALSE(fs::exists("/dev/full.lock"));
}

} // namespace tarn::test
