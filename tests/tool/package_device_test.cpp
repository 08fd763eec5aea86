// tarn package attach, detach, signature, and extract --with-header: the older ways into a package.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include "packaging/digest.h"
#include "packaging/package.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

bool haveLoopDevices()
{
    return geteuid() == 0 && access("/dev/loop-control", R_OK | W_OK) == 0;
}

class PackageDeviceTest : public testing::Test {
protected:
    TempDir dir;
    SmallPackage package{dir};
    fs::path out = dir / "out";

    PackageDeviceTest() { fs::create_directory(out); }
    // Whatever a test has attached goes with it.
    ~PackageDeviceTest() override
    {
        for (const auto &entry : fs::directory_iterator(out)) {
            if (entry.is_symlink()) {
                runTool({"package", "detach", entry.path()});
            }
        }
    }

    Outcome attach(const std::string &name, const Arguments &more = {})
    {
        return runTool(Arguments{"package", "attach", package.path, name, out} + more);
    }
    static bool isAttached(const fs::path &device)
    {
        return fs::exists("/sys/block" / device.filename() / "loop/backing_file");
    }
    void expectRefused(const Outcome &outcome, int status, const std::string &text)
    {
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_NE(outcome.err.find(text), std::string::npos) << outcome.err;
    }
};

const char *const kNoLoop = "needs root and /dev/loop-control";

} // namespace

TEST_F(PackageDeviceTest, AttachedMembersAreReadThroughTheDevice)
{
    if (!haveLoopDevices()) {
        GTEST_SKIP() << kNoLoop;
    }
    // The kernel's devices begin at a multiple of 512 bytes: the first payload lies at 6180 + 352.
    const Outcome outcome = attach("app", {"--json"});
    if (outcome.status == 3 && outcome.err.find("loop") != std::string::npos) {
        GTEST_SKIP() << outcome.err;
    }
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Json json = outcome.json();
    const fs::path device = json["device"].get<std::string>();
    EXPECT_EQ(json["path"], (out / "app").string());
    EXPECT_EQ(json["offset"], 6180 + 352);
    EXPECT_EQ(fs::read_symlink(out / "app"), device);
    std::string start(4096, '\0');
    ASSERT_EQ(read(Descriptor(out / "app", O_RDONLY), start.data(), start.size()), 4096);
    EXPECT_EQ(start, pattern(70000).substr(0, 4096));

    const Outcome detached = runTool({"package", "detach", out / "app"});
    EXPECT_EQ(detached.status, 0) << detached.err;
    EXPECT_EQ(detached.out, (out / "app").string() + ": " + device.string() + " detached\n");
    EXPECT_FALSE(isAttached(device));
    EXPECT_FALSE(fs::is_symlink(out / "app"));
}

TEST_F(PackageDeviceTest, AttachingAgainReplacesAndDevicesDetachByTheirOwnName)
{
    if (!haveLoopDevices() || attach("app").status != 0) {
        GTEST_SKIP() << kNoLoop;
    }
    const fs::path first = fs::read_symlink(out / "app");
    const Outcome again = attach("app");
    ASSERT_EQ(again.status, 0) << again.err;
    const fs::path second = fs::read_symlink(out / "app");
    EXPECT_EQ(again.out, (out / "app").string() + " -> " + second.string() + "\n");
    EXPECT_TRUE(first == second || !isAttached(first));

    const Outcome detached = runTool({"package", "detach", second, "--json"});
    ASSERT_EQ(detached.status, 0) << detached.err;
    EXPECT_EQ(detached.json(), Json({{"path", second.string()}, {"device", second.string()}, {"in_use", false}}));
    EXPECT_TRUE(fs::exists(second)) << "the device itself stays";
    EXPECT_FALSE(isAttached(second));
    expectRefused(runTool({"package", "detach", second}), 1, "not attached to anything");
}

TEST_F(PackageDeviceTest, AttachRefusals)
{
    expectRefused(attach("nothing"), 1, "member \"nothing\": not attached");
    expectRefused(attach("../x"), 2, "not a plain file name");
    expectRefused(attach("a\033[1mb"), 1, "\"a\\x1b[1mb\"");
    expectRefused(attach(std::string(400, 'n')), 3, "the path is too long");
    expectRefused(runTool({"package", "attach", package.path, "app"}), 2, "DIR is missing");
    expectRefused(runTool({"package", "attach", dir / "none.cc", "app", out}), 3, "No such file or directory");
    expectRefused(runTool({"package", "attach", package.path, "app", dir / "none"}), 3, "not a directory");
    expectRefused(runTool({"package", "attach", package.path, "app", out}, {{},
                                                                            {},
                                                                            [] {
                                                                                // No loop devices for other users.
                                                                                if (geteuid() == 0 &&
                                                                                    setuid(65534) != 0) {
                                                                                    _exit(99);
                                                                                }
                                                                            }}),
                  3, "");
    EXPECT_TRUE(fs::is_empty(out));
}

