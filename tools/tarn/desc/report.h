// A descriptor for people and for programs.
#pragma once

#include <string>

#include "desc/descriptor.h"
#include "json.h"

namespace tarn::tool {

struct DescReport {
    bool isAccepted = false; // by the library, as a whole
    std::string reason;      // why not
    std::string text;        // tables
    Json json;               // also what could be read of one that is not accepted
};

DescReport readDescriptor(const ListFile &file, DescKind kind);

} // namespace tarn::tool
