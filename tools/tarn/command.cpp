// Registration of commands with CLI11.
#include "command.h"

#include <algorithm>
#include <sstream>

#include <CLI/CLI.hpp>

#include "text.h"
#include "usage.h"

namespace tarn::tool {

namespace {

using Operands = std::shared_ptr<std::vector<Operand>>;

// Help with the operands, of which CLI11 does not know.
class CommandHelp : public CLI::Formatter {
public:
    CommandHelp(std::string shownUsage, Operands shownOperands)
        : usage(std::move(shownUsage)), operands(std::move(shownOperands))
    {
    }

    std::string make_usage(const CLI::App *, std::string name) const override
    {
        return "Usage: " + name + " [OPTIONS] " + usage + "\n";
    }

    std::string make_positionals(const CLI::App *) const override
    {
        std::ostringstream out;
        out << "\nWords (behind \"--\" also such as begin with \"-\"):\n";
        for (const Operand &operand : *operands) {
            CLI::detail::format_help(out, "  " + operand.name, operand.description, get_column_width());
        }
        return out.str();
    }

private:
    std::string usage;
    Operands operands;
};

CLI::Option &addValue(CLI::App &app, const std::string &names, std::string &value, const char *type,
                      const std::string &description)
{
    const auto refuseEmpty = [](const std::string &given) { return given.empty() ? "needs a value" : ""; };
    return *app.add_option(names, value, description)->type_name(type)->check(CLI::Validator(refuseEmpty, ""));
}

// The words of the command line that are no options, those behind "--" last.
std::vector<std::string> wordsOf(const CLI::App &command, const Globals &globals)
{
    std::vector<std::string> words = command.remaining();
    for (const std::string &word : words) {
        if (isOptionLike(word)) {
            refuseUnknown(command, word);
        }
    }
    words.insert(words.end(), globals.behindMark.begin(), globals.behindMark.end());
    return words;
}

void takeOperands(const CLI::App &command, const std::vector<Operand> &operands, const std::vector<std::string> &words)
{
    size_t taken = 0;
    for (const Operand &operand : operands) {
        const size_t end = operand.isRepeated ? words.size() : std::min(taken + 1, words.size());
        if (taken == end) {
            refuseUsage(operand.name + " is missing", helpCommand(command));
        }
        for (; taken < end; ++taken) {
            if (words[taken].empty()) {
                refuseUsage(operand.name + " is empty", helpCommand(command));
            }
            operand.take(words[taken]);
        }
    }
    if (taken < words.size()) {
        refuseUsage(inQuotes(words[taken]) + ": one word too many", helpCommand(command));
    }
}

} // namespace

void addGlobalOptions(CLI::App &app, Globals &globals)
{
    constexpr char kGroup[] = "Common options";
    app.add_flag("--json", globals.json,
                 "Report as one JSON document on stdout; an error is its member \"error\": status, message and, when "
                 "known, result, result_name, reason, next")
        ->group(kGroup);
    addValue(app, "--log-level", globals.logLevel, "LEVEL",
             "Show the libraries' log lines: error, warning, notice or info (3 to 6)")
        .group(kGroup);
    addValue(app, "--config", globals.config, "FILE", "Platform configuration: trust anchors, paths, device")
        .group(kGroup);
}

CLI::App &addGroup(CLI::App &app, const std::string &name, const std::string &description)
{
    CLI::App &group = *app.add_subcommand(name, description);
    group.require_subcommand(1);
    group.fallthrough();
    return group;
}

Command::Command(CLI::App &group, Globals &allGlobals, const CommandText &text, std::function<ExitStatus()> run)
    : app(*group.add_subcommand(text.name, text.description)), globals(allGlobals),
      words(std::make_shared<std::vector<Operand>>())
{
    addGlobalOptions(app, globals);
    app.allow_extras();
    app.fallthrough(false);
    app.formatter(std::make_shared<CommandHelp>(text.usage, words));
    app.footer(text.footer);
    app.callback([&allGlobals, command = &app, operands = words, run = std::move(run)] {
        allGlobals.run = [=, &allGlobals] {
            takeOperands(*command, *operands, wordsOf(*command, allGlobals));
            return run();
        };
    });
}

void Command::option(const std::string &names, std::string &value, const char *type, const std::string &description)
{
    addValue(app, names, value, type, description);
}

void Command::option(const std::string &names, unsigned &value, const char *type, const std::string &description)
{
    app.add_option(names, value, description)->type_name(type);
}

void Command::requiredOption(const std::string &names, std::string &value, const char *type,
                             const std::string &description)
{
    addValue(app, names, value, type, description).required();
}

void Command::repeatedOption(const std::string &names, std::vector<std::string> &values, const char *type,
                             const std::string &description)
{
    app.add_option(names, values, description)->type_name(type)->expected(1)->take_all();
}

void Command::flag(const std::string &names, bool &value, const std::string &description)
{
    app.add_flag(names, value, description);
}

void Command::operand(const std::string &name, const std::string &description, std::string &value)
{
    words->push_back({name, description, [&value](const std::string &word) { value = word; }, false});
}

void Command::operands(const std::string &name, const std::string &description, std::vector<std::string> &values)
{
    words->push_back({name, description, [&values](const std::string &word) { values.push_back(word); }, true});
}

void Command::examinesConfig()
{
    app.parse_complete_callback([&toTell = globals] { toTell.examinesConfig = true; });
}

} // namespace tarn::tool
