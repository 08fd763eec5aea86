// tarn package list and tarn package header: what a package looks like, nothing verified.
#include <gtest/gtest.h>

#include "packaging/package.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

class PackageShowTest : public testing::Test {
protected:
    TempDir dir;
    SmallPackage package{dir};

    Outcome list(const Arguments &more = {}) { return runTool(Arguments{"package", "list", package.path} + more); }
    Outcome header(const Arguments &more = {}) { return runTool(Arguments{"package", "header", package.path} + more); }
    Json headerJson() { return header({"--json"}).json(); }
};

} // namespace

TEST_F(PackageShowTest, ListsMembersWithPlacesAndDigests)
{
    const Json report = list({"--json"}).json();
    EXPECT_EQ(report["package"], package.path.string());
    EXPECT_EQ(report["size"], fs::file_size(package.path));
    EXPECT_EQ(report["verified"], false);
    EXPECT_EQ(report["signed_list"], "present");
    ASSERT_EQ(report["members"].size(), 4u);
    EXPECT_EQ(report["members"][1], Json({{"subfile_name", "conf"},
                                          {"file_name", package.members[1].fileName},
                                          {"offset", package.offset(1)},
                                          {"size", 352 + 10},
                                          {"payload_size", 10},
                                          {"listed", true},
                                          {"digest", packaging::memberDigest(package.members[1])},
                                          {"signature_member", false},
                                          {"shadowed", false}}));
    EXPECT_EQ(report["members"][2]["signature_member"], true);
    EXPECT_EQ(report["members"][3]["signature_member"], true);
    EXPECT_EQ(report["members"][3]["listed"], false);
    EXPECT_EQ(report["members"][3]["digest"], nullptr);
}

TEST_F(PackageShowTest, ListIsATable)
{
    const Outcome outcome = list();
    EXPECT_EQ(outcome.status, 0);
    const std::string table = "#  name                    file name                   offset   size  payload  listed\n"
                              "0  app                     " +
                              package.members[0].fileName + std::string(26 - package.members[0].fileName.size(), ' ') +
                              "    6180  70352    70000  yes\n";
    EXPECT_EQ(outcome.out.substr(0, table.size()), table) << outcome.out;
    EXPECT_NE(outcome.out.find("4 members, " + std::to_string(fs::file_size(package.path)) +
                               " bytes, signed list present; nothing verified\n"),
              std::string::npos);
}

TEST_F(PackageShowTest, ListsUnsignedAndUntrustedPackages)
{
    packaging::writeContainer(package.path, {member("app", "x")});
    Json report = list({"--json"}).json();
    EXPECT_EQ(report["signed_list"], "missing");
    EXPECT_EQ(report["members"][0]["listed"], false);

    const std::string withNul("[A]\nFILENAME=app.img\0\n", 22);
    for (const std::string &text : {std::string("no sections"), withNul}) {
        packaging::writeContainer(package.path, {member("app", "x"), listMember(text)});
        EXPECT_EQ(list({"--json"}).json()["signed_list"], "unreadable");
    }
    packaging::writeContainer(package.path, {});
    EXPECT_EQ(list({"--json"}).json()["members"], Json::array());
}

TEST_F(PackageShowTest, ListOfABrokenPackageIsNo)
{
    truncateTo(package.path, fs::file_size(package.path) - 1);
    const Outcome outcome = list();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "tarn: " + package.path.string() +
                               ": not a sound package\n      reason: SafeHeaderParseCheck: "
                               "package invalid, record size:" +
                               std::to_string(fs::file_size(package.path) + 1) +
                               ", real size:" + std::to_string(fs::file_size(package.path)) +
                               ". -- next: \"tarn package header\" shows what can be read of it\n");
}

TEST_F(PackageShowTest, WhatIsNoFileCannotBeShown)
{
    for (const char *command : {"list", "header"}) {
        EXPECT_EQ(runTool({"package", command, dir / "missing.cc"}).status, 3);
        EXPECT_EQ(runTool({"package", command, static_cast<const fs::path &>(dir)}).status, 3);
    }
}

