#include "tool_process.h"

#include <cstdlib>
#include <fcntl.h>
#include <linux/capability.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "packaging/package.h"

namespace tarn::test {

namespace {

constexpr unsigned kSecondsAllowed = 240; // under an emulator and a sanitizer everything is slow

std::vector<std::string> commandLine(const Arguments &arguments)
{
    std::vector<std::string> line;
    std::istringstream emulator(TARN_TOOL_EMULATOR);
    for (std::string word; emulator >> word;) {
        line.push_back(word);
    }
    line.emplace_back(TARN_TOOL);
    line.insert(line.end(), arguments.begin(), arguments.end());
    return line;
}

void changeEnvironment(const Arguments &changes)
{
    for (const std::string &change : changes) {
        const size_t separator = change.find('=');
        if (separator == std::string::npos) {
            unsetenv(change.c_str());
        } else {
            setenv(change.substr(0, separator).c_str(), change.substr(separator + 1).c_str(), 1);
        }
    }
}

[[noreturn]] void becomeTool(const std::vector<std::string> &line, const Surroundings &surroundings)
{
    changeEnvironment(surroundings.environment);
    std::vector<char *> words;
    for (const std::string &word : line) {
        words.push_back(const_cast<char *>(word.c_str()));
    }
    words.push_back(nullptr);
    alarm(kSecondsAllowed);
    if (surroundings.prepare) {
        surroundings.prepare();
    }
    if (surroundings.directory.empty() || chdir(surroundings.directory.c_str()) == 0) {
        execvp(words[0], words.data());
    }
    _exit(127);
}

void redirect(const fs::path &path, int fd)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, fd);
    close(file);
}

} // namespace

int exitStatus(pid_t child)
{
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void dropReadPrivileges()
{
    prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
    prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
}

pid_t startTool(const Arguments &arguments)
{
    const auto line = commandLine(arguments);
    const pid_t child = fork();
    if (child == 0) {
        redirect("/dev/null", STDOUT_FILENO);
        redirect("/dev/null", STDERR_FILENO);
        becomeTool(line, {});
    }
    return child;
}

Outcome runTool(const Arguments &arguments, const Surroundings &surroundings)
{
    const TempDir dir;
    const auto line = commandLine(arguments);
    const pid_t child = fork();
    if (child == 0) {
        redirect(dir / "out", STDOUT_FILENO);
        redirect(dir / "err", STDERR_FILENO);
        becomeTool(line, surroundings);
    }
    Outcome outcome;
    outcome.status = exitStatus(child);
    outcome.out = readFile(dir / "out");
    outcome.err = readFile(dir / "err");
    return outcome;
}

Outcome runToolOnTerminal(const Arguments &arguments, const Surroundings &surroundings)
{
    Terminal terminal;
    const auto line = commandLine(arguments);
    const pid_t child = fork();
    if (child == 0) {
        dup2(terminal.slave, STDOUT_FILENO);
        dup2(terminal.slave, STDERR_FILENO);
        close(terminal.master);
        close(terminal.slave);
        becomeTool(line, surroundings);
    }
    Outcome outcome;
    outcome.out = terminal.readAll();
    outcome.status = exitStatus(child);
    return outcome;
}

Terminal::Terminal() : master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
        throw std::runtime_error("no pseudo-terminal");
    }
    slave = open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

Terminal::~Terminal()
{
    close(master);
    if (slave >= 0) {
        close(slave);
    }
}

std::string Terminal::readAll()
{
    close(slave);
    slave = -1;
    std::string text;
    char buffer[4096];
    // The last slave closed reads as an error.
    for (ssize_t got = 0; (got = read(master, buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(got));
    }
    return text;
}

Arguments signing()
{
    return {"--key", programDir() / "keys/signer.key", "--cert", programDir() / "keys/signer.pem"};
}

Arguments foreignSigning()
{
    foreignSigner();
    return {"--key", programDir() / "foreign-keys/signer.key", "--cert", programDir() / "foreign-keys/signer.pem"};
}

Arguments operator+(Arguments left, const Arguments &right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

SmallPackage::SmallPackage(const fs::path &dir)
    : path(dir / "small.cc"), members(writeSigned(path, {member("app", pattern(70000)), member("conf", "key=value\n")}))
{
}

} // namespace tarn::test