TEST_F(PackageDeviceTest, WhatIsInTheWayIsKept)
{
    writeFile(out / "app", "precious");
    expectRefused(attach("app"), 3, "is in the way");
    EXPECT_EQ(readFile(out / "app"), "precious");
    fs::remove(out / "app");
    writeFile(dir / "target", "precious");
    fs::create_symlink(dir / "target", out / "app");
    expectRefused(attach("app"), 3, "is in the way");
    EXPECT_EQ(readFile(out / "app"), "precious");
}

TEST_F(PackageDeviceTest, UnsignedPackagesAreNotAttached)
{
    flipByte(package.path, package.offset(2) + 400);
    expectRefused(attach("app"), 1, "not attached");
    writeFile(dir / "empty.conf", "");
    expectRefused(attach("app", {"--config", dir / "empty.conf"}), 1, "");
    packaging::writeContainer(package.path, packaging::withSignature({member("app", "x")}, signer()));
    expectRefused(attach("app", {"--config", dir / "empty.conf"}), 3, "it could not be judged");
    EXPECT_TRUE(fs::is_empty(out));
}

TEST_F(PackageDeviceTest, DetachTouchesNothingElse)
{
    writeFile(dir / "file", "precious");
    fs::create_symlink(dir / "file", dir / "link");
    fs::create_symlink(dir / "gone", dir / "dangling");
    for (const char *name : {"file", "link", "dangling"}) {
        expectRefused(runTool({"package", "detach", dir / name}), 3, "not a loop device, and no link to one");
        EXPECT_TRUE(fs::exists(fs::symlink_status(dir / name)));
    }
    expectRefused(runTool({"package", "detach", "/dev/null"}), 3, "not a loop device");
    expectRefused(runTool({"package", "detach", dir / "none"}), 3, "No such file or directory");
    expectRefused(runTool({"package", "detach"}), 2, "PATH is missing");
    EXPECT_EQ(runTool({"package", "detach", dir / "none", "--json"}).json()["error"]["status"], 3);
}

// ---- Signature ----

TEST_F(PackageDeviceTest, SignatureShowsSignerAndCoverage)
{
    const Outcome shown = runTool({"package", "signature", package.path});
    ASSERT_EQ(shown.status, 0) << shown.err;
    EXPECT_NE(shown.out.find(": signature valid, digests not compared; no signature_filelist\n"), std::string::npos)
        << shown.out;
    EXPECT_NE(shown.out.find("key        RSA, "), std::string::npos) << shown.out;
    const Json json = runTool({"package", "signature", package.path, "--json"}).json();
    EXPECT_EQ(json["valid"], true);
    EXPECT_EQ(json["covered"], Json({"app", "conf"}));
    EXPECT_EQ(json["not_covered"], Json::array());
    EXPECT_EQ(json["legacy_list"], nullptr);
    EXPECT_GE(json["signer"]["bits"], 2048);
    EXPECT_NE(json["signer"]["subject"], json["signer"]["issuer"]);
    expectRefused(runTool({"package", "signature", package.path, "-o", dir / "list"}), 1, "nothing written");
    EXPECT_FALSE(fs::exists(dir / "list"));
}

