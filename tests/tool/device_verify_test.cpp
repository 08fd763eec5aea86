// tarn verify: one report for a device.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "list_lines.h"
#include "packaging/signed_list.h"
#include "packaging/signer.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

class DeviceVerifyTest : public testing::Test {
protected:
    TempDir dir;
    fs::path root = dir / "device";
    fs::path version = root / "pool/app/1.0";
    fs::path config = dir / "basic.conf";

    void SetUp() override
    {
        fs::create_directories(version / "desc");
        fs::create_directories(root / "opt");
        const SmallPackage package(dir);
        fs::copy_file(package.path, version / "app.cc");
        writeFile(root / "opt/a", "content");
        writeFile(version / "desc/filelist.txt", FileLine{.poolName = "a"}.text());
        const std::string list = packaging::signedListText({{"a.bin", std::string(64, 'a')}});
        writeFile(version / "signature_pss_filelist", list);
        writeFile(version / "signature_pss_cms",
                  packaging::Signer(programDir() / "keys/signer.key", programDir() / "keys/signer.pem").sign(list));
        writeFile(config, "[trust]\nanchors = " + (programDir() / "keys/ca.pem").string() +
                              "\nsigner_purpose = codeSigning\n[paths]\npackage_pool = /pool\n");
    }
    Outcome verify(const Arguments &more = {}) { return runTool(Arguments{"verify", root, "--config", config} + more); }
    Json report(const Arguments &more = {}) { return verify(more + Arguments{"--json"}).json(); }
    // Verdicts in the order of packages, signed lists, installed files.
    std::vector<std::string> verdicts()
    {
        std::vector<std::string> all;
        const Json found = report();
        for (const Json &item : found["items"]) {
            all.push_back(item["verdict"]);
        }
        return all;
    }
};

using Verdicts = std::vector<std::string>;

} // namespace

TEST_F(DeviceVerifyTest, FindsEverythingInThePool)
{
    const Outcome outcome = verify();
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out, "good       package " + (version / "app.cc").string() +
                               ": structure, signature and digests\ngood       signed list " +
                               (version / "signature_pss_filelist").string() +
                               ": signature\ngood       installed files " + (version / "desc/filelist.txt").string() +
                               ": 0 of 1 not as listed, 0 unreadable\n" + root.string() +
                               ": 3 good, 0 bad, 0 unchecked\n");
    const Json json = report();
    EXPECT_EQ(json["valid"], true);
    EXPECT_EQ(json["good"], 3);
    EXPECT_EQ(json["items"][0]["type"], "package");
}

TEST_F(DeviceVerifyTest, GoesOnBehindWhatIsBad)
{
    std::string bytes = readFile(version / "app.cc");
    bytes[bytes.size() - 1] = static_cast<char>(bytes[bytes.size() - 1] ^ 1);
    bytes[7000] = static_cast<char>(bytes[7000] ^ 1);
    writeFile(version / "app.cc", bytes);
    EXPECT_EQ(verdicts(), (Verdicts{"bad", "good", "good"}));
    writeFile(version / "signature_pss_filelist", readFile(version / "signature_pss_filelist") + "; more\n");
    EXPECT_EQ(verdicts(), (Verdicts{"bad", "bad", "good"}));
    fs::remove(root / "opt/a");
    EXPECT_EQ(verdicts(), (Verdicts{"bad", "bad", "bad"}));
    const Outcome outcome = verify();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find(": 0 good, 3 bad, 0 unchecked\n"), std::string::npos) << outcome.out;
    EXPECT_FALSE(fs::exists(root / "opt/a"));
}

TEST_F(DeviceVerifyTest, AListWithoutItsSignatureIsBad)
{
    fs::remove(version / "signature_pss_cms");
    EXPECT_EQ(verdicts(), (Verdicts{"good", "bad", "good"}));
    const Outcome outcome = verify();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("list or signature is missing"), std::string::npos) << outcome.out;
}

TEST_F(DeviceVerifyTest, WhatIsNamedInsteadOfThePool)
{
    fs::remove_all(root / "pool");
    const SmallPackage package(dir);
    writeFile(dir / "list.txt", FileLine{.poolName = "a"}.text());
    const Json json = report({"--package", package.path, "--list", dir / "list.txt", "--list", dir / "none.txt"});
    EXPECT_EQ(json["good"], 2);
    EXPECT_EQ(json["unchecked"], 1);
    EXPECT_EQ(verify({"--list", dir / "none.txt"}).status, 3);
    writeFile(dir / "bad.txt", "no list\n");
    EXPECT_EQ(verify({"--list", dir / "bad.txt"}).status, 1);
    writeFile(dir / "other", "");
    EXPECT_EQ(verify({"--signed-list", dir / "other"}).status, 3);
    EXPECT_EQ(verify({"--package", dir / "none.cc"}).status, 1);
    EXPECT_EQ(verify().status, 3); // no pool
    fs::create_directories(root / "pool");
    const Outcome empty = verify();
    EXPECT_EQ(empty.status, 3);
    EXPECT_NE(empty.err.find("nothing there to verify"), std::string::npos) << empty.err;
    EXPECT_EQ(runTool({"verify"}).status, 2);
}

TEST_F(DeviceVerifyTest, WithoutAnchorsNothingIsJudged)
{
    writeFile(config, "[paths]\npackage_pool = /pool\n");
    EXPECT_EQ(verdicts(), (Verdicts{"unchecked", "unchecked", "good"}));
    EXPECT_EQ(verify().status, 3);
}

TEST_F(DeviceVerifyTest, WhatCannotBeReadIsNamed)
{
    fs::create_directory(version / "desc/more.txt"); // no files: passed over
    ASSERT_EQ(mkfifo((version / "desc/fifo.txt").c_str(), 0600), 0);
    EXPECT_EQ(verify().status, 0);
    if (geteuid() != 0) {
        fs::permissions(version / "desc", fs::perms::none);
        EXPECT_EQ(verify().status, 3);
        fs::permissions(version / "desc", fs::perms::owner_all);
    }
}

TEST_F(DeviceVerifyTest, AnInstalledFileThatCannotBeReadIsNoAnswer)
{
    fs::permissions(root / "opt/a", fs::perms::none);
    const Outcome outcome = runTool({"verify", root, "--config", config}, {{}, {}, dropReadPrivileges});
    EXPECT_EQ(outcome.status, 3) << outcome.out << outcome.err;
    EXPECT_NE(outcome.out.find(": 0 of 1 not as listed, 1 unreadable, the first: " + (root / "opt/a").string()),
              std::string::npos)
        << outcome.out;
    EXPECT_NE(outcome.out.find(": 2 good, 0 bad, 1 unchecked\n"), std::string::npos) << outcome.out;
}

TEST_F(DeviceVerifyTest, CreatesNothing)
{
    writeFile(version / "desc/filelist.txt",
              FileLine{.poolName = "sub", .digest = std::string(64, '0'), .entryName = "/"}.text());
    EXPECT_EQ(verify().status, 1);
    EXPECT_FALSE(fs::exists(root / "opt/sub"));
}

} // namespace tarn::test
