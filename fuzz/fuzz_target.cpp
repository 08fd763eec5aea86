// The scratch file, and silence: takes the place of the platform's log, but renders each line so that a bad argument
// shows.
#include "fuzz_target.h"

#include <cstdarg>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

#include <tarn_basic/log.h>

void SWM_LogWrite(uint32_t, uint32_t, const char *format, ...)
{
    char line[8192];
    va_list arguments;
    va_start(arguments, format);
    tarn::fuzz::require(vsnprintf(line, sizeof(line), format, arguments) >= 0, "log lines can be rendered");
    va_end(arguments);
}

namespace tarn::fuzz {

ScratchFile::ScratchFile() : descriptor(memfd_create("input", MFD_CLOEXEC))
{
    require(descriptor >= 0, "memfd_create works");
    snprintf(procPath, sizeof(procPath), "/proc/self/fd/%d", descriptor);
}

void ScratchFile::assign(const uint8_t *data, size_t size) const
{
    require(ftruncate(descriptor, 0) == 0, "the scratch file can be emptied");
    require(pwrite(descriptor, data, size, 0) == static_cast<ssize_t>(size), "the scratch file can be filled");
}

} // namespace tarn::fuzz
