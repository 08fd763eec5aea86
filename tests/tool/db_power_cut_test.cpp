// The power goes at every single call that changes a file: what is found then is the old state or the new one.
#include <sstream>

#include "db_test.h"

namespace tarn::test {

namespace {

constexpr int kKilled = 128 + 9;

class DbPowerCutTest : public DbTest {
protected:
    Arguments inTool = {std::string("LD_PRELOAD=") + TARN_POWER_CUT};
    std::string before;
    std::string after;

    void SetUp() override
    {
        if (*TARN_POWER_CUT == '\0') {
            GTEST_SKIP() << "the emulator and the sanitizer load no library of ours before their own";
        }
        DbTest::SetUp();
        fs::create_directory(copies);
        done("create");
        addPackage("app", "1.0");
        addPackage("other", "1.0");
        before = readFile(db);
    }
    Surroundings with(const Arguments &settings) const { return {inTool + settings, {}, {}}; }
    Surroundings cutAt(size_t call, bool isTorn = false) const
    {
        return with(Arguments{"POWER_CUT_AT=" + std::to_string(call)} +
                    (isTorn ? Arguments{"POWER_CUT_TORN=1"} : Arguments{}));
    }
    std::vector<std::string> callsOf(const std::string &command, const Arguments &more)
    {
        const Outcome outcome = run(command, more, with({"POWER_CUT_LOG=" + (dir / "log").string()}));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        std::istringstream lines(readFile(dir / "log"));
        std::vector<std::string> calls;
        for (std::string line; std::getline(lines, line);) {
            calls.push_back(line);
        }
        return calls;
    }
    void setBack()
    {
        for (const fs::path &directory : {place, copies}) {
            for (const auto &entry : fs::directory_iterator(directory)) {
                fs::remove(entry.path());
            }
        }
        writeFile(db, before);
        writeFile(copy, "<Product/>");
    }
    bool isOldOrNew(const fs::path &path, const std::string &oldState) const
    {
        const std::string found = readFile(path);
        return found == oldState || found == after;
    }

    // A change from `before` to `after`, cut at every call in turn. Returns how often the new state was found.
    size_t cutEverywhere(const std::string &command, const Arguments &more)
    {
        setBack();
        const size_t calls = callsOf(command, more).size();
        EXPECT_GE(calls, 6u);
        after = readFile(db);
        EXPECT_NE(after, before);
        size_t renewed = 0;
        for (size_t call = 1; call <= 2 * calls; ++call) {
            setBack();
            EXPECT_EQ(run(command, more, cutAt((call + 1) / 2, call % 2 == 0)).status, kKilled) << call;
            EXPECT_TRUE(isOldOrNew(db, before)) << "call " << (call + 1) / 2;
            EXPECT_EQ(run("check").status, 0) << "call " << (call + 1) / 2;
            renewed += readFile(db) == after ? 1 : 0;
            // The copy is whole as well: that of an earlier time or that of the state before the change.
            EXPECT_TRUE(readFile(copy) == "<Product/>" || readFile(copy) == before) << "call " << (call + 1) / 2;
            // Nothing stands in the way of the same change, lock and left-over files least of all.
            EXPECT_TRUE(readFile(db) == after || run(command, more).status == 0) << "call " << (call + 1) / 2;
            EXPECT_EQ(readFile(db), after);
        }
        setBack();
        EXPECT_EQ(run(command, more, cutAt(calls + 1)).status, 0);
        return renewed;
    }
};

} // namespace

TEST_F(DbPowerCutTest, AnAddition)
{
    EXPECT_GT(cutEverywhere("add", Arguments{"third", "1"} + places()), 0u);
}

TEST_F(DbPowerCutTest, AnUpdate)
{
    EXPECT_GT(cutEverywhere("update", {"app", "--new-version", "2.0"}), 0u);
}

TEST_F(DbPowerCutTest, ARemoval)
{
    EXPECT_GT(cutEverywhere("remove", {"app"}), 0u);
}

TEST_F(DbPowerCutTest, AnyCallMayFailInstead)
{
    const Arguments more = {"app", "--new-version", "2.0"};
    setBack();
    const size_t calls = callsOf("update", more).size();
    after = readFile(db);
    size_t failures = 0;
    for (size_t call = 1; call <= calls; ++call) {
        setBack();
        const Outcome outcome = run("update", more, with({"POWER_CUT_FAIL=" + std::to_string(call)}));
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 3) << outcome.status;
        EXPECT_EQ(readFile(db), outcome.status == 0 ? after : before) << call << outcome.err;
        EXPECT_EQ(outcome.err.empty(), outcome.status == 0) << outcome.err;
        expectNothingLeft();
        failures += outcome.status == 3 ? 1 : 0;
    }
    EXPECT_GE(failures, 6u);
}

TEST_F(DbPowerCutTest, ACreation)
{
    fs::remove(db);
    const size_t calls = callsOf("create", {}).size();
    const std::string created = readFile(db);
    for (size_t call = 1; call <= calls; ++call) {
        fs::remove(db);
        EXPECT_EQ(run("create", {}, cutAt(call)).status, kKilled);
        EXPECT_TRUE(!fs::exists(db) || readFile(db) == created) << call;
    }
}

TEST_F(DbPowerCutTest, ARestorationAndThenAnother)
{
    const std::string damaged = before.substr(0, before.size() / 2);
    const auto prepare = [&] {
        setBack();
        writeFile(copy, before);
        writeFile(db, damaged);
    };
    prepare();
    const size_t calls = callsOf("restore", {}).size();
    EXPECT_EQ(readFile(db), before);
    for (size_t call = 1; call <= calls; ++call) {
        prepare();
        EXPECT_EQ(run("restore", {}, cutAt(call)).status, kKilled);
        EXPECT_TRUE(readFile(db) == damaged || readFile(db) == before) << call;
        EXPECT_EQ(readFile(copy), before) << call;
        EXPECT_EQ(run("restore").status, 0) << call;
        EXPECT_EQ(readFile(db), before) << call;
    }
}

TEST_F(DbPowerCutTest, ContentReachesTheDiskBeforeTheNameAndTheNameBeforeTheEnd)
{
    const std::vector<std::string> calls = callsOf("remove", {"app"});
    std::string order;
    for (const std::string &call : calls) {
        order += call == "write" ? "w" : call == "fsync" ? "s" : call == "rename" ? "r" : "";
    }
    // The copy first, then the database: content, sync, name, sync of the directory. A write may come in pieces.
    ASSERT_GE(order.size(), 8u);
    EXPECT_EQ(order.substr(order.size() - 4), "wsrs") << order;
    EXPECT_EQ(order.substr(order.size() - 7, 3), "srs") << order;
}

TEST_F(DbPowerCutTest, WhatReadsOtherThanWrittenIsPutBack)
{
    fs::remove_all(copies);
    const Outcome outcome = run("remove", {"app"}, with({"POWER_CUT_SPOIL=1"}));
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.err.find("does not read as it was written; its former state was put back"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(readFile(db), before);
    expectNothingLeft();
}

TEST_F(DbPowerCutTest, ACopyThatReadsOtherThanWrittenEndsTheChange)
{
    const Outcome outcome = run("remove", {"app"}, with({"POWER_CUT_SPOIL=1"}));
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.err.find("does not read as it was written, so that nothing was changed"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(readFile(db), before);
}

} // namespace tarn::test
