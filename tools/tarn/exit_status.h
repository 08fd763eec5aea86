// How every command ends: the exit status, and the error that says why.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include <nlohmann/json_fwd.hpp>

namespace tarn::tool {

using Json = nlohmann::ordered_json; // see json.h

// Usage is about the form of the command line: unknown words, missing or empty values, names and numbers that no
// package can have. A file that the command line names and that is missing, or not what it should be, is Failed.
enum class ExitStatus {
    Done = 0,   // yes, or done
    No = 1,     // the answer is no: not valid, differs, not found
    Usage = 2,  // wrong usage
    Failed = 3, // could not be carried out
};

// A result of the library: its number, its name in the headers and what it means.
struct LibraryResult {
    uint32_t number;
    const char *name;
    const char *meaning;
};

// Ends a command. Printed as one or two lines; with --json as the member "error" of the report.
struct Failure {
    ExitStatus status = ExitStatus::Failed;
    std::string what;                      // what went wrong, with which file and member
    const LibraryResult *result = nullptr; // what the library answered, if it was asked
    std::string reason;                    // the library's own first error line
    std::string next;                      // what to do about it
    std::shared_ptr<const Json> report;    // what could be found out all the same; may be null
};

[[noreturn]] inline void failWith(std::string what, std::string next = "", ExitStatus status = ExitStatus::Failed)
{
    Failure failure;
    failure.status = status;
    failure.what = std::move(what);
    failure.next = std::move(next);
    throw failure;
}

[[noreturn]] inline void refuseUsage(std::string what, std::string next)
{
    failWith(std::move(what), std::move(next), ExitStatus::Usage);
}

} // namespace tarn::tool
