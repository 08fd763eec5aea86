// tarn package extract.
#include <gtest/gtest.h>

#include "packaging/package.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

class PackageExtractTest : public testing::Test {
protected:
    TempDir dir;
    SmallPackage package{dir};
    fs::path out = dir / "out";

    Outcome extract(const Arguments &names, const Arguments &more = {})
    {
        return runTool(Arguments{"package", "extract", package.path} + names + Arguments{"-d", out} + more);
    }

    void expectRefused(const std::string &name, int status, unsigned result, const std::string &resultName)
    {
        const Outcome outcome = extract({name});
        EXPECT_EQ(outcome.status, status) << outcome.err;
        EXPECT_NE(outcome.err.find("member \"" + name + "\": "), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find("(result " + std::to_string(result) + " " + resultName + ")"), std::string::npos)
            << outcome.err;
        EXPECT_NE(outcome.err.find("reason: "), std::string::npos) << outcome.err;
        EXPECT_EQ(extract({name}, {"--json"}).json()["error"]["result"], result);
        EXPECT_FALSE(fs::exists(out / name));
    }
};

} // namespace

TEST_F(PackageExtractTest, SubfileNamesGiveTheContentFileNamesTheMember)
{
    const std::string whole = package.members[1].fileName;
    const Outcome outcome = extract({"app", "conf", whole});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "\"app\" -> " + (out / "app").string() + ", 70000 bytes\n\"conf\" -> " +
                               (out / "conf").string() + ", 10 bytes\n\"" + whole + "\" -> " + (out / whole).string() +
                               ", 362 bytes\n");
    EXPECT_EQ(readFile(out / "app"), pattern(70000));
    EXPECT_EQ(readFile(out / "conf"), "key=value\n");
    EXPECT_EQ(readFile(out / whole), readFile(package.path).substr(package.offset(1), 362));
    EXPECT_EQ(modeOf(out / "app"), 0440u);
}

TEST_F(PackageExtractTest, NamesAreTakenAsTheyStand)
{
    writeSigned(package.path, {member("a", "A"), member("b", "B"), member("x", "X"), member("[x]", "[X]"),
                               member("[a,b]", "[A,B]"), member("[]", "none"), member("-x", "-X")});
    for (const auto &[name, content] : {std::pair{"[x]", "[X]"}, {"[a,b]", "[A,B]"}, {"[]", "none"}}) {
        ASSERT_EQ(extract({name}).status, 0);
        EXPECT_EQ(readFile(out / name), content);
    }
    EXPECT_EQ(extract({"-x"}).status, 2);
    EXPECT_EQ(runTool({"package", "extract", "-d", out, package.path, "--", "-x", "[x]"}).status, 0);
    EXPECT_EQ(readFile(out / "-x"), "-X");
    EXPECT_EQ(std::distance(fs::directory_iterator(out), {}), 4);
}

TEST_F(PackageExtractTest, ModeIsSet)
{
    for (const auto &[text, mode] : {std::pair{"0640", 0640u}, {"755", 0755u}, {"0", 0u}, {"07777", 07777u}}) {
        EXPECT_EQ(extract({"conf"}, {"--mode", text}).status, 0);
        EXPECT_EQ(modeOf(out / "conf"), mode);
    }
}

TEST_F(PackageExtractTest, ReportsAsJson)
{
    EXPECT_EQ(extract({"conf"}, {"--json"}).json(),
              Json({{"package", package.path.string()},
                    {"extracted", {{{"name", "conf"}, {"path", (out / "conf").string()}, {"size", 10}}}}}));
}

TEST_F(PackageExtractTest, RefusalsSayWhy)
{
    expectRefused("nothing", 1, 1, "TARN_EXTRACT_NO_MEMBER");
    const std::string sound = readFile(package.path);
    flipByte(package.path, package.offset(1) + 352);
    expectRefused("conf", 1, 2, "TARN_EXTRACT_DIGEST");
    writeFile(package.path, sound);
    flipByte(package.path, package.offset(2) + 400);
    expectRefused("conf", 1, 4, "TARN_EXTRACT_SIGNATURE");
    writeFile(package.path, sound);
    appendBytes(package.path, "x");
    expectRefused("conf", 1, 5, "TARN_EXTRACT_STRUCTURE");
    fs::remove(package.path);
    const Outcome missing = extract({"conf"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.err.rfind("tarn: " + package.path.string() + ": cannot read: No such file or directory\n", 0), 0u)
        << missing.err;
}

TEST_F(PackageExtractTest, PlacesThatCannotBeWrittenAreThree)
{
    out = dir / "file";
    writeFile(out, "in the way");
    expectRefused("conf", 3, 8, "TARN_EXTRACT_MKDIR");
    out = dir / "out";
    fs::create_directories(out / "conf/full");
    const Outcome outcome = extract({"conf"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.err.find("(result 7 TARN_EXTRACT_WRITE)"), std::string::npos) << outcome.err;
}

TEST_F(PackageExtractTest, StopsAtTheFirstFailureAndSaysWhatWasDone)
{
    const Json report = extract({"app", "nothing", "conf"}, {"--json"}).json();
    EXPECT_EQ(report["extracted"].size(), 1u);
    EXPECT_EQ(report["error"]["result_name"], "TARN_EXTRACT_NO_MEMBER");
    EXPECT_TRUE(fs::exists(out / "app"));
    EXPECT_FALSE(fs::exists(out / "conf"));
}

TEST_F(PackageExtractTest, ForeignSignaturesAreRefused)
{
    packaging::writeContainer(package.path, packaging::withSignature({member("conf", "x")}, foreignSigner()));
    expectRefused("conf", 1, 4, "TARN_EXTRACT_SIGNATURE");
    EXPECT_FALSE(fs::exists(out));
}

} // namespace tarn::test
