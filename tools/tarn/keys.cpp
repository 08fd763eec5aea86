// tarn keys: signing keys for development.
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include "command.h"
#include "packaging/error.h"
#include "packaging/output_file.h"
#include "packaging/signer.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

constexpr char kWarning[] =
    "THESE KEYS ARE FOR DEVELOPMENT ONLY. They lie unprotected in files: whoever reads the\n"
    "directory can sign packages that every device with this anchor installs. Never ship ca.pem.\n";

struct Options {
    std::string directory;
    unsigned bits = 3072;
};

// A configuration under which packages signed with the new key verify.
std::string configText(const fs::path &anchor)
{
    return "# Development configuration: trusts the throw-away CA beside it and nothing else.\n"
           "[trust]\nanchors = " +
           anchor.string() + "\nsigner_purpose = codeSigning\n";
}

// The file must not be writable for others whatever the umask: the platform would not read it.
void writeConfig(const fs::path &path, const std::string &text)
{
    const packaging::Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (file.get() < 0 || write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
        failWith(escaped(path.string()) + ": cannot be written: " + packaging::errorText(errno));
    }
}

void checkDirectory(const fs::path &directory, const fs::path &config)
{
    const std::string text = directory.string();
    if (std::any_of(text.begin(), text.end(), [](char byte) { return static_cast<unsigned char>(byte) < 0x20; })) {
        refuseUsage(escaped(text) + ": control characters in the path", "choose a directory without");
    }
    struct stat status = {};
    if (lstat(config.c_str(), &status) == 0) {
        failWith(escaped(config.string()) + ": is there already; keys are never overwritten");
    }
}

ExitStatus run(const Options &options, const Globals &globals)
{
    const fs::path directory = fs::absolute(options.directory).lexically_normal();
    const fs::path config = directory / "basic.conf";
    checkDirectory(directory, config);
    const packaging::DevelopmentKeys keys = packaging::makeDevelopmentKeys(directory, options.bits);
    writeConfig(config, configText(keys.anchor));
    if (globals.json) {
        printJson({{"anchor", keys.anchor.string()},
                   {"ca_key", keys.caKey.string()},
                   {"certificate", keys.certificate.string()},
                   {"key", keys.key.string()},
                   {"config", config.string()},
                   {"bits", options.bits},
                   {"development_only", true}});
    } else {
        Table table("ll");
        table.add({"trust anchor", escaped(keys.anchor.string())});
        table.add({"its key", escaped(keys.caKey.string())});
        table.add({"signing certificate", escaped(keys.certificate.string())});
        table.add({"its key", escaped(keys.key.string())});
        table.add({"for --config", escaped(config.string())});
        printOut(table.text());
    }
    printError(inErrorColour(Colour::Warning, kWarning));
    return ExitStatus::Done;
}

} // namespace

void addKeysGroup(CLI::App &app, Globals &globals)
{
    static constexpr CommandText kText = {
        "new", "DIR", "Make a throw-away CA, a signing key and a configuration that trusts them",
        "Exit status: 0 made; 2 wrong usage; 3 could not be made, also when one of the files is there already."};
    CLI::App &group = addGroup(app, "keys", "Make signing keys for development");
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.operand("DIR", "Where to; made when missing, nothing in it is overwritten", options->directory);
    command.app.add_option("--bits", options->bits, "Size of the RSA keys, 2048 to 16384; 3072 by default")
        ->type_name("N");
}

} // namespace tarn::tool