TEST_F(PackageDeviceTest, SignatureThatIsNotValid)
{
    packaging::writeContainer(package.path, packaging::withSignature({member("app", "x")}, foreignSigner()));
    const Outcome refused = runTool({"package", "signature", package.path, "--json"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.json()["valid"], false);
    EXPECT_FALSE(refused.json()["signer"].is_null());
    EXPECT_NE(refused.err.find("the signature is not valid, it claims to be by \""), std::string::npos) << refused.err;
    writeFile(dir / "empty.conf", "");
    const Outcome unknown = runTool({"package", "signature", package.path, "--json", "--config", dir / "empty.conf"});
    EXPECT_EQ(unknown.status, 3);
    EXPECT_EQ(unknown.json()["valid"], nullptr);
    appendBytes(package.path, "x");
    expectRefused(runTool({"package", "signature", package.path}), 1, "not a sound package");
    expectRefused(runTool({"package", "signature", dir / "none.cc"}), 3, "No such file or directory");
    expectRefused(runTool({"package", "signature"}), 2, "PACKAGE is missing");
}

TEST_F(PackageDeviceTest, OlderListIsVerifiedShownAndWritten)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "the directory's owner is set, which needs root";
    }
    const std::string digest(64, 'a');
    const std::string text = sectionText("f\033.img", digest);
    writeSigned(package.path, {member("app", "x"), member("signature_filelist", text)});
    fs::create_directory(dir / "root");
    const fs::path config = dir / "root.conf";
    writeFile(config, "[paths]\nroot = " + (dir / "root").string() + "\n" + readFile(programDir() / "basic.conf"));
    const Arguments command = {"package", "signature", package.path, "--config", config};
    const Outcome shown = runTool(command + Arguments{"-o", dir / "list"});
    ASSERT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(readFile(dir / "list"), text);
    EXPECT_NE(shown.out.find("f\\x1b.img"), std::string::npos) << shown.out;
    EXPECT_NE(shown.out.find("signature_filelist names 1 file\n"), std::string::npos) << shown.out;
    EXPECT_EQ(runTool(command + Arguments{"--json"}).json()["legacy_list"],
              Json::array({{{"file_name", "f\033.img"}, {"digest", digest}}}));
    const fs::path temporary = dir / "root/swm/workdir/temp";
    EXPECT_FALSE(fs::exists(temporary));

    fs::create_directory(temporary);
    writeFile(temporary / "other", "precious");
    expectRefused(runTool(command), 3, "is there already");
    EXPECT_EQ(readFile(temporary / "other"), "precious");
    fs::remove_all(temporary);
    // The list itself was changed after it was signed.
    flipByte(package.path, kHeaderSize + kMemberHeaderSize + 1 + kMemberHeaderSize + 5);
    expectRefused(runTool(command), 1, "member \"signature_filelist\": could not be extracted");
    EXPECT_FALSE(fs::exists(temporary));
}

// ---- Whole members ----

TEST_F(PackageDeviceTest, WholeMembersAreCopiedUnverified)
{
    const std::string bytes = readFile(package.path).substr(package.offset(1), 362);
    flipByte(package.path, package.offset(2) + 400); // the signature no longer holds
    const Arguments command = {"package", "extract", package.path, "conf", "--with-header", "-d"};
    const Outcome outcome = runTool(command + Arguments{dir / "new/deep"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out,
              "\"conf\" -> " + (dir / "new/deep/conf").string() + ", 362 bytes, header included, not verified\n");
    EXPECT_EQ(readFile(dir / "new/deep/conf"), bytes);
    EXPECT_EQ(modeOf(dir / "new/deep/conf"), 0440u);
    const Outcome json = runTool(command + Arguments{out, "--mode", "0662", "--json"});
    EXPECT_EQ(json.json()["verified"], false);
    EXPECT_EQ(json.json()["extracted"][0]["size"], 362);
    EXPECT_EQ(modeOf(out / "conf"), 0662u) << "whatever the umask";
}

TEST_F(PackageDeviceTest, WholeMembersReplaceLinksAndDoNotFollowThem)
{
    writeFile(dir / "target", "precious");
    fs::create_symlink(dir / "target", out / "conf");
    const Arguments command = {"package", "extract", package.path, "--with-header", "-d", out};
    EXPECT_EQ(runTool(command + Arguments{"conf"}).status, 0);
    EXPECT_EQ(readFile(dir / "target"), "precious");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(out / "conf")));
    expectRefused(runTool(command + Arguments{"nothing"}), 1, "no member of that name");
    expectRefused(runTool(command + Arguments{"../conf"}), 2, "not a plain file name");
    fs::create_directory(out / "app");
    expectRefused(runTool(command + Arguments{"app"}), 3, "is in the way");
}

TEST_F(PackageDeviceTest, WholeMembersBeyondTheFileAreRefused)
{
    const Arguments command = {"package", "extract", package.path, "--with-header", "-d", out, "conf"};
    writeFile(out / "conf", "earlier");
    setField(package.path, slotLengthAt(1), 0x80000000u);
    expectRefused(runTool(command), 1, "not as long as the package claims");
    setField(package.path, slotOffsetAt(1), 0xFFFFFFF0u);
    expectRefused(runTool(command), 1, "the structure is not that of a package");
    EXPECT_EQ(readFile(out / "conf"), "earlier");
}

} // namespace tarn::test
