// The tool as a process: what it is given, what comes out.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/fixture.h"

namespace tarn::test {

using Json = nlohmann::json;

struct Outcome {
    int status = -1; // exit status; 128 and the signal's number when a signal ended it
    std::string out;
    std::string err;

    Json json() const { return Json::parse(out); } // throws unless it is exactly one document
};

using Arguments = std::vector<std::string>;

struct Surroundings {
    Arguments environment{};         // "NAME=value" in addition; "NAME" alone takes it away
    fs::path directory;              // where it runs, when given
    std::function<void()> prepare{}; // called in the new process, when given
};

// To prepare a tool that may read no more than the modes of files say, root's too.
void dropReadPrivileges();

// Starts the tool without waiting; its outputs go nowhere. The process id.
pid_t startTool(const Arguments &arguments);
// Waits for its end: exit status, or 128 and the signal's number.
int exitStatus(pid_t child);

// Runs the tool; neither of its outputs is a terminal.
Outcome runTool(const Arguments &arguments, const Surroundings &surroundings = {});

// The same with both outputs on one terminal; everything is in `out`.
Outcome runToolOnTerminal(const Arguments &arguments, const Surroundings &surroundings = {});

// A pseudo-terminal: what is written to `slave` can be read back.
struct Terminal {
    Terminal();
    Terminal(const Terminal &) = delete;
    ~Terminal();
    int master = -1;
    int slave = -1;
    // Closes this process's slave and reads until the last other one is closed too.
    std::string readAll();
};

// Options of `create` that sign with the program's key, or with one that is not trusted.
Arguments signing();
Arguments foreignSigning();

Arguments operator+(Arguments left, const Arguments &right);

// A package of these files, made by the packaging library and signed with the program's key.
struct SmallPackage {
    explicit SmallPackage(const fs::path &dir);
    fs::path path;
    std::vector<packaging::Member> members; // "app", "conf", list, signature
    uint64_t offset(size_t index) const { return memberOffset(members, index); }
};

} // namespace tarn::test
