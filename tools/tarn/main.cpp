// tarn GROUP COMMAND: the command line, and what becomes of errors.
#include <cstdio>
#include <new>

#include "command.h"
#include "library_log.h"
#include "packaging/error.h"
#include "platform_config.h"
#include "terminal.h"
#include "text.h"

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
        text += format(" (result %u %s)", failure.result->number, failure.result->name);
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
        Json report = failure.report;
        report["error"] = error;
        printJson(report);
    }
    printError(text + "\n" + (second.empty() ? "" : "      " + second + "\n"));
    return static_cast<int>(failure.status);
}

int reportPlain(const char *message, bool json)
{
    Failure failure;
    failure.what = message;
    return reportFailure(failure, json);
}

void applyGlobals(const Globals &globals)
{
    if (!globals.logLevel.empty()) {
        const uint32_t level = logLevelByName(globals.logLevel);
        if (level == 0) {
            refuseUsage("--log-level " + escaped(globals.logLevel) + ": no such level",
                        "use error, warning, notice or info");
        }
        showLibraryLog(level);
    }
    if (!globals.config.empty()) {
        usePlatformConfig(globals.config);
    }
}

int runCommand(const Globals &globals)
{
    try {
        applyGlobals(globals);
        return static_cast<int>(globals.run());
    } catch (const Failure &failure) {
        return reportFailure(failure, globals.json);
    } catch (const packaging::PackagingError &error) {
        return reportPlain(escaped(error.what()).c_str(), globals.json);
    } catch (const std::bad_alloc &) {
        return reportPlain("out of memory", globals.json);
    } catch (const std::exception &error) {
        return reportPlain(escaped(error.what()).c_str(), globals.json);
    }
}

int reportUsage(const CLI::App &app, const CLI::ParseError &error, bool json)
{
    std::string command = "tarn";
    for (const CLI::App *level = &app; level != nullptr;) {
        const auto next = level->get_subcommands();
        level = next.empty() ? nullptr : next.front();
        command += level == nullptr ? "" : " " + level->get_name();
    }
    Failure failure;
    failure.status = ExitStatus::Usage;
    failure.what = escaped(error.what());
    failure.next = command + " --help";
    return reportFailure(failure, json);
}

int runTool(int argc, char **argv)
{
    Globals globals;
    CLI::App app("Builds, inspects, verifies and unpacks signed packages.", "tarn");
    app.set_version_flag("--version", "tarn " TARN_VERSION);
    app.require_subcommand(1);
    app.footer(kExitStatusHelp);
    addGlobalOptions(app, globals);
    addPackageGroup(app, globals);
    addKeysGroup(app, globals);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        const bool isHelp = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        return isHelp ? app.exit(error) : reportUsage(app, error, globals.json);
    }
    return runCommand(globals);
}

} // namespace

} // namespace tarn::tool

int main(int argc, char **argv)
{
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
