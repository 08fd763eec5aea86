// A file that appears under its name whole or not at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <sys/types.h>

namespace tarn::packaging {

// Owns a descriptor.
class Descriptor {
public:
    explicit Descriptor(int owned = -1) : fd(owned) {}
    Descriptor(Descriptor &&other) noexcept : fd(other.fd) { other.fd = -1; }
    Descriptor &operator=(Descriptor &&other) noexcept;
    ~Descriptor();
    int get() const { return fd; }

private:
    int fd;
};

// Opens for reading without hanging on a FIFO. Throws PackagingError unless `path` is a regular file.
Descriptor openSource(const std::filesystem::path &path);

// Reads until `size` bytes or the end; the number read. Throws PackagingError naming `path`.
size_t readFully(const Descriptor &descriptor, void *buffer, size_t size, const std::filesystem::path &path);

// Writes to a temporary file in the target's directory, one without a name where the file system can do that; commit()
// syncs it and gives it its name. Without commit nothing is left. Replaces a regular file or a link, nothing else.
// Throws PackagingError.
class OutputFile {
public:
    explicit OutputFile(const std::filesystem::path &path);
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;
    ~OutputFile();

    void write(const void *data, size_t size);
    void writeAt(uint64_t offset, const void *data, size_t size);
    // Whose the file is to be once it has its name, in place of the process's own user and umask.
    void setOwner(uid_t user, gid_t group, mode_t mode);
    void commit();

private:
    std::filesystem::path target;
    std::filesystem::path temporary; // empty: it has no name yet
    Descriptor descriptor;
    bool committed = false;
};

} // namespace tarn::packaging
