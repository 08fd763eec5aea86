// tarn doctor: what is wrong with a device or a development machine, and what to do about it. Changes nothing.
#include <algorithm>
#include <memory>

#include "command.h"
#include "db/file.h"
#include "doctor/findings.h"
#include "json.h"
#include "library_log.h"
#include "platform_config.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string root;
    std::vector<std::string> databases;
};

const char *wordFor(Severity severity)
{
    static constexpr const char *kWords[] = {"ok", "note", "warning", "error"};
    return kWords[static_cast<size_t>(severity)];
}

std::string colouredWord(Severity severity)
{
    std::string word = format("%-8s", wordFor(severity));
    switch (severity) {
    case Severity::Ok:
        return inColour(Colour::Good, word);
    case Severity::Warning:
        return inColour(Colour::Warning, word);
    case Severity::Error:
        return inColour(Colour::Bad, word);
    default:
        return word;
    }
}

size_t count(const Findings &findings, Severity severity)
{
    return static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                             [=](const Finding &finding) { return finding.severity == severity; }));
}

bool isHealthy(const Findings &findings)
{
    return count(findings, Severity::Warning) + count(findings, Severity::Error) == 0;
}

std::string reportText(const Findings &findings)
{
    std::string text;
    for (const Finding &finding : findings) {
        text += colouredWord(finding.severity) + " " + finding.area + ": " + escaped(finding.subject) + ": " +
                finding.what + "\n";
        if (finding.severity != Severity::Ok) {
            text += "         why:  " + finding.why + "\n         next: " + finding.next + "\n";
        }
    }
    return text + counted(count(findings, Severity::Error), "error") + ", " +
           counted(count(findings, Severity::Warning), "warning") + ", " +
           counted(count(findings, Severity::Note), "note") +
           (isHealthy(findings) ? ": nothing needs attention\n" : "\n");
}

Json reportJson(const Findings &findings)
{
    Json list = Json::array();
    for (const Finding &finding : findings) {
        Json entry = {{"severity", wordFor(finding.severity)}, {"area", finding.area}};
        putName(entry, "subject", finding.subject);
        entry.update({{"what", finding.what}, {"why", finding.why}, {"next", finding.next}});
        list.push_back(entry);
    }
    return {{"healthy", isHealthy(findings)},
            {"errors", count(findings, Severity::Error)},
            {"warnings", count(findings, Severity::Warning)},
            {"notes", count(findings, Severity::Note)},
            {"findings", list}};
}

// A root of its own has a configuration of its own, unless one is named.
Examined whatToExamine(const Options &options, const Globals &globals)
{
    Examined examined;
    examined.root = options.root.empty() ? "/" : options.root;
    std::error_code error;
    if (!fs::is_directory(examined.root, error)) {
        failWith(escaped(options.root) + ": not a directory", "name the directory that holds the device's files");
    }
    const std::string inUse = platformConfigInUse();
    const bool isChosen = !globals.config.empty() || (options.root.empty() && inUse != kDefaultConfig);
    examined.config = isChosen ? fs::path(inUse) : examined.at(kDefaultConfig);
    examined.configIsNamed = isChosen;
    std::for_each(options.databases.begin(), options.databases.end(), refuseDatabasePath);
    examined.databases = options.databases;
    return examined;
}

ExitStatus run(const Options &options, const Globals &globals)
{
    const Examined examined = whatToExamine(options, globals);
    Findings findings;
    const Configuration configuration = examineConfiguration(examined, findings);
    examineTrust(examined, configuration, findings);
    examineLeftovers(examined, configuration, findings);
    examinePool(examined, configuration, findings);
    examineDatabases(examined, findings);
    if (globals.json) {
        printJson(reportJson(findings));
    } else {
        printOut(reportText(findings));
    }
    return isHealthy(findings) ? ExitStatus::Done : ExitStatus::No;
}

} // namespace

void addDoctor(CLI::App &app, Globals &globals)
{
    static constexpr CommandText kText = {
        "doctor", "", "Look at a device or a development machine: what is wrong, and what to do",
        "Looks at the configuration, trust anchors and revocation lists, loop devices, work directories, the package\n"
        "pool, and the databases that are named with their backups. Changes nothing. Without root it may not see all.\n"
        "Exit status: 0 nothing needs attention; 1 a warning or an error; 2 wrong usage; 3 could not be carried out."};
    const auto options = std::make_shared<Options>();
    Command command(app, globals, kText, [options, &globals] { return run(*options, globals); });
    command.option("--root", options->root, "DIR",
                   "Look at the files of a device below DIR, its configuration included unless --config is given");
    command.repeatedOption("--database", options->databases, "FILE", "A database to look at; may be repeated");
    // One that is in a bad state is what doctor is for.
    command.examinesConfig();
}

} // namespace tarn::tool
