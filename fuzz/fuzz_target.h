// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace tarn::fuzz {

// A property that holds for every input; a violation is a finding.
inline void require(bool holds, const char *property)
{
    if (!holds) {
        fprintf(stderr, "violated: %s\n", property);
        abort();
    }
}

// An anonymous file, kept for the whole run, that takes one input after the other.
class ScratchFile {
public:
    ScratchFile();
    int32_t fd() const { return descriptor; }
    const char *path() const { return procPath; }
    void assign(const uint8_t *data, size_t size) const;

private:
    int32_t descriptor;
    char procPath[32];
};

} // namespace tarn::fuzz
