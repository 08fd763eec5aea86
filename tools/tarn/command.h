// What a command is made of: its words on the command line, and the options all share.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "exit_status.h"

namespace CLI {
class App;
} // namespace CLI

namespace tarn::tool {

// Options of every command, and the command that the command line chose.
struct Globals {
    bool json = false;
    std::string logLevel;
    std::string config;
    bool examinesConfig = false;         // see Command::examinesConfig
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

    // Options with a value, of which a text cannot be empty.
    void option(const std::string &names, std::string &value, const char *type, const std::string &description);
    void option(const std::string &names, unsigned &value, const char *type, const std::string &description);
    void requiredOption(const std::string &names, std::string &value, const char *type, const std::string &description);
    // One value each time that it is given.
    void repeatedOption(const std::string &names, std::vector<std::string> &values, const char *type,
                        const std::string &description);
    void flag(const std::string &names, bool &value, const std::string &description);
    void operand(const std::string &name, const std::string &description, std::string &value);
    void operands(const std::string &name, const std::string &description, std::vector<std::string> &values);

    // The command says itself what is wrong with the configuration.
    void examinesConfig();

private:
    CLI::App &app;
    Globals &globals;
    std::shared_ptr<std::vector<Operand>> words;
};

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
