// tarn package create.
#include <gtest/gtest.h>

#include <algorithm>

#include "container_bytes.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

class PackageCreateTest : public testing::Test {
protected:
    TempDir dir;
    fs::path out = dir / "out.cc";

    PackageCreateTest()
    {
        writeFile(dir / "a", "content of a");
        writeFile(dir / "b=c", "content of b");
    }

    Outcome create(const Arguments &arguments)
    {
        return runTool(Arguments{"package", "create", "-o", out} + arguments);
    }
};

} // namespace

TEST_F(PackageCreateTest, SignedPackageWithNamesAsGiven)
{
    const Outcome outcome =
        create(signing() + Arguments{dir / "a", (dir / "a").string() + "=other", (dir / "b=c").string() + "=named"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const ParsedContainer container = parseContainer(readFile(out));
    ASSERT_EQ(container.members.size(), 5u);
    EXPECT_EQ(container.members[0].subfileName, "a");
    EXPECT_EQ(container.members[1].subfileName, "other");
    EXPECT_EQ(container.members[2].subfileName, "named");
    EXPECT_EQ(container.members[2].payload, "content of b");
    EXPECT_EQ(outcome.out, out.string() + ": 5 members, " + std::to_string(fs::file_size(out)) + " bytes, signed\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(runTool({"package", "verify", out}).status, 0);
}

TEST_F(PackageCreateTest, ReportsAsJson)
{
    const Json report = create(signing() + Arguments{dir / "a", "--json"}).json();
    EXPECT_EQ(report,
              Json({{"package", out.string()}, {"members", 3}, {"size", fs::file_size(out)}, {"signed", true}}));
}

TEST_F(PackageCreateTest, UnsignedOnesAreReproducibleAndSaidToBe)
{
    const Outcome outcome = create({"--no-sign", dir / "a"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("1 member, 6544 bytes, not signed"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.err.find("warning: " + out.string() + ": not signed"), std::string::npos);
    const std::string first = readFile(out);
    EXPECT_EQ(create({"--no-sign", dir / "a"}).status, 0);
    EXPECT_EQ(readFile(out), first);
    const Outcome verified = runTool({"package", "verify", out});
    EXPECT_EQ(verified.status, 1);
    EXPECT_NE(verified.err.find("result 2 TARN_VERIFY_MISMATCH"), std::string::npos) << verified.err;
}

TEST_F(PackageCreateTest, ChainIsTaken)
{
    EXPECT_EQ(create(signing() + Arguments{"--chain", programDir() / "keys/ca.pem", dir / "a"}).status, 0);
    EXPECT_EQ(runTool({"package", "verify", out}).status, 0);
}

TEST_F(PackageCreateTest, RefusalsLeaveNoOutput)
{
    struct Row {
        Arguments arguments;
        int status;
        std::string reason;
    };
    const std::string a = dir / "a";
    const Row rows[] = {
        {{a}, 2, "no signing key and certificate given"},
        {{"--key", a, a}, 2, "no signing key and certificate given"},
        {{"--no-sign", "--key", a, a}, 2, "--no-sign and a key"},
        {{"--no-sign", a + "="}, 2, "neither FILE nor FILE=NAME"},
        {{"--no-sign", "=name"}, 2, "neither FILE nor FILE=NAME"},
        {{"--no-sign", dir / "b=c"}, 2, "there is a file of this name, but it stands for the file"},
        {{"--no-sign", dir / "none=c"}, 3, "none: cannot read: No such file"},
        {{"--no-sign", a + "=.."}, 2, "is no plain file name"},
        {{"--no-sign", a + "=sub/name"}, 2, "is no plain file name"},
        {{"--no-sign", dir / "missing"}, 3, "missing: cannot read: No such file"},
        {{"--no-sign", a, a}, 2, "is used twice"},
        {{"--no-sign", a + "=signature_pss_cms"}, 2, "is kept for the signature"},
        {{"--no-sign", a + "=" + std::string(128, 'n')}, 2, "is 128 bytes long"},
        {{"--key", a, "--cert", a, a}, 3, "no private key in PEM form"},
        {signing() + Arguments{"--chain", a, a}, 3, "no certificate in PEM form"},
        {Arguments{"--no-sign"} + Arguments(257, a), 2, "257 files: a package holds at most 256 members\n"},
    };
    for (const Row &row : rows) {
        const Outcome outcome = create(row.arguments);
        EXPECT_EQ(outcome.status, row.status) << outcome.err;
        EXPECT_NE(outcome.err.find(row.reason), std::string::npos) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(std::distance(fs::directory_iterator(static_cast<const fs::path &>(dir)), {}), 2);
    }
}

TEST_F(PackageCreateTest, TooManyAndTooBig)
{
    Arguments files;
    for (int index = 0; index < 255; ++index) {
        files.push_back((dir / "a").string() + "=n" + std::to_string(index));
    }
    const Outcome many = create(signing() + files);
    EXPECT_EQ(many.status, 2);
    EXPECT_EQ(many.err, "tarn: 255 files: a package holds at most 256 members, two of them the signature\n");

    writeFile(dir / "huge", "");
    fs::resize_file(dir / "huge", 1ull << 32);
    const Outcome big = create({"--no-sign", dir / "huge"});
    EXPECT_EQ(big.status, 3);
    EXPECT_NE(big.err.find("member \"huge\": with its 4294967296 bytes the package would pass 4 GiB"),
              std::string::npos)
        << big.err;
    EXPECT_FALSE(fs::exists(out));
}

TEST_F(PackageCreateTest, OutputMustBeAPackageNameAndNoInput)
{
    for (const char *name : {"out", "out.Cc", "out.cc.tmp", "out.ccz"}) {
        out = dir / name;
        const Outcome outcome = create({"--no-sign", dir / "a"});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_NE(outcome.err.find("let it end in .cc, .CC, .ccx or .cch"), std::string::npos);
        EXPECT_FALSE(fs::exists(out));
    }
    for (const char *name : {"out.cc", "out.CC", "out.ccx", "out.cch"}) {
        out = dir / name;
        EXPECT_EQ(create({"--no-sign", dir / "a"}).status, 0);
    }
    out = dir / "self.cc";
    writeFile(out, "kept");
    EXPECT_EQ(create({"--no-sign", out}).status, 2);
    EXPECT_EQ(readFile(out), "kept");
}

TEST_F(PackageCreateTest, KeyCertificateAndChainAreNotOverwritten)
{
    for (const char *option : {"--key", "--cert", "--chain"}) {
        out = dir / "precious.cc";
        writeFile(out, "precious");
        const Outcome outcome =
            create(Arguments{"--key", dir / "a", "--cert", dir / "a"} + Arguments{"--chain", dir / "a", dir / "b=c=d"});
        EXPECT_EQ(outcome.status, 3) << outcome.err;
        Arguments given = {"--key", dir / "a", "--cert", dir / "a", "--chain", dir / "a", dir / "a"};
        *(std::find(given.begin(), given.end(), option) + 1) = out;
        const Outcome refused = create(given);
        EXPECT_EQ(refused.status, 2);
        EXPECT_NE(refused.err.find("both the package to make and a file that it is made from"), std::string::npos);
        EXPECT_EQ(readFile(out), "precious");
    }
}

TEST_F(PackageCreateTest, WordsAreFileNamesAsTheyStand)
{
    const char *const names[] = {"[x]", "[a,b]", "[]", "{}", "-x", "--json", "a b"};
    Arguments arguments = {"package", "create", "--no-sign", "-o", out, "--"};
    for (const char *name : names) {
        writeFile(dir / name, std::string("content of ") + name);
        arguments.emplace_back(name);
    }
    const Outcome outcome = runTool(arguments, {{}, dir});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const ParsedContainer container = parseContainer(readFile(out));
    ASSERT_EQ(container.members.size(), std::size(names));
    for (size_t index = 0; index < std::size(names); ++index) {
        EXPECT_EQ(container.members[index].subfileName, names[index]);
        EXPECT_EQ(container.members[index].payload, std::string("content of ") + names[index]);
    }
    // In front of the mark as well, unless they look like options.
    ASSERT_EQ(runTool({"package", "create", "--no-sign", "-o", out, "[a,b]", "[]"}, {{}, dir}).status, 0);
    EXPECT_EQ(parseContainer(readFile(out)).members.size(), 2u);
    const Outcome refused = runTool({"package", "create", "--no-sign", "-o", out, "-x"}, {{}, dir});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("\"-x\": no such option"), std::string::npos) << refused.err;
}

} // namespace tarn::test
