// tarn package create: files into a new signed package.
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include <tarn_boot/container.h>

#include "package.h"
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

// "FILE" or "FILE=NAME". The last "=" separates: a path that has one itself is written with "=NAME".
packaging::Input parseInput(const std::string &argument)
{
    const size_t separator = argument.rfind('=');
    packaging::Input input;
    input.source = argument.substr(0, separator);
    input.name = separator == std::string::npos ? "" : argument.substr(separator + 1);
    if (input.source.empty() || (separator != std::string::npos && input.name.empty())) {
        refuseUsage(escaped(argument) + ": neither FILE nor FILE=NAME",
                    "write the member's name behind \"=\"; a path that contains \"=\" always needs one");
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
    for (const packaging::Input &input : inputs) {
        std::error_code ignored;
        if (fs::equivalent(input.source, options.output, ignored)) {
            refuseUsage(escaped(options.output) + ": both the package and a file to put into it",
                        "choose another name for the package");
        }
    }
}

void report(const Options &options, size_t members, bool json)
{
    const uint64_t size = fs::file_size(options.output);
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
    {
        const Progress progress("packing", [&] { return totalSize(inputs); });
        packaging::createPackage(options.output, inputs, signer ? &*signer : nullptr);
    }
    constexpr size_t kSignatureMembers = 2;
    report(options, inputs.size() + (signer ? kSignatureMembers : 0), globals.json);
    return ExitStatus::Done;
}

} // namespace

void addPackageCreate(CLI::App &group, Globals &globals)
{
    const auto options = std::make_shared<Options>();
    CLI::App &command = addCommand(group, globals, "create", "Put files into a new signed package",
                                   [options, &globals] { return run(*options, globals); });
    command.add_option("-o,--output", options->output, "The package to make")->type_name("PACKAGE")->required();
    command.add_option("--key", options->key, "Private RSA key, PEM")->type_name("FILE");
    command.add_option("--cert", options->certificate, "Certificate of the key, PEM")->type_name("FILE");
    command.add_option("--chain", options->chain, "Intermediate certificates to embed, PEM")->type_name("FILE");
    command.add_flag("--no-sign", options->isUnsigned, "Make an unsigned package, byte for byte reproducible");
    command.add_option("files", options->files, "Files; NAME is the member's name, by default the file's own")
        ->type_name("FILE[=NAME]")
        ->required();
}

} // namespace tarn::tool
