// What the platform's tests stand on: a private directory and configuration per program, one directory per test.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <tarn_basic/tarn_basic.h>

namespace tarn::test {

namespace fs = std::filesystem;

constexpr uint32_t kFailure = 0xFFFFFFFF;
constexpr unsigned kOtherId = 12345; // an owner that is nobody's

// The program's directory, removed at its end.
const fs::path &programDir();
// The configuration file that TARN_BASIC_CONFIG names.
fs::path configPath();
void setConfig(std::string_view text);
void removeConfig();

// A test with an empty directory of its own and no configuration.
class PlatformTest : public ::testing::Test {
protected:
    PlatformTest();
    ~PlatformTest() override;
    // Paths live as long as the test, so that they can be passed on as C texts.
    const char *at(std::string_view name);

    fs::path dir;

private:
    std::deque<std::string> names;
};

std::string readFile(const fs::path &path);
void writeFile(const fs::path &path, std::string_view content);
unsigned modeOf(const fs::path &path);
unsigned ownerOf(const fs::path &path);
bool isRoot();
size_t openDescriptors();
size_t entriesOf(const fs::path &path);
// What a call writes to stderr.
std::string stderrOf(const std::function<void()> &call);
// The exit status of a child that runs the body, -1 when it died otherwise.
int statusOfChild(const std::function<int()> &body);
// The same for a child that runs as kOtherId; its caller must be root.
int statusWithoutRoot(const std::function<int()> &body);

} // namespace tarn::test
