// The tool's own SWM_LogWrite. The libraries call theirs through the dynamic linker, which takes the program's first:
// so they are quiet unless asked, whatever the platform's configuration says, and their lines explain results.
#include "library_log.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <utility>

#include <tarn_basic/log.h>

#include "platform_config.h"
#include "results.h"
#include "text.h"

namespace {

constexpr size_t kLineSize = 2048;

std::mutex g_mutex;
uint32_t g_shownLevel = 0;
uint32_t g_keptLevel = 0; // level of the line kept, 0 when there is none
char g_keptLine[kLineSize] = "";

void keepFirst(uint32_t level, const char *line)
{
    const bool isMoreSevere = g_keptLevel == 0 || level < g_keptLevel;
    if (level <= SWM_LOG_WARNING && isMoreSevere) {
        g_keptLevel = level;
        static_cast<void>(snprintf(g_keptLine, sizeof(g_keptLine), "%s", line));
    }
}

} // namespace

void SWM_LogWrite(uint32_t, uint32_t level, const char *format, ...)
{
    const int savedErrno = errno;
    char line[kLineSize] = "";
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is above
    static_cast<void>(vsnprintf(line, sizeof(line), format, arguments));
    va_end(arguments);
    {
        const std::lock_guard lock(g_mutex);
        keepFirst(level, line);
        if (level <= g_shownLevel) {
            tarn::tool::printError(tarn::tool::escaped(line) + "\n");
        }
    }
    errno = savedErrno;
}

namespace tarn::tool {

namespace {

// The one line that carries a number of the platform's: what it stands for.
const SignatureMeaning *signatureDetail(const std::string &line)
{
    static constexpr char kText[] = "ExtractVerifySignature: verify pss filelist failed, ret:";
    if (line.rfind(kText, 0) != 0) {
        return nullptr;
    }
    return signatureMeaning(static_cast<uint32_t>(strtoul(line.c_str() + sizeof(kText) - 1, nullptr, 10)));
}

// The line kept, without its tags; none is kept any more.
std::string takeLine()
{
    std::string line;
    {
        const std::lock_guard lock(g_mutex);
        line = g_keptLine;
        g_keptLevel = 0;
        g_keptLine[0] = '\0';
    }
    const size_t tags = line.rfind("[BOOT]", 0) == 0 ? line.find("]: ") : std::string::npos;
    return line.erase(0, tags == std::string::npos ? 0 : tags + 3);
}

std::string withDetail(const std::string &line, const SignatureMeaning *detail)
{
    return detail == nullptr ? line : line + " (" + detail->text + ")";
}

} // namespace

MutedLog::MutedLog() : before(std::exchange(g_shownLevel, 0)) {}

MutedLog::~MutedLog()
{
    g_shownLevel = before;
}

void showLibraryLog(uint32_t level)
{
    g_shownLevel = level;
}

uint32_t logLevelByName(const std::string &name)
{
    static constexpr const char *kNames[] = {"error", "warning", "notice", "info"};
    for (uint32_t index = 0; index < std::size(kNames); ++index) {
        if (name == kNames[index] || name == std::to_string(SWM_LOG_ERROR + index)) {
            return SWM_LOG_ERROR + index;
        }
    }
    return 0;
}

std::string takeLibraryReason()
{
    const std::string line = takeLine();
    return withDetail(line, signatureDetail(line));
}

bool explainFailure(Failure &failure)
{
    const std::string line = takeLine();
    const SignatureMeaning *detail = signatureDetail(line);
    failure.reason = withDetail(line, detail);
    if (detail == nullptr || detail->fault == SignatureFault::Package) {
        return false;
    }
    failure.status = ExitStatus::Failed;
    failure.next = detail->fault == SignatureFault::System
                       ? "check memory and /tmp, then try again"
                       : "check the configuration " + escaped(platformConfigInUse()) +
                             ", [trust] above all, or choose another with --config";
    return true;
}

} // namespace tarn::tool
