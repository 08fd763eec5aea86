// What a command is made of: its registration with CLI11, the options all share, the report it prints.
#pragma once

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "exit_status.h"

namespace tarn::tool {

// Options of every command, and the command that the command line chose.
struct Globals {
    bool json = false;
    std::string logLevel;
    std::string config;
    std::function<ExitStatus()> run;
};

void addGlobalOptions(CLI::App &app, Globals &globals);

CLI::App &addGroup(CLI::App &app, const std::string &name, const std::string &description);

// A command of a group. `run` is called after the whole command line has been read and the globals have taken effect.
CLI::App &addCommand(CLI::App &group, Globals &globals, const std::string &name, const std::string &description,
                     std::function<ExitStatus()> run);

// One document on stdout; bytes that are no UTF-8 appear as U+FFFD.
void printJson(const Json &document);

// The groups, one file each.
void addKeysGroup(CLI::App &app, Globals &globals);
void addPackageGroup(CLI::App &app, Globals &globals);

} // namespace tarn::tool
