// What is wrong with a command line, in words: the word that does not fit, and the nearest one that would.
#pragma once

#include <string>
#include <vector>

#include "exit_status.h"

namespace CLI {
class App;
class ParseError;
} // namespace CLI

namespace tarn::tool {

// Begins with "-", and is not that alone.
bool isOptionLike(const std::string &word);

// "tarn GROUP COMMAND --help".
std::string helpCommand(const CLI::App &command);

// Refuses a word that is neither option nor command of `level`.
[[noreturn]] void refuseUnknown(const CLI::App &level, const std::string &word);

// Refuses "--option=": CLI11 would take the next word for the value.
void refuseEmptyValues(const std::vector<std::string> &words);

// What CLI11 refused. `app` is the whole tool.
[[noreturn]] void refuseParsed(const CLI::App &app, const CLI::ParseError &error);

} // namespace tarn::tool
