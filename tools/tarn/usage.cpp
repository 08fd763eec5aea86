// Errors of the command line.
#include "usage.h"

#include <algorithm>
#include <numeric>

#include <CLI/CLI.hpp>

#include "text.h"

namespace tarn::tool {

namespace {

constexpr size_t kFarthest = 2; // more changes than that make another word

// Insertions, removals and exchanges of one character that lead from one word to the other.
size_t distance(const std::string &from, const std::string &to)
{
    std::vector<size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t line = 1; line <= from.size(); ++line) {
        size_t diagonal = std::exchange(row[0], line);
        for (size_t column = 1; column <= to.size(); ++column) {
            const size_t exchanged = diagonal + (from[line - 1] == to[column - 1] ? 0 : 1);
            diagonal = row[column];
            row[column] = std::min({row[column] + 1, row[column - 1] + 1, exchanged});
        }
    }
    return row.back();
}

std::vector<std::string> knownWords(const CLI::App &level, bool areOptions)
{
    std::vector<std::string> known;
    if (areOptions) {
        for (const CLI::Option *option : level.get_options()) {
            for (const std::string &name : option->get_lnames()) {
                known.push_back("--" + name);
            }
        }
        return known;
    }
    for (const CLI::App *command : level.get_subcommands([](const CLI::App *) { return true; })) {
        known.push_back(command->get_name());
    }
    return known;
}

// "" when nothing is near.
std::string nearest(const std::string &word, const std::vector<std::string> &known)
{
    std::string found;
    size_t best = kFarthest + 1;
    for (const std::string &candidate : known) {
        const size_t apart = distance(word, candidate);
        if (apart < std::min(best, candidate.size())) {
            best = apart;
            found = candidate;
        }
    }
    return found;
}

const CLI::App &deepest(const CLI::App &app)
{
    const CLI::App *level = &app;
    for (auto next = level->get_subcommands(); !next.empty(); next = level->get_subcommands()) {
        level = next.front();
    }
    return *level;
}

} // namespace

bool isOptionLike(const std::string &word)
{
    return word.size() > 1 && word.front() == '-';
}

std::string helpCommand(const CLI::App &command)
{
    std::string path;
    for (const CLI::App *level = &command; level != nullptr; level = level->get_parent()) {
        path.insert(0, level->get_name() + " ");
    }
    return path + "--help";
}

void refuseUnknown(const CLI::App &level, const std::string &word)
{
    const bool isOption = isOptionLike(word);
    const std::string near = nearest(word.substr(0, word.find('=')), knownWords(level, isOption));
    std::string next = near.empty() ? "" : "did you mean \"" + near + "\"? ";
    next +=
        isOption && level.get_parent() != nullptr ? "A name that begins with \"-\" goes behind \"--\"; see " : "see ";
    refuseUsage(inQuotes(word) + ": no such " + (isOption ? "option" : "command"), next + helpCommand(level));
}

void refuseEmptyValues(const std::vector<std::string> &words)
{
    for (const std::string &word : words) {
        if (word.size() > 3 && word.rfind("--", 0) == 0 && word.find('=') == word.size() - 1) {
            refuseUsage(escaped(word.substr(0, word.size() - 1)) + ": needs a value", "write it behind \"=\"");
        }
    }
}

void refuseParsed(const CLI::App &app, const CLI::ParseError &error)
{
    const CLI::App &level = deepest(app);
    std::vector<std::string> left = app.remaining();
    // A command leaves its operands too.
    for (const std::string &word : level.remaining()) {
        if (isOptionLike(word)) {
            left.push_back(word);
        }
    }
    if (!left.empty()) {
        refuseUnknown(level, left.front());
    }
    const bool isCommandMissing = !level.get_subcommands([](const CLI::App *) { return true; }).empty();
    refuseUsage(isCommandMissing ? "a command is missing" : escaped(error.what()), helpCommand(level));
}

} // namespace tarn::tool
