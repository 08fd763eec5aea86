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

template <typename Argument> bool control(int device, unsigned long request, Argument argument)
{
    return retried([&] { return ::ioctl(device, request, argument); }) == 0;
}

// Kernels before 5.8 have no LOOP_CONFIGURE; there the device is visible for a moment without its offset.
bool attachInTwoSteps(int device, int image, const loop_info64 &info)
{
    if (!control(device, LOOP_SET_FD, image)) {
        return false;
    }
    if (control(device, LOOP_SET_STATUS64, &info)) {
        return true;
    }
    const ErrnoKeeper keeper;
    (void)control(device, LOOP_CLR_FD, 0);
    return false;
}

bool attach(int device, int image, uint32_t offset)
{
    loop_config config = {};
    config.fd = static_cast<uint32_t>(image);
    config.info.lo_offset = offset;
    config.info.lo_flags = LO_FLAGS_READ_ONLY;
    if (control(device, LOOP_CONFIGURE, &config)) {
        return true;
    }
    if (errno != EINVAL && errno != ENOTTY && errno != ENOSYS) {
        return false;
    }
    return attachInTwoSteps(device, image, config.info);
}

// Stores the device's path; a buffer that is too small for it is refused before anything is attached.
uint32_t attachToFree(int image, uint32_t offset, char *pathOut, uint32_t pathSize)
{
    const Descriptor all(retried([] { return ::open("/dev/loop-control", O_RDWR | kOpenFlags); }));
    if (!all) {
        return kFailure;
    }
    for (int attempt = 0; attempt < kLoopAttempts; ++attempt) {
        const int number = retried([&] { return ::ioctl(all.get(), LOOP_CTL_GET_FREE); });
        if (number < 0) {
            return kFailure;
        }
        char path[32];
        const auto length = static_cast<size_t>(snprintf(path, sizeof path, "/dev/loop%d", number));
        if (length >= pathSize) {
            return refuse(ENAMETOOLONG);
        }
        const Descriptor device(retried([&] { return ::open(path, kReadFlags | O_NOFOLLOW); }));
        if (device && attach(device.get(), image, offset)) {
            return storeText(path, length, pathOut, pathSize);
        }
        // EAGAIN: the kernel still holds pages of the device's last image.
        if (errno != EBUSY && errno != EAGAIN) {
            return kFailure;
        }
    }
    return kFailure;
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
    return image ? attachToFree(image.get(), offset, deviceOut, outSize) : kFailure;
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
    return control(device.get(), LOOP_CLR_FD, 0) ? kSuccess : kFailure;
}
