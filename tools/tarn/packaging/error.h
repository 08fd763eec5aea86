// The error of package building.
#pragma once

#include <stdexcept>
#include <string>
#include <system_error>

namespace tarn::packaging {

// What cannot be packed, and why, in words for the person who asked.
class PackagingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The request itself cannot be met, whatever the files are like: a name, a number of members, a size of keys.
class RequestError : public PackagingError {
public:
    using PackagingError::PackagingError;
};

// A system error in words.
inline std::string errorText(int error)
{
    return std::generic_category().message(error);
}

} // namespace tarn::packaging
