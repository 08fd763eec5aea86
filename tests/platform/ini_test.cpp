#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <thread>

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support.h"

namespace {

using namespace tarn::test;

struct FreeProfile {
    void operator()(SwmIniSection *profile) const { SWM_FreeProfile(profile); }
};
using Profile = std::unique_ptr<SwmIniSection, FreeProfile>;

// "[section]key=value;" in the profile's order; "failed" without one.
std::string dump(const SwmIniSection *profile)
{
    std::string text;
    for (const SwmIniSection *section = profile; section != nullptr; section = section->next) {
        text += section->name;
        for (const SwmIniKey *key = section->keys; key != nullptr; key = key->next) {
            text += std::string(key->name) + "=" + key->value + ";";
        }
    }
    return profile == nullptr ? "failed" : text;
}

class Ini : public PlatformTest {
protected:
    std::string fromStream(std::string_view text)
    {
        writeFile(dir / "ini", text);
        const std::unique_ptr<FILE, int (*)(FILE *)> stream(fopen(at("ini"), "r"), fclose);
        return dump(Profile(SWM_IniLoadProfile(stream.get())).get());
    }
    static std::string fromMemory(const std::string &text)
    {
        return dump(Profile(SWM_IniLoadProfileFromFileMem(text.c_str())).get());
    }
};

const std::string kKey64(64, 'k');
const std::string kKey65(65, 'k');

TEST_F(Ini, Grammar)
{
    const struct {
        std::string text;
        std::string profile;
    } rows[] = {
        {"[s]\na=1\n", "[s]a=1;"},
        {"[s]\r\na=1\r\n", "[s]a=1;"},
        {"[s]\na=1", "[s]a=1;"},
        {"[s]\na=1\r", "[s]a=1\r;"}, // a carriage return ends nothing by itself
        {"[s]\n \ta\v= \t1 2 \t\n", "[s]a=1 2 \t;"},
        {"  [s t]  \na=\n", "[s t]a=;"},
        {"[s]\na=b=c\n", "[s]a=b=c;"},
        {"[s]\n;a=1\n #b=2\nc=3;4 #5\n", "[s]c=3;4 #5;"},
        {"a=1\n[s]\nb=2\n", "[s]b=2;"},
        {"[s]\nnothing\n[t\na=1\n[x] y\n", "[s]a=1;"},
        {"[s]\n" + kKey64 + "=1\n" + kKey65 + "=2\n", "[s]" + kKey64 + "=1;"},
        {"[e]\n[s]\na=1\n[e]\n;x=1\n[t]\nb=2\n[e]\n", "[s]a=1;[t]b=2;"},
        {"[s]\na=1\n[t]\nb=2\n[s]\na=3\n", "[s]a=1;[t]b=2;[s]a=3;"},
        {"\xEF\xBB\xBF[s]\na=1\n", "[s]a=1;"},
        {"[]\na=1\n", "[]a=1;"},
        {"[s]\n=x\n", "[s]=x;"}, // an empty key is a key
        {"[s]\na=" + std::string(4093, 'x') + "\n", "[s]a=" + std::string(4093, 'x') + ";"},
        {"[s]\na=" + std::string(4093, 'x') + "\r\n", "[s]a=" + std::string(4093, 'x') + ";"},
        {"", "failed"},
        {"a=1\n", "failed"},
        {"[s]\n[t]\n", "failed"},
        {"[s]\na=1\nb=" + std::string(4094, 'x') + "\n", "failed"},
        {"[s]\na=1\n;" + std::string(4095, 'x') + "\n", "failed"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(fromStream(row.text), row.profile) << row.text;
        EXPECT_EQ(fromMemory(row.text), row.profile) << row.text;
    }
}

TEST_F(Ini, NulInStream)
{
    EXPECT_EQ(fromStream(std::string_view("[s]\na=1\nb=\0x\n", 14)), "failed");
    EXPECT_EQ(fromStream(std::string_view("[s]\na=1\n\0", 9)), "failed");
}

TEST_F(Ini, Sections)
{
    std::string text;
    for (int i = 0; i < 65535; ++i) {
        text += "[s]\n";
    }
    text += "[t]\na=1\n";
    EXPECT_EQ(fromMemory(text), "[t]a=1;");
    EXPECT_EQ(fromMemory("[s]\n" + text), "failed");
}

TEST_F(Ini, Size)
{
    std::string text = "[s]\na=1\n";
    while (text.size() < 4 * 1024 * 1024 - 8) {
        text += ";234567\n";
    }
    text += ";234567\n";
    ASSERT_EQ(text.size(), 4u * 1024 * 1024);
    EXPECT_EQ(fromStream(text), "[s]a=1;");
    EXPECT_EQ(fromMemory(text), "[s]a=1;");
    text += "\n";
    EXPECT_EQ(fromStream(text), "failed");
    EXPECT_EQ(fromMemory(text), "failed");
}

TEST_F(Ini, NothingToRead)
{
    EXPECT_EQ(SWM_IniLoadProfile(nullptr), nullptr);
    EXPECT_EQ(SWM_IniLoadProfileFromFileMem(nullptr), nullptr);
    FILE *directory = nullptr;
    ASSERT_EQ(SWM_Fopen(dir.c_str(), "r", &directory), 0u);
    EXPECT_EQ(SWM_IniLoadProfile(directory), nullptr);
    EXPECT_EQ(errno, EISDIR);
    fclose(directory);
    SWM_FreeProfile(nullptr);
}

std::atomic<bool> g_isSignalled = false;

TEST_F(Ini, SignalsWhileReading)
{
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = [](int) { g_isSignalled = true; }; // without SA_RESTART
    ASSERT_EQ(::sigaction(SIGUSR1, &action, &before), 0);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const pthread_t reader = ::pthread_self();
    std::thread writer([&] {
        EXPECT_EQ(::write(ends[1], "[s]\na=1\n", 8), 8);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        ::pthread_kill(reader, SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(::write(ends[1], "b=2\n", 4), 4);
        ::close(ends[1]);
    });
    FILE *stream = ::fdopen(ends[0], "r");
    EXPECT_EQ(dump(Profile(SWM_IniLoadProfile(stream)).get()), "[s]a=1;b=2;");
    writer.join();
    fclose(stream);
    EXPECT_TRUE(g_isSignalled);
    ::sigaction(SIGUSR1, &before, nullptr);
}

TEST_F(Ini, Values)
{
    const Profile profile(SWM_IniLoadProfileFromFileMem("[s]\na=one\na=two\n[t]\nb=3\n[s]\nc=4\n"));
    char out[4] = "-";
    EXPECT_EQ(SWM_IniProfileGetValue(profile.get(), "[s]", "a", out, sizeof out), 0u);
    EXPECT_STREQ(out, "one");
    EXPECT_EQ(SWM_IniProfileGetValue(profile.get(), "[s]", "a", out, 3), 0u);
    EXPECT_STREQ(out, "on");
    EXPECT_EQ(SWM_IniProfileGetValue(profile.get(), "[t]", "b", out, 1), 0u);
    EXPECT_STREQ(out, "");
    out[0] = '-';
    EXPECT_EQ(SWM_IniProfileGetValue(profile.get(), "s", "a", out, sizeof out), 1u);
    EXPECT_EQ(SWM_IniProfileGetValue(profile.get(), "[s]", "c", out, sizeof out), 2u) << "the first [s] decides";
    EXPECT_EQ(SWM_IniProfileGetValue(nullptr, "[s]", "a", out, sizeof out), kFailure);
    EXPECT_EQ(SWM_IniProfileGetValue(profile.get(), nullptr, "a", out, sizeof out), kFailure);
    EXPECT_EQ(SWM_IniProfileGetValue(profile.get(), "[s]", nullptr, out, sizeof out), kFailure);
    EXPECT_EQ(SWM_IniProfileGetValue(profile.get(), "[s]", "a", nullptr, 4), kFailure);
    EXPECT_EQ(SWM_IniProfileGetValue(profile.get(), "[s]", "a", out, 0), kFailure);
    EXPECT_EQ(out[0], '-');
}

TEST_F(Ini, ValuesOfFile)
{
    char out[8] = "-";
    writeFile(dir / "ini", "[s]\na=one\n");
    writeFile(dir / "empty", "");
    EXPECT_EQ(SWM_IniGetValue(at("ini"), "[s]", "a", out, sizeof out), 0u);
    EXPECT_STREQ(out, "one");
    EXPECT_EQ(SWM_IniGetValue(at("ini"), "[t]", "a", out, sizeof out), 1u);
    EXPECT_EQ(SWM_IniGetValue(at("ini"), "[s]", "b", out, sizeof out), 2u);
    EXPECT_EQ(SWM_IniGetValue(at("empty"), "[s]", "a", out, sizeof out), kFailure);
    EXPECT_EQ(SWM_IniGetValue(at("none"), "[s]", "a", out, sizeof out), kFailure);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(SWM_IniGetValue(dir.c_str(), "[s]", "a", out, sizeof out), kFailure);
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    EXPECT_EQ(SWM_IniGetValue(at("fifo"), "[s]", "a", out, sizeof out), kFailure);
    EXPECT_EQ(SWM_IniGetValue(nullptr, "[s]", "a", out, sizeof out), kFailure);
    EXPECT_EQ(SWM_IniGetValue(at("ini"), "[s]", "a", out, 0), kFailure);
    EXPECT_STREQ(out, "one");
}

} // namespace
