// Identity of users and of the device, and loop devices.
#include <cstring>

#include <grp.h>
#include <linux/loop.h>
#include <pwd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <tarn_basic/device.h>

#include "characters.h"
#include "config.h"
#include "file_io.h"
#include "path_text.h"

using namespace tarn::basic;

namespace {

constexpr unsigned kLoopMajor = 7;
// Somebody else may take each free device before us.
constexpr int kLoopAttempts = 64;

template <typename Record> using LookUp = int (*)(const char *, Record *, char *, size_t, Record **);

// One call of getpwnam_r or getgrnam_r with as much room as it asks for. False when the name is not known.
template <typename Record> bool findByName(LookUp<Record> lookUp, const char *name, Block<char> *room, Record *record)
{
    constexpr size_t kMaxRoom = 1024 * 1024;
    for (size_t size = 4096; size <= kMaxRoom; size *= 4) {
        room->reset(static_cast<char *>(::malloc(size)));
        if (*room == nullptr) {
            return false;
        }
        Record *found = nullptr;
        const int error = lookUp(name, record, room->get(), size, &found);
        if (error != ERANGE && error != EINTR) {
            return error == 0 && found != nullptr;
        }
    }
    return false;
}

uint32_t configuredNumber(const char *key, uint32_t *out)
{
    Config config;
    if (out == nullptr) {
        return refuse(EINVAL);
    }
    if (!config.load()) {
        return kFailure;
    }
    uint32_t number = 0;
    if (!parseNumber(config.text("[device]", key, ""), &number)) {
        return refuse(EINVAL);
    }
    *out = number;
    return kSuccess;
}

// Kernels before 5.8 have no LOOP_CONFIGURE; there the device is visible for a moment without its offset.
bool attachInTwoSteps(int device, int image, const loop_info64 &info)
{
    if (::ioctl(device, LOOP_SET_FD, image) != 0) {
        return false;
    }
    if (retried([&] { return ::ioctl(device, LOOP_SET_STATUS64, &info); }) == 0) {
        return true;
    }
    const ErrnoKeeper keeper;
    (void)::ioctl(device, LOOP_CLR_FD, 0);
    return false;
}

bool attach(int device, int image, uint32_t offset)
{
    loop_config config = {};
    config.fd = static_cast<uint32_t>(image);
    config.info.lo_offset = offset;
    config.info.lo_flags = LO_FLAGS_READ_ONLY;
    if (::ioctl(device, LOOP_CONFIGURE, &config) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOTTY && errno != ENOSYS) {
        return false;
    }
    return attachInTwoSteps(device, image, config.info);
}

// The device's number, or -1.
int attachToFree(int image, uint32_t offset, uint32_t pathSize)
{
    const Descriptor control(retried([] { return ::open("/dev/loop-control", O_RDWR | kOpenFlags); }));
    if (!control) {
        return -1;
    }
    for (int attempt = 0; attempt < kLoopAttempts; ++attempt) {
        const int number = ::ioctl(control.get(), LOOP_CTL_GET_FREE);
        char path[32];
        if (number < 0) {
            return -1;
        }
        if (snprintf(path, sizeof path, "/dev/loop%d", number) >= static_cast<int>(pathSize)) {
            errno = ENAMETOOLONG;
            return -1;
        }
        const Descriptor device(retried([&] { return ::open(path, kReadFlags | O_NOFOLLOW); }));
        if (device && attach(device.get(), image, offset)) {
            return number;
        }
        if (errno != EBUSY) {
            return -1;
        }
    }
    return -1;
}

bool isLoopDevice(const struct stat &status)
{
    return S_ISBLK(status.st_mode) && major(status.st_rdev) == kLoopMajor;
}

} // namespace

uint32_t TARN_GetUidByName(const char *name, uint32_t fallback)
{
    passwd record;
    Block<char> room;
    return name != nullptr && findByName<passwd>(::getpwnam_r, name, &room, &record) ? record.pw_uid : fallback;
}

uint32_t TARN_GetGidByName(const char *name, uint32_t fallback)
{
    group record;
    Block<char> room;
    return name != nullptr && findByName<group>(::getgrnam_r, name, &room, &record) ? record.gr_gid : fallback;
}

uint32_t SWM_GetCpuId(uint32_t *cpuId)
{
    return configuredNumber("cpu_id", cpuId);
}

uint32_t SWM_GetBoardHardType(uint32_t *hardType)
{
    return configuredNumber("board_hard_type", hardType);
}

uint32_t TARN_MountLoopDev(const char *imagePath, uint32_t offset, char *deviceOut, uint32_t outSize)
{
    if (imagePath == nullptr || deviceOut == nullptr) {
        return refuse(EINVAL);
    }
    const Descriptor image = openRegular(imagePath, O_RDONLY);
    const int number = image ? attachToFree(image.get(), offset, outSize) : -1;
    if (number < 0) {
        return kFailure;
    }
    snprintf(deviceOut, outSize, "/dev/loop%d", number);
    return kSuccess;
}

uint32_t TARN_DelLoopDev(const char *devicePath)
{
    if (devicePath == nullptr) {
        return refuse(EINVAL);
    }
    // Looked at before it is opened: opening some devices has effects of its own.
    struct stat status;
    if (::lstat(devicePath, &status) != 0) {
        return kFailure;
    }
    if (!isLoopDevice(status)) {
        return refuse(ENOTBLK);
    }
    const Descriptor device(retried([&] { return ::open(devicePath, kReadFlags | O_NOFOLLOW); }));
    if (!device || ::fstat(device.get(), &status) != 0) {
        return kFailure;
    }
    if (!isLoopDevice(status)) {
        return refuse(ENOTBLK);
    }
    return ::ioctl(device.get(), LOOP_CLR_FD, 0) == 0 ? kSuccess : kFailure;
}
