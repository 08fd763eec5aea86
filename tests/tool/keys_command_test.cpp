// tarn keys new.
#include <gtest/gtest.h>

#include "tool_process.h"

namespace tarn::test {

TEST(KeysCommandTest, MakesAllThatSigningAndVerifyingNeed)
{
    const TempDir dir;
    const Outcome made = runTool({"keys", "new", "keys", "--bits", "2048", "--json"}, {{}, dir});
    ASSERT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(made.err.rfind("THESE KEYS ARE FOR DEVELOPMENT ONLY.", 0), 0u);
    const Json keys = made.json();
    EXPECT_EQ(keys["development_only"], true);
    EXPECT_EQ(keys["bits"], 2048);
    EXPECT_EQ(keys["config"], (dir / "keys/basic.conf").string());
    EXPECT_EQ(modeOf(dir / "keys/basic.conf"), 0600u);

    writeFile(dir / "file", "content");
    ASSERT_EQ(runTool({"package", "create", "-o", dir / "p.cc", "--key", keys["key"], "--cert", keys["certificate"],
                       dir / "file"})
                  .status,
              0);
    EXPECT_EQ(runTool({"package", "verify", dir / "p.cc"}).status, 1);
    EXPECT_EQ(runTool({"package", "verify", dir / "p.cc", "--config", keys["config"]}).status, 0);
}

TEST(KeysCommandTest, TextNamesTheFiles)
{
    const TempDir dir;
    const Outcome made = runTool({"keys", "new", dir / "keys", "--bits", "2048"});
    EXPECT_EQ(made.status, 0);
    EXPECT_NE(made.out.find("for --config         " + (dir / "keys/basic.conf").string() + "\n"), std::string::npos)
        << made.out;
}

TEST(KeysCommandTest, OverwritesNothing)
{
    const TempDir dir;
    for (const char *name : {"basic.conf", "ca.key", "signer.pem"}) {
        fs::create_directory(dir / "keys");
        writeFile(dir / "keys" / name, "precious");
        const Outcome refused = runTool({"keys", "new", dir / "keys", "--bits", "2048"});
        EXPECT_EQ(refused.status, 3);
        EXPECT_EQ(refused.err,
                  "tarn: " + (dir / "keys" / name).string() + ": is there already; keys are never overwritten\n");
        EXPECT_EQ(readFile(dir / "keys" / name), "precious");
        EXPECT_EQ(std::distance(fs::directory_iterator(dir / "keys"), {}), 1);
        fs::remove_all(dir / "keys");
    }
    EXPECT_EQ(runTool({"keys", "new", dir / "keys", "--bits", "1024"}).status, 2);
    EXPECT_EQ(runTool({"keys", "new", dir / "line\nfeed"}).status, 2);
}

} // namespace tarn::test
