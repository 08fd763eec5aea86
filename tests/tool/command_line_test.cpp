// What all commands share: options, exit statuses, the shape of errors.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tool_process.h"

namespace tarn::test {

namespace {

class CommandLineTest : public testing::Test {
protected:
    TempDir dir;
};

} // namespace

TEST_F(CommandLineTest, VersionAndHelp)
{
    const Outcome version = runTool({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "tarn " TARN_TOOL_VERSION "\n");
    for (const Arguments &arguments : {Arguments{"--help"}, Arguments{"package", "--help"},
                                       Arguments{"package", "verify", "--help"}, Arguments{"keys", "new", "-h"}}) {
        const Outcome help = runTool(arguments);
        EXPECT_EQ(help.status, 0);
        EXPECT_NE(help.out.find("Usage:"), std::string::npos);
        EXPECT_EQ(help.err, "");
    }
    EXPECT_NE(runTool({"--help"}).out.find("Exit status: 0 yes or done; 1 the answer is no"), std::string::npos);
}

TEST_F(CommandLineTest, WrongUsageIsTwo)
{
    const SmallPackage package(dir);
    const Arguments rows[] = {
        {},
        {"package"},
        {"nonsense"},
        {"package", "nonsense"},
        {"package", "verify"},
        {"package", "verify", package.path, "--nonsense"},
        {"package", "verify", package.path, "surplus"},
        {"package", "extract", package.path, "conf"},
        {"package", "extract", package.path, "conf", "-d"},
        {"package", "extract", package.path, "conf", "-d", dir / "out", "--mode", "0999"},
        {"package", "extract", package.path, "conf", "-d", dir / "out", "--mode", "10000"},
        {"package", "extract", package.path, "conf", "-d", dir / "out", "--mode", "rw"},
        {"package", "verify", package.path, "--log-level", "loud"},
        {"package", "verify", package.path, "--config="},
        {"package", "verify", package.path, "--config", ""},
        {"package", "verify", package.path, "--log-level", ""},
        {"package", "list", ""},
        {"package", "extract", package.path, "conf", "-d", ""},
        {"package", "extract", package.path, "conf", "-d", dir / "out", "--mode", ""},
        {"package", "extract", package.path, "", "-d", dir / "out"},
        {"package", "extract", package.path, "-x", "-d", dir / "out"},
        {"package", "create", "-o", "", package.path},
        {"keys", "new", ""},
        {"keys", "new"},
        {"keys", "new", dir / "keys", "--bits", "many"},
    };
    for (const Arguments &arguments : rows) {
        const Outcome outcome = runTool(arguments);
        const std::string last = arguments.empty() ? "nothing" : arguments.back();
        EXPECT_EQ(outcome.status, 2) << last << outcome.err;
        EXPECT_EQ(outcome.out, "") << last;
        EXPECT_EQ(outcome.err.rfind("tarn: ", 0), 0u) << outcome.err;
        EXPECT_NE(outcome.err.find("next: "), std::string::npos) << outcome.err;
        EXPECT_LE(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 2) << outcome.err;
    }
    EXPECT_FALSE(fs::exists(dir / "out"));
    EXPECT_NE(runTool({"package", "verify"}).err.find("next: tarn package verify --help"), std::string::npos);
}

TEST_F(CommandLineTest, WrongWordsAreNamed)
{
    struct Row {
        Arguments arguments;
        std::string what;
        std::string next;
    };
    const Row rows[] = {
        {{"pakage"}, "\"pakage\": no such command", "did you mean \"package\"? see tarn --help"},
        {{"nonsense", "extract"}, "\"nonsense\": no such command", "see tarn --help"},
        {{"package"}, "a command is missing", "tarn package --help"},
        {{"package", "lst", "x"}, "\"lst\": no such command", "did you mean \"list\"? see tarn package --help"},
        {{"--jsn", "package", "list", "x"}, "\"--jsn\": no such option", "did you mean \"--json\"? "},
        {{"package", "list", "x", "--jsn"}, "\"--jsn\": no such option", "did you mean \"--json\"? "},
        {{"package", "create", "--ouput=x", "a"}, "\"--ouput=x\": no such option", "did you mean \"--output\"? "},
        {{"package", "create", "a"}, "--output is required", "tarn package create --help"},
        {{"package", "list", "x", "y"}, "\"y\": one word too many", "tarn package list --help"},
        {{"package", "list"}, "PACKAGE is missing", "tarn package list --help"},
        {{"package", "list", ""}, "PACKAGE is empty", "tarn package list --help"},
        {{"package", "list", "x", "--config", ""}, "--config: needs a value", "tarn package list --help"},
        {{"package", "list", "x", "--config="}, "--config: needs a value", "write it behind \"=\""},
        {{"package", "list", "-x"}, "\"-x\": no such option", "A name that begins with \"-\" goes behind \"--\""},
    };
    for (const Row &row : rows) {
        const Outcome outcome = runTool(row.arguments);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err.rfind("tarn: " + row.what + "\n      next: " + row.next, 0), 0u) << outcome.err;
        EXPECT_EQ(runTool(row.arguments + Arguments{"--json"}).json()["error"]["message"], row.what);
    }
}

TEST_F(CommandLineTest, UsageShowsWhatIsRequired)
{
    EXPECT_NE(runTool({"package", "extract", "--help"})
                  .out.find("Usage: tarn package extract [OPTIONS] -d DIR PACKAGE NAME...\n"),
              std::string::npos);
    const std::string create = runTool({"package", "create", "--help"}).out;
    EXPECT_NE(create.find(" -o PACKAGE (--key FILE --cert FILE | --no-sign) FILE[=NAME]...\n"), std::string::npos);
    EXPECT_NE(create.find("divided at the last \"=\""), std::string::npos);
}

TEST_F(CommandLineTest, WordsBehindTheMarkAreNeverOptions)
{
    const SmallPackage package(dir);
    EXPECT_EQ(runTool({"package", "list", "--json", "--", package.path}).json()["members"].size(), 4u);
    EXPECT_EQ(runTool({"package", "list", "--", "--json"}).err.rfind("tarn: --json: cannot ", 0), 0u);
    EXPECT_EQ(runTool({"package", "list", "--", package.path, "--json"}).status, 2);
}

TEST_F(CommandLineTest, CommonOptionsStandBeforeAndBehind)
{
    const SmallPackage package(dir);
    EXPECT_EQ(runTool({"--json", "package", "list", package.path}).json()["members"].size(), 4u);
    EXPECT_EQ(runTool({"package", "--json", "list", package.path}).json()["members"].size(), 4u);
    EXPECT_EQ(runTool({"package", "list", "--json", package.path}).json()["members"].size(), 4u);
    EXPECT_EQ(runTool({"package", "list", package.path, "--json"}).json()["members"].size(), 4u);
}

TEST_F(CommandLineTest, ErrorsComeAsJsonToo)
{
    const Outcome outcome = runTool({"--json", "package", "list", dir / "missing.cc"});
    EXPECT_EQ(outcome.status, 3);
    const Json error = outcome.json()["error"];
    EXPECT_EQ(error["status"], 3);
    EXPECT_EQ(error["message"], (dir / "missing.cc").string() + ": cannot read: No such file or directory");
    EXPECT_EQ(error["next"], "name an existing package that you may read");
    EXPECT_EQ(outcome.err, "tarn: " + error["message"].get<std::string>() +
                               "\n      next: " + error["next"].get<std::string>() + "\n");
    EXPECT_EQ(runTool({"--json", "package", "list"}).json()["error"]["status"], 2);
}

TEST_F(CommandLineTest, LibraryLogIsShownOnRequestOnly)
{
    const SmallPackage package(dir);
    const auto shown = [&](const Arguments &more) {
        const Outcome outcome = runTool(Arguments{"package", "verify", package.path} + more);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, package.path.string() + ": valid, signature trusted, 2 members as signed\n");
        return outcome.err;
    };
    const std::string line =
        "[BOOT][SWM_BASE][INFO]: TARN_PackageVerify: verify package(" + package.path.string() + ").\n";
    EXPECT_EQ(shown({}), "");
    EXPECT_EQ(shown({"--log-level", "error"}), "");
    EXPECT_EQ(shown({"--log-level", "notice"}), "");
    EXPECT_EQ(shown({"--log-level", "info"}), line);
    EXPECT_EQ(shown({"--log-level", "6"}), line);

