#include <cerrno>
#include <string>

#include <sys/stat.h>

#include "support.h"

namespace {

using namespace tarn::test;

class Log : public PlatformTest {
protected:
    static std::string logged(uint32_t level, const std::string &text)
    {
        return stderrOf([&] { SWM_LogWrite(0, level, "%s", text.c_str()); });
    }
};

TEST_F(Log, LevelsWithoutConfiguration)
{
    EXPECT_EQ(logged(SWM_LOG_ERROR, "text"), "text\n");
    EXPECT_EQ(logged(SWM_LOG_NOTICE, "text"), "text\n");
    EXPECT_EQ(logged(SWM_LOG_INFO, "text"), "");
    EXPECT_EQ(logged(99, "text"), "");
}

TEST_F(Log, ConfiguredLevel)
{
    setConfig("[log]\nlevel = 3\n");
    EXPECT_EQ(logged(3, "text"), "text\n");
    EXPECT_EQ(logged(4, "text"), "");
    setConfig("[log]\nlevel = 6\n"); // seen by the very next call
    EXPECT_EQ(logged(6, "text"), "text\n");
    setConfig("[log]\nlevel = much\n");
    EXPECT_EQ(logged(5, "text"), "text\n");
    EXPECT_EQ(logged(6, "text"), "");
}

TEST_F(Log, UnusableConfigurationLeavesTheDefaults)
{
    setConfig("[log]\nlevel = 6\n");
    fs::permissions(configPath(), fs::perms(0666));
    EXPECT_EQ(logged(5, "text"), "text\n");
    EXPECT_EQ(logged(6, "text"), "");
}

TEST_F(Log, ControlBytesCannotForgeALine)
{
    EXPECT_EQ(logged(3, "a\nb\rc\x1b[2J\x7f\x01 \xC3\xA4"), "a\\x0ab\\x0dc\\x1b[2J\\x7f\\x01 \xC3\xA4\n");
    EXPECT_EQ(logged(3, "a\n"), "a\n") << "a line feed of its own is not doubled";
}

TEST_F(Log, LongLines)
{
    EXPECT_EQ(logged(3, std::string(2048, 'x')), std::string(2048, 'x') + "\n");
    EXPECT_EQ(logged(3, std::string(2049, 'x')), std::string(2045, 'x') + "...\n");
    EXPECT_EQ(logged(3, std::string(9000, 'x')), std::string(2045, 'x') + "...\n");
    const std::string escaped = logged(3, std::string(600, '\x01'));
    EXPECT_EQ(escaped.size(), 2049u);
    EXPECT_EQ(escaped.substr(escaped.size() - 4), "...\n");
}

TEST_F(Log, KeepsErrno)
{
    setConfig("[log]\ntarget = /nowhere/at/all\n");
    errno = EXDEV;
    EXPECT_EQ(logged(3, "text"), "text\n") << "what cannot be opened is no reason to lose the line";
    errno = EXDEV;
    SWM_LogWrite(0, 6, "not wanted");
    EXPECT_EQ(errno, EXDEV);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
#pragma GCC diagnostic ignored "-Wformat-security"
    const char *none = nullptr;
    SWM_LogWrite(0, 3, none);
#pragma GCC diagnostic pop
}

TEST_F(Log, File)
{
    setConfig("[log]\ntarget = " + std::string(at("log")) + "\n");
    SWM_LogWrite(0, 3, "%s %d", "one", 1);
    SWM_LogWrite(0, 4, "two");
    EXPECT_EQ(readFile(dir / "log"), "one 1\ntwo\n");
    EXPECT_EQ(modeOf(dir / "log"), 0640u);
}

TEST_F(Log, PlantedTargets)
{
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    writeFile(dir / "victim", "kept");
    fs::create_symlink("victim", dir / "link");
    for (const char *name : {"fifo", "link", "."}) {
        setConfig("[log]\ntarget = " + std::string(at(name)) + "\n");
        EXPECT_EQ(logged(3, "text"), "text\n") << name;
    }
    EXPECT_EQ(readFile(dir / "victim"), "kept");
}

TEST_F(Log, Syslog)
{
    setConfig("[log]\ntarget = syslog\n");
    EXPECT_EQ(logged(3, "a test of the platform library"), "");
}

} // namespace
