#include "support.h"

#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarn::test {
namespace {

fs::path g_programDir;
unsigned g_tests = 0;

fs::path makeProgramDir()
{
    std::string name = (fs::temp_directory_path() / "tarn_basic_XXXXXX").string();
    return ::mkdtemp(name.data()) != nullptr ? fs::path(name) : fs::path();
}

} // namespace

const fs::path &programDir()
{
    return g_programDir;
}

fs::path configPath()
{
    return programDir() / "basic.conf";
}

void setConfig(std::string_view text)
{
    writeFile(configPath(), text);
    fs::permissions(configPath(), fs::perms(0644));
}

void removeConfig()
{
    fs::remove(configPath());
}

PlatformTest::PlatformTest() : dir(programDir() / std::to_string(++g_tests))
{
    fs::create_directory(dir);
    removeConfig();
}

PlatformTest::~PlatformTest()
{
    fs::remove_all(dir);
}

const char *PlatformTest::at(std::string_view name)
{
    return names.emplace_back((dir / name).string()).c_str();
}

std::string readFile(const fs::path &path)
{
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void writeFile(const fs::path &path, std::string_view content)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

unsigned modeOf(const fs::path &path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0xFFFF;
}

unsigned ownerOf(const fs::path &path)
{
    struct stat status = {};
    return ::lstat(path.c_str(), &status) == 0 ? status.st_uid : 0xFFFFFFFF;
}

bool isRoot()
{
    return ::geteuid() == 0;
}

size_t openDescriptors()
{
    return entriesOf("/proc/self/fd");
}

size_t entriesOf(const fs::path &path)
{
    return static_cast<size_t>(std::distance(fs::directory_iterator(path), fs::directory_iterator()));
}

std::string stderrOf(const std::function<void()> &call)
{
    const fs::path path = programDir() / "stderr";
    const int kept = ::dup(STDERR_FILENO);
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
    ::dup2(file, STDERR_FILENO);
    ::close(file);
    call();
    ::dup2(kept, STDERR_FILENO);
    ::close(kept);
    return readFile(path);
}

int statusOfChild(const std::function<int()> &body)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(body());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int statusWithoutRoot(const std::function<int()> &body)
{
    fs::permissions(programDir(), fs::perms(0711));
    const int status = statusOfChild([&] {
        // A process that has given up root's rights may not look into its own /proc/self/fd unless it may be dumped.
        const bool isDropped = ::setgid(kOtherId) == 0 && ::setuid(kOtherId) == 0 && ::prctl(PR_SET_DUMPABLE, 1) == 0;
        return isDropped ? body() : -1;
    });
    fs::permissions(programDir(), fs::perms(0700));
    return status;
}

} // namespace tarn::test

int main(int argc, char **argv)
{
    ::umask(022);
    ::testing::InitGoogleTest(&argc, argv);
    tarn::test::g_programDir = tarn::test::makeProgramDir();
    ::setenv("TARN_BASIC_CONFIG", tarn::test::configPath().c_str(), 1);
    const int result = RUN_ALL_TESTS();
    std::filesystem::remove_all(tarn::test::g_programDir);
    return result;
}
