// tarn package verify, whole and member by member.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "packaging/digest.h"
#include "packaging/package.h"
#include "packaging/signed_list.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

class PackageVerifyTest : public testing::Test {
protected:
    TempDir dir;
    SmallPackage package{dir};

    Outcome verify(const Arguments &more = {}) { return runTool(Arguments{"package", "verify", package.path} + more); }
    Json members() { return verify({"--members", "--json"}).json(); }

    // Refused both ways, with these results.
    void expectRefused(int status, unsigned result, const std::string &name)
    {
        for (const Arguments &more : {Arguments{}, Arguments{"--members"}}) {
            const Outcome outcome = verify(more);
            EXPECT_EQ(outcome.status, status) << outcome.err;
            EXPECT_NE(outcome.err.find("(result " + std::to_string(result) + " " + name + ")"), std::string::npos)
                << outcome.err;
            const Json report = verify(more + Arguments{"--json"}).json();
            EXPECT_EQ(report["valid"], false);
            EXPECT_EQ(report["error"]["status"], status);
            EXPECT_EQ(report["error"]["result"], result);
            EXPECT_EQ(report["error"]["result_name"], name);
        }
    }
};

} // namespace

TEST_F(PackageVerifyTest, ValidIsZero)
{
    const Outcome text = verify();
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out, package.path.string() + ": valid, signature trusted, 2 members as signed\n");
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(verify({"--json"}).json(), Json({{"package", package.path.string()},
                                               {"valid", true},
                                               {"result", 0},
                                               {"result_name", "TARN_VERIFY_OK"},
                                               {"matching", 2},
                                               {"missing", Json::array()},
                                               {"unlisted", Json::array()},
                                               {"overlong", Json::array()}}));
}

TEST_F(PackageVerifyTest, EveryMemberHasAVerdict)
{
    const Outcome text = verify({"--members"});
    EXPECT_EQ(text.status, 0);
    EXPECT_EQ(text.out, "ok          app, 68.7 KiB\nok          conf, 362 bytes\n"
                        "signature   signature_pss_filelist, " +
                            std::to_string(memberLength(package.members[2])) +
                            " bytes\nsignature   signature_pss_cms, " +
                            std::to_string(memberLength(package.members[3])) + " bytes\n" + package.path.string() +
                            ": valid, signature trusted, 2 members as signed\n");
    const Json report = members();
    EXPECT_EQ(report["valid"], true);
    EXPECT_EQ(report["matching"], 2);
    EXPECT_EQ(report["missing"], Json::array());
    EXPECT_EQ(report["members"][0]["digest"], packaging::memberDigest(package.members[0]));
}

TEST_F(PackageVerifyTest, TamperingIsOne)
{
    const uint64_t places[] = {
        package.offset(0) + 352 + 1000, // content
        package.offset(1) + 10,         // a member header's uninterpreted bytes
        package.offset(1) + 117,        // a subfile name
        package.offset(2) + 352 + 100,  // the list
        package.offset(3) + 352 + 100,  // the signature
        fs::file_size(package.path) - 1,
    };
    const std::string sound = readFile(package.path);
    for (const uint64_t place : places) {
        SCOPED_TRACE(place);
        writeFile(package.path, sound);
        flipByte(package.path, place);
        expectRefused(1, 2, "TARN_VERIFY_MISMATCH");
    }
}

TEST_F(PackageVerifyTest, BrokenStructureIsOne)
{
    truncateTo(package.path, fs::file_size(package.path) - 1);
    expectRefused(1, 3, "TARN_VERIFY_STRUCTURE");
    truncateTo(package.path, 100);
    expectRefused(1, 3, "TARN_VERIFY_STRUCTURE");
    EXPECT_NE(verify().err.find("reason: SafeGetPkgHeader: get package header failed, need:6180, read:100"),
              std::string::npos);
}

TEST_F(PackageVerifyTest, ForeignAndMissingSignaturesAreOne)
{
    packaging::writeContainer(package.path, packaging::withSignature({member("app", "x")}, foreignSigner()));
    expectRefused(1, 2, "TARN_VERIFY_MISMATCH");
    packaging::writeContainer(package.path, {member("app", "x")});
    expectRefused(1, 2, "TARN_VERIFY_MISMATCH");
}

