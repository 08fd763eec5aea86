// tarn keys: signing keys for development.
#include <filesystem>
#include <memory>

#include "command.h"
#include "json.h"
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

ExitStatus run(const Options &options, const Globals &globals)
{
    const fs::path directory = fs::absolute(options.directory).lexically_normal();
    const packaging::DevelopmentKeys keys = packaging::makeDevelopmentKeys(directory, options.bits);
    if (globals.json) {
        printJson({{"anchor", keys.anchor.string()},
                   {"ca_key", keys.caKey.string()},
                   {"certificate", keys.certificate.string()},
                   {"key", keys.key.string()},
                   {"config", keys.config.string()},
                   {"bits", options.bits},
                   {"development_only", true}});
    } else {
        Table table("ll");
        table.add({"trust anchor", escaped(keys.anchor.string())});
        table.add({"its key", escaped(keys.caKey.string())});
        table.add({"signing certificate", escaped(keys.certificate.string())});
        table.add({"its key", escaped(keys.key.string())});
        table.add({"for --config", escaped(keys.config.string())});
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
    command.option("--bits", options->bits, "N", "Size of the RSA keys, 2048 to 16384; 3072 by default");
}

} // namespace tarn::tool
