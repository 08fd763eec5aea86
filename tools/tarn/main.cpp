// tarn GROUP COMMAND: the command line, and what becomes of errors.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <new>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <tarn_boot/common.h>

#include "command.h"
#include "json.h"
#include "library_log.h"
#include "packaging/error.h"
#include "platform_config.h"
#include "terminal.h"
#include "text.h"
#include "usage.h"

namespace tarn::tool {

namespace {

constexpr char kExitStatusHelp[] =
    "Exit status: 0 yes or done; 1 the answer is no (not valid, differs, not found); 2 wrong usage; 3 could not be\n"
    "carried out.";

int reportFailure(const Failure &failure, bool json)
{
    std::string text = inErrorColour(Colour::Bad, "tarn: ") + failure.what;
    Json error = {{"status", static_cast<int>(failure.status)}, {"message", failure.what}};
    if (failure.result != nullptr) {
        text += failure.result->number == SWM_FAIL
                    ? format(" (result 0x%08X %s)", SWM_FAIL, failure.result->name)
                    : format(" (result %u %s)", failure.result->number, failure.result->name);
        error["result"] = failure.result->number;
        error["result_name"] = failure.result->name;
    }
    std::string second;
    if (!failure.reason.empty()) {
        second = "reason: " + escaped(failure.reason);
        error["reason"] = failure.reason;
    }
    if (!failure.next.empty()) {
        second += (second.empty() ? "next: " : " -- next: ") + failure.next;
        error["next"] = failure.next;
    }
    if (json) {
        Json report = failure.report ? *failure.report : Json::object();
        report["error"] = error;
        printJson(report);
    }
    printError(text + "\n" + (second.empty() ? "" : "      " + second + "\n"));
    return static_cast<int>(failure.status);
}

int reportPlain(const std::string &message, ExitStatus status, bool json)
{
    Failure failure;
    failure.status = status;
    failure.what = message;
    return reportFailure(failure, json);
}

void applyGlobals(const Globals &globals)
{
    if (!globals.logLevel.empty()) {
        const uint32_t level = logLevelByName(globals.logLevel);
        if (level == 0) {
            refuseUsage("--log-level " + escaped(globals.logLevel) + ": no such level",
                        "use error, warning, notice or info, or 3 to 6");
        }
        showLibraryLog(level);
    }
    if (!globals.config.empty()) {
        usePlatformConfig(globals.config, !globals.examinesConfig);
    }
}

// What `action` throws ends the tool with a report.
template <typename Action> int reporting(const Globals &globals, Action &&action)
{
    try {
        return static_cast<int>(action());
    } catch (const Failure &failure) {
        return reportFailure(failure, globals.json);
    } catch (const packaging::RequestError &error) {
        return reportPlain(escaped(error.what()), ExitStatus::Usage, globals.json);
    } catch (const std::bad_alloc &) {
        return reportPlain("out of memory", ExitStatus::Failed, globals.json);
    } catch (const std::exception &error) {
        return reportPlain(escaped(error.what()), ExitStatus::Failed, globals.json);
    }
}

// The words up to "--", last one first as CLI11 takes them; the others go to `globals`.
std::vector<std::string> splitWords(int argc, char **argv, Globals &globals)
{
    std::vector<std::string> words(argv + std::min(argc, 1), argv + argc);
    const auto mark = std::find(words.begin(), words.end(), "--");
    if (mark != words.end()) {
        globals.behindMark.assign(mark + 1, words.end());
        words.erase(mark, words.end());
    }
    // An error may come before CLI11 has seen the option.
    globals.json = std::find(words.begin(), words.end(), "--json") != words.end();
    std::reverse(words.begin(), words.end());
    return words;
}

int runTool(int argc, char **argv)
{
    Globals globals;
    CLI::App app("Builds, inspects, verifies and unpacks signed packages; shows and compares what they install.",
                 "tarn");
    app.set_version_flag("--version", "tarn " TARN_VERSION);
    app.require_subcommand(1);
    app.footer(kExitStatusHelp);
    addGlobalOptions(app, globals);
    addPackageGroup(app, globals);
    addListGroup(app, globals);
    addDbGroup(app, globals);
    addDescGroup(app, globals);
    addSignedListGroup(app, globals);
    addCrcCommand(app, globals);
    addVerifyCommand(app, globals);
    addKeysGroup(app, globals);
    addBootGroup(app, globals);
    addDoctor(app, globals);
    std::vector<std::string> words = splitWords(argc, argv, globals);
    return reporting(globals, [&] {
        refuseEmptyValues(words);
        try {
            app.parse(words);
        } catch (const CLI::ParseError &error) {
            if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success)) {
                refuseParsed(app, error);
            }
            app.exit(error); // prints help or version
            return ExitStatus::Done;
        }
        applyGlobals(globals);
        return globals.run();
    });
}

// A file opened later must not become one of the standard streams.
void openStandardStreams()
{
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO) {
        opened = open("/dev/null", O_RDWR); // NOLINT(android-cloexec-open): the standard streams are for all
    }
    if (opened > STDERR_FILENO) {
        close(opened);
    }
}

} // namespace

} // namespace tarn::tool

int main(int argc, char **argv)
{
    tarn::tool::openStandardStreams();
    // A file that passes the limit on sizes is a failed write like any other.
    static_cast<void>(signal(SIGXFSZ, SIG_IGN));
    int status = static_cast<int>(tarn::tool::ExitStatus::Failed);
    try {
        status = tarn::tool::runTool(argc, argv);
    } catch (const std::exception &error) {
        tarn::tool::printError(std::string("tarn: ") + error.what() + "\n");
    }
    // A full disk behind a redirection must not look like success.
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        perror("tarn: standard output");
        return static_cast<int>(tarn::tool::ExitStatus::Failed);
    }
    return status;
}