TEST_F(PackageVerifyTest, SaysWhatIsWrongWithASignature)
{
    const std::string sound = readFile(package.path);
    const std::string text = "reason: ExtractVerifySignature: verify pss filelist failed, ret:";
    flipByte(package.path, package.offset(2) + 352 + 100);
    EXPECT_NE(verify().err.find(text + "16. (the signed list was changed after it was signed)"), std::string::npos);
    writeFile(package.path, sound);
    flipByte(package.path, fs::file_size(package.path) - 1);
    EXPECT_NE(verify().err.find(text + "19. (the signature was changed, or made with another key)"), std::string::npos);
    packaging::writeContainer(package.path, packaging::withSignature({member("app", "x")}, foreignSigner()));
    EXPECT_NE(verify().err.find(text + "24. (the signer's certificate leads to no configured trust anchor)"),
              std::string::npos);
    writeFile(dir / "empty.conf", "");
    EXPECT_NE(verify({"--config", dir / "empty.conf"}).err.find(text + "21. (no trust anchors are configured)"),
              std::string::npos);
}

TEST_F(PackageVerifyTest, NamesAndPathsThatCannotBeAreTwoOrThree)
{
    fs::rename(package.path, dir / "small.zip");
    package.path = dir / "small.zip";
    expectRefused(2, 4, "TARN_VERIFY_PARAM");
    package.path = dir / (std::string(200, 'a') + "/" + std::string(200, 'b') + ".cc");
    expectRefused(2, 4, "TARN_VERIFY_PARAM");
}

TEST_F(PackageVerifyTest, WhatIsNoFileIsThree)
{
    mkfifo((dir / "fifo.cc").c_str(), 0600);
    fs::create_directory(dir / "dir.cc");
    for (const auto &[name, reason] : {std::pair{"missing.cc", "cannot read: No such file or directory"},
                                       {"fifo.cc", "not a regular file"},
                                       {"dir.cc", "not a regular file"}}) {
        package.path = dir / name;
        for (const Arguments &more : {Arguments{}, Arguments{"--members"}}) {
            const Outcome outcome = verify(more);
            EXPECT_EQ(outcome.status, 3);
            EXPECT_EQ(outcome.err.rfind("tarn: " + package.path.string() + ": " + reason + "\n      next: ", 0), 0u)
                << outcome.err;
        }
    }
}

TEST_F(PackageVerifyTest, ConfigurationsThatCannotBeUsedSayNothingAboutThePackage)
{
    const std::pair<std::string, std::string> rows[] = {
        {"", "no trust anchors are configured"},
        {"[trust]\nanchors = /nowhere.pem\n", "the configured trust anchors cannot be used"},
    };
    for (const auto &[text, reason] : rows) {
        writeFile(dir / "bad.conf", text);
        fs::permissions(dir / "bad.conf", fs::perms(0600));
        for (const Arguments &more : {Arguments{}, Arguments{"--members"}}) {
            const Outcome outcome = verify(more + Arguments{"--config", dir / "bad.conf"});
            EXPECT_EQ(outcome.status, 3) << outcome.err;
            EXPECT_NE(outcome.err.find(": not checked: the signature could not be judged (result 2 "),
                      std::string::npos);
            EXPECT_NE(outcome.err.find(reason), std::string::npos) << outcome.err;
            EXPECT_NE(outcome.err.find("next: check the configuration " + (dir / "bad.conf").string()),
                      std::string::npos)
                << outcome.err;
        }
        EXPECT_EQ(runTool({"package", "extract", package.path, "conf", "-d", dir / "out", "--config", dir / "bad.conf"})
                      .status,
                  3);
    }
    // One that only the environment names is looked at as well.
    const Outcome missing = runTool({"package", "verify", package.path}, {{"TARN_BASIC_CONFIG=/nowhere.conf"}, {}});
    EXPECT_EQ(missing.status, 3);
    EXPECT_NE(missing.err.find("configuration /nowhere.conf: No such file"), std::string::npos) << missing.err;
}