TEST_F(PackageShowTest, HeaderShowsEveryField)
{
    setField(package.path, 0, 0x01020304);
    setField(package.path, 6176, 0xA0B0C0D0);
    const Json report = headerJson();
    EXPECT_EQ(report["sound"], true);
    EXPECT_EQ(report["file_count"], 4);
    EXPECT_EQ(report["not_interpreted"], Json({"01020304", std::string(48, '0'), "a0b0c0d0"}));
    ASSERT_EQ(report["slots"].size(), 4u);
    EXPECT_EQ(report["slots"][1]["offset"], package.offset(1));
    EXPECT_EQ(report["slots"][1]["length"], 362);
    EXPECT_EQ(report["slots"][1]["member"]["subfile_name"], "conf");
    EXPECT_EQ(report["slots"][1]["member"]["payload_length"], 10);
    EXPECT_EQ(report["faults"], Json::array());
    EXPECT_NE(header().out.find("structure: sound\n"), std::string::npos);
}

TEST_F(PackageShowTest, HeaderNamesEveryFault)
{
    const auto size = static_cast<uint32_t>(fs::file_size(package.path));
    const auto conf = static_cast<uint32_t>(package.offset(1));
    struct Row {
        uint64_t at;
        uint32_t value;
        std::string fault;
    };
    const Row rows[] = {
        {kFileCountAt, 257, "file count 257, at most 256"},
        {kFileCountAt, 5, "slot 4 is all zero, the file count is 5"},
        {kFileCountAt, 3, std::to_string(size - package.offset(3)) + " bytes behind the last member"},
        {slotOffsetAt(1), conf + 1,
         "slot 1: offset " + std::to_string(conf + 1) + ", expected " + std::to_string(conf) +
             ": the end of what is before it"},
        {slotLengthAt(1), 0, "slot 1: length 0 is nothing"},
        {slotLengthAt(1), 0xFFFFFFFF, "slot 1: length 4294967295 passes 32 bits"},
        {slotLengthAt(3), size,
         "slot 3: ends at " + std::to_string(package.offset(3) + size) + ", the file at " + std::to_string(size)},
        {slotOffsetAt(1), 0xFFFFFF00, "slot 1: its member header cannot be read"},
    };
    const std::string sound = readFile(package.path);
    for (const Row &row : rows) {
        writeFile(package.path, sound);
        setField(package.path, row.at, row.value);
        const Json report = headerJson();
        EXPECT_EQ(report["sound"], false);
        EXPECT_EQ(report["faults"].size(), 1u);
        EXPECT_NE(report["remarks"].dump().find(row.fault), std::string::npos) << report["remarks"] << row.fault;
        const Outcome text = header();
        EXPECT_EQ(text.status, 0);
        EXPECT_NE(text.out.find("remark: " + row.fault + "\n"), std::string::npos) << text.out;
        EXPECT_NE(text.out.find("structure: broken"), std::string::npos);
    }
}

TEST_F(PackageShowTest, HeaderRemarksOnWhatReadersDoNotCheck)
{
    setField(package.path, package.offset(1) + 340, 11);
    const Json report = headerJson();
    EXPECT_EQ(report["sound"], true);
    EXPECT_EQ(report["remarks"], Json({"slot 1: header and payload make 363 bytes, the member has 362"}));
}

TEST_F(PackageShowTest, MembersThatAnEarlierOneHidesAreMarked)
{
    const auto app = member("app", "x");
    writeSigned(package.path, {app, {"other", app.fileName, "y", {}}});
    const Json members = list({"--json"}).json()["members"];
    EXPECT_EQ(members[0]["shadowed"], false);
    EXPECT_EQ(members[1]["shadowed"], true);
    EXPECT_EQ(members[1]["listed"], false);
    EXPECT_NE(list().out.find("  shadowed\n"), std::string::npos);
    EXPECT_EQ(headerJson()["remarks"], Json({"slot 1: an earlier member answers to one of its names"}));
    const Json verdicts = runTool({"package", "verify", package.path, "--members", "--json"}).json()["members"];
    EXPECT_EQ(verdicts[1]["verdict"], "shadowed");
}

TEST_F(PackageShowTest, HeaderReadsAsMuchAsThereIs)
{
    for (const unsigned size : {0u, 3u, 8u, 40u, 80u, 6179u, 6180u, 6500u}) {
        SCOPED_TRACE(size);
        const SmallPackage fresh(dir);
        truncateTo(package.path, size);
        const Json report = headerJson();
        EXPECT_EQ(report["sound"], false);
        EXPECT_EQ(report["size"], size);
        EXPECT_EQ(report["file_count"], size < 8 ? 0 : 4);
        EXPECT_EQ(report["slots"].size(), size < 56 ? 0u : size < 128 ? 2u : 4u);
        EXPECT_EQ(header().status, 0);
    }
}

} // namespace tarn::test
