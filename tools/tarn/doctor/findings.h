// What doctor has found.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tarn::tool {

// Warning and Error need attention.
enum class Severity { Ok, Note, Warning, Error };

struct Finding {
    Severity severity;
    const char *area;
    std::string subject; // a path or a name, as it is
    std::string what;
    std::string why; // why it matters; "" for Ok
    std::string next;
};

using Findings = std::vector<Finding>;

// Where to look. Paths of the device lie below its root.
struct Examined {
    std::filesystem::path root;
    std::filesystem::path config;
    bool configIsNamed = false; // somebody asked for this file
    std::vector<std::string> databases;

    std::filesystem::path at(const std::filesystem::path &devicePath) const
    {
        return root / devicePath.relative_path();
    }
};

// What the configuration says, or the platform's defaults.
struct Configuration {
    std::string rootPath = "/";
    std::string pool = "/opt/tarn/pool";
    std::string anchors;
    std::string revocation;
    std::string purpose = "codeSigning";
};

// Why the platform would not believe a file that decides about trust; "" when it would. `next` says what to do.
std::string distrust(const std::filesystem::path &path, std::string &next);

Configuration examineConfiguration(const Examined &examined, Findings &findings);
void examineTrust(const Examined &examined, const Configuration &configuration, Findings &findings);
void examineLeftovers(const Examined &examined, const Configuration &configuration, Findings &findings);
void examineDatabases(const Examined &examined, Findings &findings);
void examinePool(const Examined &examined, const Configuration &configuration, Findings &findings);

} // namespace tarn::tool
