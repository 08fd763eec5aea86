// Refusals of names and paths.
#include "package/names.h"

#include "exit_status.h"
#include "packaging/names.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr size_t kMaxPath = 383;

} // namespace

void requirePlainName(const std::string &name)
{
    if (!packaging::isPlainFileName(name)) {
        refuseUsage(inQuotes(name) + ": not a plain file name, and so never extracted",
                    "only members with plain names can be extracted; \"tarn package list\" shows them");
    }
}

void requireLibraryPath(const std::filesystem::path &path)
{
    if (path.native().size() > kMaxPath) {
        failWith(escaped(path.string()) + format(": the path is too long, at most %zu bytes are taken", kMaxPath),
                 "name a shorter one");
    }
}

} // namespace tarn::tool