    const Outcome failed = runTool({"package", "extract", package.path, "none", "-d", dir / "out", "--log-level", "4"});
    EXPECT_EQ(failed.err.rfind("[BOOT][SWM_BASE][WARNING]: ExtractDoExtract: no such file:none.\ntarn: ", 0), 0u)
        << failed.err;
}

TEST_F(CommandLineTest, ConfigurationDecidesWhatIsTrusted)
{
    const SmallPackage package(dir);
    writeFile(dir / "empty.conf", "");
    const auto verify = [&](const fs::path &config) {
        return runTool({"package", "verify", package.path, "--config", config});
    };
    EXPECT_EQ(verify(dir / "missing.conf").status, 3);
    EXPECT_EQ(verify(static_cast<const fs::path &>(dir)).status, 3);
    EXPECT_EQ(verify(dir / "empty.conf").status, 3);
    EXPECT_EQ(verify(programDir() / "basic.conf").status, 0);
    // Relative to where the tool runs.
    EXPECT_EQ(runTool({"package", "verify", package.path, "--config", "basic.conf"}, {{}, programDir()}).status, 0);

    fs::copy_file(programDir() / "basic.conf", dir / "open.conf");
    chmod((dir / "open.conf").c_str(), 0666);
    const Outcome open = verify(dir / "open.conf");
    EXPECT_EQ(open.status, 3);
    EXPECT_NE(open.err.find("others could change it"), std::string::npos);
}

TEST_F(CommandLineTest, OutputThatCannotBeWrittenIsAFailure)
{
    const std::optional<int> status = runInChild(
        [&] {
            const int full = ::open("/dev/full", O_WRONLY);
            dup2(full, STDOUT_FILENO);
            const int null = ::open("/dev/null", O_WRONLY);
            dup2(null, STDERR_FILENO);
            const std::string command = std::string(TARN_TOOL_EMULATOR) + " " TARN_TOOL " --version";
            execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            return 127;
        },
        20000);
    EXPECT_EQ(status, 3);
}

TEST_F(CommandLineTest, ClosedStandardStreamsAreNotTakenForFiles)
{
    const fs::path out = dir / "out.cc";
    writeFile(dir / "file", "content");
    const Outcome outcome = runTool({"package", "create", "--no-sign", "-o", out, dir / "file"}, {{}, {}, [] {
                                                                                                      close(0);
                                                                                                      close(1);
                                                                                                      close(2);
                                                                                                  }});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(fs::file_size(out), 6180u + 352u + 7u);
    EXPECT_EQ(runTool({"package", "list", out}).status, 0);
}

} // namespace tarn::test
