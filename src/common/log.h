// Log lines of the library. Each macro sends one whole literal, so that searching for a logged line finds its source
// and a device can filter by format. Error lines carry the caller's file and line; errno is kept.
#pragma once

#include <cerrno>

#include <tarn_basic/log.h>
#include <tarn_boot/common.h>

namespace tarn {

// Puts errno back when the full expression that made it ends.
class ErrnoKeeper {
public:
    ErrnoKeeper() = default;
    ~ErrnoKeeper() { errno = saved; }
    ErrnoKeeper(const ErrnoKeeper &) = delete;
    ErrnoKeeper &operator=(const ErrnoKeeper &) = delete;

private:
    int saved = errno;
};

} // namespace tarn

#define TARN_LOG(level, ...) (static_cast<void>(::tarn::ErrnoKeeper{}), ::SWM_LogWrite(0, level, __VA_ARGS__))

#define TARN_LOG_ERROR(tag, text, ...)                                                                                 \
    TARN_LOG(SWM_LOG_ERROR, "[BOOT][" tag "][ERROR][%s:%d]: " text, __FILE_NAME__,                                     \
             static_cast<int>(__LINE__) __VA_OPT__(, ) __VA_ARGS__)
#define BASE_ERROR(text, ...) TARN_LOG_ERROR("SWM_BASE", text __VA_OPT__(, ) __VA_ARGS__)
// Failures told in the context of the services that call for them.
#define LOCPKG_ERROR(text, ...) TARN_LOG_ERROR("LOCPKG_INSTALL", text __VA_OPT__(, ) __VA_ARGS__)
#define SYSPKG_ERROR(text, ...) TARN_LOG_ERROR("SYSPKG_INSTALL", text __VA_OPT__(, ) __VA_ARGS__)
#define DISTREPO_ERROR(text, ...) TARN_LOG_ERROR("DISTREPO_CLIENT", text __VA_OPT__(, ) __VA_ARGS__)
#define BASE_WARNING(text, ...) TARN_LOG(SWM_LOG_WARNING, "[BOOT][SWM_BASE][WARNING]: " text __VA_OPT__(, ) __VA_ARGS__)
#define BASE_NOTICE(text, ...) TARN_LOG(SWM_LOG_NOTICE, "[BOOT][SWM_BASE][NOTICE]: " text __VA_OPT__(, ) __VA_ARGS__)
#define BASE_INFO(text, ...) TARN_LOG(SWM_LOG_INFO, "[BOOT][SWM_BASE][INFO]: " text __VA_OPT__(, ) __VA_ARGS__)
#define COMMON_ERROR(text, ...) TARN_LOG_ERROR("SWM_COMMON", text __VA_OPT__(, ) __VA_ARGS__)
#define COMMON_WARNING(text, ...)                                                                                      \
    TARN_LOG(SWM_LOG_WARNING, "[BOOT][SWM_COMMON][WARNING]: " text __VA_OPT__(, ) __VA_ARGS__)
// The database's lines carry no place, errors neither.
#define XML_LOG(level, name, text, ...) TARN_LOG(level, "[BOOT][SWM_XML][" name "]: " text __VA_OPT__(, ) __VA_ARGS__)
#define XML_ERROR(...) XML_LOG(SWM_LOG_ERROR, "ERROR", __VA_ARGS__)
#define XML_WARNING(...) XML_LOG(SWM_LOG_WARNING, "WARNING", __VA_ARGS__)
#define XML_INFO(...) XML_LOG(SWM_LOG_INFO, "INFO", __VA_ARGS__)

// Error and status in one: `if (count > kMaxMembers) return BASE_FAIL("...", count);`
#define BASE_FAIL(...) (BASE_ERROR(__VA_ARGS__), SWM_FAIL)
#define XML_FAIL(...) (XML_ERROR(__VA_ARGS__), SWM_FAIL)
