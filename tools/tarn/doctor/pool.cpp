// The package pool: <pool>/<name>/<version>.
#include <cerrno>
#include <sys/stat.h>

#include "doctor/findings.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kArea[] = "pool";

class Pool {
public:
    explicit Pool(Findings &collected) : findings(collected) {}

    void examine(const fs::path &pool)
    {
        const size_t before = findings.size();
        std::error_code error;
        if (!fs::exists(fs::symlink_status(pool, error))) {
            add(Severity::Note, pool, "there is none", "nothing is installed from packages",
                "none, unless something should be installed; \"package_pool\" in [paths] names it");
            return;
        }
        walk(pool, [this](const fs::path &package) { examinePackage(package); });
        if (findings.size() == before) {
            add(Severity::Ok, pool,
                counted(packages, "package") + " in " + counted(versions, "version") + ", " + std::to_string(marked) +
                    " marked for local boot",
                "", "");
        }
    }

private:
    void add(Severity severity, const fs::path &path, std::string what, const char *why, const char *next)
    {
        findings.push_back({severity, kArea, path.string(), std::move(what), why, next});
    }

    // Others must not exchange what is installed.
    void examineMode(const fs::path &directory)
    {
        struct stat status = {};
        if (stat(directory.c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0) {
            add(Severity::Error, directory, "everybody may write it", "whoever can may exchange what is installed",
                "chmod o-w the directory");
        }
    }

    // Calls `each` for the directories in one; the number of them.
    template <typename Each> size_t walk(const fs::path &directory, Each &&each)
    {
        examineMode(directory);
        size_t count = 0;
        std::error_code error;
        fs::directory_iterator entry(directory, error);
        for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
            std::error_code ignored;
            if (fs::is_directory(entry->symlink_status(ignored))) {
                ++count;
                each(entry->path());
            } else {
                add(Severity::Warning, entry->path(), "does not belong here, only directories do",
                    "it is no part of any installed version", "find out where it comes from, and remove it");
            }
        }
        if (error) {
            add(Severity::Error, directory, "cannot be looked through: " + error.message(),
                "its packages cannot be used", "check that it is a directory, and who may read it");
        }
        return count;
    }

    void examinePackage(const fs::path &package)
    {
        ++packages;
        const size_t before = findings.size();
        const size_t found = walk(package, [this](const fs::path &version) { examineVersion(version); });
        if (found == 0 && findings.size() == before) {
            add(Severity::Note, package, "a package without versions", "an installation or removal ended early",
                "remove the directory if nothing is being installed");
        }
    }

    void examineVersion(const fs::path &version)
    {
        ++versions;
        examineMode(version);
        std::error_code error;
        const fs::path marker = version / "bootlocal";
        const fs::file_status status = fs::symlink_status(marker, error);
        if (fs::is_regular_file(status)) {
            ++marked;
        } else if (fs::exists(status)) {
            add(Severity::Warning, marker, "is in the marker's place, and no file",
                "whether the version boots locally is undecided",
                "remove it, then use \"tarn boot mark\" if it should");
        }
    }

    Findings &findings;
    size_t packages = 0;
    size_t versions = 0;
    size_t marked = 0;
};

} // namespace

void examinePool(const Examined &examined, const Configuration &configuration, Findings &findings)
{
    Pool(findings).examine(examined.at(configuration.pool));
}

} // namespace tarn::tool
