// tarn boot.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "tool_process.h"

namespace tarn::test {

namespace {

class BootCommandTest : public testing::Test {
protected:
    TempDir dir;
    fs::path config = dir / "boot.conf";
    fs::path version = dir / "pool/app/1.0";
    fs::path marker = version / "bootlocal";

    BootCommandTest()
    {
        writeFile(config, "[paths]\npackage_pool = " + (dir / "pool").string() + "\n");
        fs::create_directories(version);
    }

    Outcome boot(const std::string &command, const Arguments &more = {"app", "1.0"})
    {
        return runTool(Arguments{"boot", command, "--config", config} + more);
    }
};

} // namespace

TEST_F(BootCommandTest, MarksAndUnmarks)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "the marker's owner is set, which needs root";
    }
    const std::string title = "package \"app\" \"1.0\": ";
    EXPECT_EQ(boot("status").status, 1);
    EXPECT_EQ(boot("status").out, title + "not marked for local boot: " + marker.string() + "\n");
    const Outcome marked = boot("mark");
    ASSERT_EQ(marked.status, 0) << marked.err;
    EXPECT_EQ(marked.out, title + "marked for local boot: " + marker.string() + "\n");
    EXPECT_EQ(modeOf(marker), 0640u);
    EXPECT_EQ(fs::file_size(marker), 0u);
    EXPECT_EQ(boot("status").status, 0);
    EXPECT_EQ(boot("status").out, title + "marked for local boot: " + marker.string() + "\n");
    EXPECT_EQ(boot("mark").out, title + "was marked already: " + marker.string() + "\n");
    EXPECT_EQ(boot("unmark").out, title + "no longer marked: " + marker.string() + "\n");
    EXPECT_FALSE(fs::exists(marker));
    EXPECT_EQ(boot("unmark").out, title + "was not marked: " + marker.string() + "\n");
    EXPECT_EQ(boot("unmark").status, 0);
}

TEST_F(BootCommandTest, Json)
{
    Json expected = {
        {"name", "app"}, {"version", "1.0"}, {"path", marker.string()}, {"in_pool", true}, {"marked", false}};
    EXPECT_EQ(boot("status", {"app", "1.0", "--json"}).json(), expected);
    if (geteuid() == 0) {
        expected.update({{"marked", true}, {"changed", true}});
        EXPECT_EQ(boot("mark", {"app", "1.0", "--json"}).json(), expected);
        expected["changed"] = false;
        EXPECT_EQ(boot("mark", {"app", "1.0", "--json"}).json(), expected);
        expected.update({{"marked", false}, {"changed", true}});
        EXPECT_EQ(boot("unmark", {"app", "1.0", "--json"}).json(), expected);
    }
}

TEST_F(BootCommandTest, WhatIsNotInThePool)
{
    const Outcome refused = boot("mark", {"app", "2.0"});
    EXPECT_EQ(refused.status, 3);
    EXPECT_NE(refused.err.find("not in the pool: there is no " + (dir / "pool/app/2.0").string()), std::string::npos);
    EXPECT_FALSE(fs::exists(dir / "pool/app/2.0"));
    const Outcome status = boot("status", {"app", "2.0"});
    EXPECT_EQ(status.status, 1);
    EXPECT_NE(status.out.find(", and not in the pool: "), std::string::npos) << status.out;
}

TEST_F(BootCommandTest, HostileNames)
{
    for (const std::string name : {"..", ".", "a/b", "a\nb", "\033[2J"}) {
        for (const char *command : {"mark", "unmark", "status"}) {
            const Outcome first = boot(command, {name, "1.0"});
            EXPECT_EQ(first.status, 2) << command << first.err;
            EXPECT_NE(first.err.find("no name or version that a package in the pool can have"), std::string::npos);
            EXPECT_EQ(first.err.find('\033'), std::string::npos);
            EXPECT_EQ(boot(command, {"app", name}).status, 2);
        }
    }
    EXPECT_EQ(boot("mark", {std::string(300, 'n'), "1.0"}).status, 3);
    EXPECT_EQ(boot("mark", {"app"}).status, 2);
    EXPECT_EQ(boot("mark", {"app", "1.0", "2.0"}).status, 2);
    EXPECT_EQ(boot("unknown").status, 2);
}

TEST_F(BootCommandTest, SomethingElseInTheMarkersPlace)
{
    fs::create_directory(marker);
    for (const char *command : {"mark", "unmark", "status"}) {
        EXPECT_EQ(boot(command).status, 3);
    }
    EXPECT_TRUE(fs::is_directory(marker));
    fs::remove(marker);
    fs::create_symlink("/etc/passwd", marker);
    EXPECT_EQ(boot("status").status, 3);
    fs::permissions(config, fs::perms(0666));
    EXPECT_EQ(boot("status").status, 3) << "a configuration that others can change";
}

} // namespace tarn::test
