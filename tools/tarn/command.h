// What a command is made of: its registration with CLI11, the options all share, the report it prints.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "exit_status.h"

namespace tarn::tool {

// Options of every command, and the command that the command line chose.
struct Globals {
    bool json = false;
    std::string logLevel;
    std::string config;
    bool examinesConfig = false;         // the command says itself what is wrong with the configuration
    std::vector<std::string> behindMark; // the words behind "--": never options
    std::function<ExitStatus()> run;
};

void addGlobalOptions(CLI::App &app, Globals &globals);

CLI::App &addGroup(CLI::App &app, const std::string &name, const std::string &description);

// What --help says of a command.
struct CommandText {
    const char *name;
    const char *usage; // behind "[OPTIONS]"
    const char *description;
    const char *footer;
};

// A word of the command line that is no option.
struct Operand {
    std::string name;
    std::string description;
    std::function<void(const std::string &)> take;
    bool isRepeated; // one or more, up to the end
};

// A command of a group. Its operands are not CLI11's positionals: CLI11 would take "[a,b]" for two of them.
class Command {
public:
    Command(CLI::App &group, Globals &globals, const CommandText &text, std::function<ExitStatus()> run);

    // An option with a value, which cannot be empty.
    CLI::Option &option(const std::string &names, std::string &value, const char *type, const std::string &description);
    void operand(const std::string &name, const std::string &description, std::string &value);
    void operands(const std::string &name, const std::string &description, std::vector<std::string> &values);

    CLI::App &app;

private:
    std::shared_ptr<std::vector<Operand>> words;
};

// One document on stdout; bytes that are no UTF-8 appear as U+FFFD.
void printJson(const Json &document);

// Names of files and members: one that is no UTF-8 also comes as hexadecimal digits, in "<key>_hex".
void putName(Json &json, const std::string &key, const std::string &name);
void putNames(Json &json, const std::string &key, const std::vector<std::string> &names);

// The groups, a folder or a file each.
void addBootGroup(CLI::App &app, Globals &globals);
void addCrcCommand(CLI::App &app, Globals &globals);
void addDbGroup(CLI::App &app, Globals &globals);
void addDescGroup(CLI::App &app, Globals &globals);
void addDoctor(CLI::App &app, Globals &globals);
void addKeysGroup(CLI::App &app, Globals &globals);
void addListGroup(CLI::App &app, Globals &globals);
void addPackageGroup(CLI::App &app, Globals &globals);
void addSignedListGroup(CLI::App &app, Globals &globals);
void addVerifyCommand(CLI::App &app, Globals &globals);

} // namespace tarn::tool