TEST_F(PackageVerifyTest, HeadersThatClaimTooMuchAreNamedAndNotExtracted)
{
    const auto app = member("app", "x");
    std::vector<packaging::Member> members = {app};
    packaging::writeContainer(package.path, members);
    setField(package.path, memberOffset(members, 0) + 340, 4000);
    // The member as it then is, signed: its digest covers the lie.
    const std::string whole = readFile(package.path).substr(6180);
    packaging::Sha256 hash;
    hash.update(whole.data(), whole.size());
    members = writeSignedList(package.path, members, packaging::signedListText({{app.fileName, hash.text()}}));
    setField(package.path, memberOffset(members, 0) + 340, 4000);

    for (const Arguments &more : {Arguments{}, Arguments{"--members"}}) {
        const Outcome outcome = verify(more);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_NE(outcome.err.find("member \"app\" claims 4000 bytes of content, more than it has"), std::string::npos);
        EXPECT_EQ(verify(more + Arguments{"--json"}).json()["overlong"], Json({"app"}));
    }
    const Outcome refused = runTool({"package", "extract", package.path, "app", "-d", dir / "out"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("its header claims 4000 bytes of content"), std::string::npos) << refused.err;
    EXPECT_FALSE(fs::exists(dir / "out"));
    EXPECT_EQ(runTool({"package", "extract", package.path, app.fileName, "-d", dir / "out"}).status, 0);
    EXPECT_EQ(readFile(dir / "out" / app.fileName), whole);
}

TEST_F(PackageVerifyTest, MembersGoesOnBehindABadOne)
{
    package.members = writeSigned(package.path, {member("a", "aaa"), member("b", "bbb"), member("c", "ccc")});
    flipByte(package.path, package.offset(0) + 352);
    flipByte(package.path, package.offset(2) + 352);
    const Json report = members();
    EXPECT_EQ(report["matching"], 1);
    EXPECT_EQ(report["members"][0]["verdict"], "differs");
    EXPECT_EQ(report["members"][0]["signed_digest"], packaging::memberDigest(package.members[0]));
    EXPECT_NE(report["members"][0]["digest"], report["members"][0]["signed_digest"]);
    EXPECT_EQ(report["members"][1]["verdict"], "ok");
    EXPECT_EQ(report["members"][2]["verdict"], "differs");
    const Outcome text = verify({"--members"});
    EXPECT_EQ(text.status, 1);
    EXPECT_NE(text.out.find("differs     a, 355 bytes\n            signed "), std::string::npos) << text.out;
    EXPECT_NE(text.err.find("not valid: 2 members not as signed, 0 missing, 1 good"), std::string::npos) << text.err;
}

TEST_F(PackageVerifyTest, MembersThatNobodySignedAreNamed)
{
    const std::vector<packaging::Member> listed = {member("app", "x")};
    const std::string list = packaging::signedListText({{listed[0].fileName, packaging::memberDigest(listed[0])}});
    writeSignedList(package.path, {listed[0], member("stowaway", "y")}, list);
    for (const Arguments &more : {Arguments{}, Arguments{"--members"}}) {
        const Outcome outcome = verify(more);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "tarn: warning: " + package.path.string() +
                                   ": member \"stowaway\" is not in the signed list, so nothing was checked of it\n");
        EXPECT_EQ(verify(more + Arguments{"--json"}).json()["unlisted"], Json({"stowaway"}));
    }
    EXPECT_EQ(members()["members"][1]["verdict"], "not listed");
}

TEST_F(PackageVerifyTest, ListedMembersThatAreMissingAreNamed)
{
    const auto app = member("app", "x");
    const std::string list =
        packaging::signedListText({{app.fileName, packaging::memberDigest(app)}, {"gone.img", std::string(64, '0')}});
    writeSignedList(package.path, {app}, list);
    expectRefused(1, 2, "TARN_VERIFY_MISMATCH");
    EXPECT_EQ(members()["missing"], Json({"gone.img"}));
    EXPECT_NE(verify({"--members"}).out.find("missing     gone.img\n"), std::string::npos);
    EXPECT_NE(verify().err.find("reason: VerifyCheckIntegrity: find gone.img in cc failed."), std::string::npos);
}

TEST_F(PackageVerifyTest, EmptyPackageIsNotValid)
{
    packaging::writeContainer(package.path, {});
    expectRefused(1, 2, "TARN_VERIFY_MISMATCH");
}

} // namespace tarn::test
