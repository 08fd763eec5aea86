// The error of package building.
#pragma once

#include <stdexcept>

namespace tarn::packaging {

// What cannot be packed, and why, in words for the person who asked.
class PackagingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace tarn::packaging
