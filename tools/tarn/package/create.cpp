// tarn package create: files into a new signed package.
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include <tarn_boot/container.h>

#include "json.h"
#include "package/commands.h"
#include "packaging/package.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace fs = std::filesystem;

namespace {

struct Options {
    std::string output;
    std::string key;
    std::string certificate;
    std::string chain;
    bool isUnsigned = false;
    std::vector<std::string> files;
};

// "FILE" or "FILE=NAME". The last "=" separates: a path that has one itself is written with "=NAME". Forgetting that
// would silently pack another file when there is one of the shorter name.
packaging::Input parseInput(const std::string &argument)
{
    std::error_code ignored;
    const size_t separator = argument.rfind('=');
    packaging::Input input;
    input.source = argument.substr(0, separator);
    input.name = separator == std::string::npos ? "" : argument.substr(separator + 1);
    if (input.source.empty() || (separator != std::string::npos && input.name.empty())) {
        refuseUsage(escaped(argument) + ": neither FILE nor FILE=NAME",
                    "write the member's name behind \"=\"; a path that contains \"=\" always needs one");
    }
    if (separator != std::string::npos && fs::exists(argument, ignored)) {
        refuseUsage(inQuotes(argument) + ": there is a file of this name, but it stands for the file " +
                        inQuotes(input.source.string()) + " as member " + inQuotes(input.name),
                    "the last \"=\" divides: write " + inQuotes(argument + "=NAME") + ", or rename the file");
    }
    return input;
}

void checkOptions(const Options &options, const std::vector<packaging::Input> &inputs)
{
    if (!options.isUnsigned && (options.key.empty() || options.certificate.empty())) {
        refuseUsage("no signing key and certificate given",
                    "add --key and --cert (\"tarn keys new DIR\" makes some for development), or --no-sign");
    }
    if (options.isUnsigned && !(options.key.empty() && options.certificate.empty() && options.chain.empty())) {
        refuseUsage("--no-sign and a key, certificate or chain at once", "leave one of them out");
    }
    if (TARN_SafeIsPkgFile(options.output.c_str()) == 0) {
        refuseUsage(escaped(options.output) + ": not a package name; nothing would verify it",
                    "let it end in .cc, .CC, .ccx or .cch");
    }
    std::vector<fs::path> sources = {options.key, options.certificate, options.chain};
    for (const packaging::Input &input : inputs) {
        sources.push_back(input.source);
    }
    for (const fs::path &source : sources) {
        std::error_code ignored;
        if (fs::equivalent(source, options.output, ignored)) {
            refuseUsage(escaped(options.output) + ": both the package to make and a file that it is made from",
                        "choose another name for the package");
        }
    }
}

void report(const Options &options, size_t members, uint64_t size, bool json)
{
    if (json) {
        printJson({{"package", options.output}, {"members", members}, {"size", size}, {"signed", !options.isUnsigned}});
    } else {
        printOut(escaped(options.output) + ": " + counted(members, "member") + ", " + counted(size, "byte") + ", " +
                 (options.isUnsigned ? inColour(Colour::Warning, "not signed") : inColour(Colour::Good, "signed")) +
                 "\n");
    }
    if (options.isUnsigned) {
        printError(inErrorColour(Colour::Warning, "tarn: ") + "warning: " + escaped(options.output) +
                   ": not signed, so nothing will verify or unpack it\n");
    }
}

uint64_t totalSize(const std::vector<packaging::Input> &inputs)
{
    uint64_t total = 0;
    for (const packaging::Input &input : inputs) {
        std::error_code unknown;
        const auto size = fs::file_size(input.source, unknown);
        total += unknown ? 0 : size;
    }
    return total;
}

ExitStatus run(const Options &options, const Globals &globals)
{
    std::vector<packaging::Input> inputs;
    for (const std::string &argument : options.files) {
        inputs.push_back(parseInput(argument));
    }
    checkOptions(options, inputs);
    std::optional<packaging::Signer> signer;
    if (!options.isUnsigned) {
        signer.emplace(options.key, options.certificate, options.chain);
    }
    uint64_t size = 0;
    {
        const Progress progress("packing", [&] { return totalSize(inputs); });
        size = packaging::createPackage(options.output, inputs, signer ? &*signer : nullptr);
    }
    constexpr size_t kSignatureMembers = 2;
    report(options, inputs.size() + (signer ? kSignatureMembers : 0), size, globals.json);
    return ExitStatus::Done;
}

} // namespace

void addPackageCreate(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "create", "-o PACKAGE (--key FILE --cert FILE | --no-sign) FILE[=NAME]...",
        "Put files into a new signed package",
        "FILE=NAME is divided at the last \"=\"; a FILE with \"=\" in its path always needs \"=NAME\".\n"
        "PACKAGE ends in .cc, .CC, .ccx or .cch; an existing file of that name is replaced once all is written.\n"
        "Exit status: 0 made; 2 wrong usage; 3 could not be made, and nothing was."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return run(*options, globals); });
    command.requiredOption("-o,--output", options->output, "PACKAGE", "The package to make");
    command.option("--key", options->key, "FILE", "Private RSA key, PEM");
    command.option("--cert", options->certificate, "FILE", "Certificate of the key, PEM");
    command.option("--chain", options->chain, "FILE", "Intermediate certificates to embed, PEM");
    command.flag("--no-sign", options->isUnsigned, "Make an unsigned package, byte for byte reproducible");
    command.operands("FILE[=NAME]...", "Files; NAME is the member's name, by default the file's own", options->files);
}

} // namespace tarn::tool
