// tarn crc: CRC-16/XMODEM of a file, by the library.
#include <memory>

#include <tarn_boot/verification.h>

#include "command.h"
#include "json.h"
#include "library_log.h"
#include "package/reader.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr LibraryResult kRefused = {SWM_FAIL, "SWM_FAIL", "no checksum"};

struct Content {
    std::string path;
    std::string content;
};

// All at once: the library takes one buffer, whose length has 32 bits.
Content contentOf(const std::string &path)
{
    const OpenPackage file = openPackage(path);
    if (file.size > UINT32_MAX) {
        failWith(escaped(path) + ": has " + humanSize(file.size) + ", a checksum is of less than 4 GiB",
                 "take the checksum of parts of it");
    }
    return {path, readAt(file, 0, file.size)};
}

[[noreturn]] void refuse(const Content &file, const Json &report)
{
    Failure failure;
    failure.status = ExitStatus::No;
    failure.what =
        escaped(file.path) + (file.content.empty() ? ": is empty" : ": every byte is 0") + ", and so has no checksum";
    failure.result = &kRefused;
    failure.reason = takeLibraryReason();
    failure.next = "erased or unwritten data must not pass as valid: check where the file comes from";
    setReport(failure, report);
    throw failure;
}

ExitStatus run(const std::string &path, const Globals &globals)
{
    const Content file = contentOf(path);
    Json report;
    putName(report, "file", path);
    report.update({{"size", file.content.size()}, {"algorithm", "CRC-16/XMODEM"}, {"crc", Json()}});
    uint16_t checksum = 0;
    takeLibraryReason();
    if (SWM_CrcCheck(reinterpret_cast<const uint8_t *>(file.content.data()), static_cast<uint32_t>(file.content.size()),
                     &checksum) != SWM_OK) {
        refuse(file, report);
    }
    const std::string digits = format("%04x", static_cast<unsigned>(checksum));
    if (globals.json) {
        report["crc"] = digits;
        printJson(report);
    } else {
        printOut(digits + "  " + escaped(path) + "\n");
    }
    return ExitStatus::Done;
}

} // namespace

void addCrcCommand(CLI::App &app, Globals &globals)
{
    static constexpr CommandText kText = {
        "crc", "FILE", "Compute the CRC-16/XMODEM of a file",
        "Polynomial 0x1021, most significant bit first, initial value 0, no final XOR; files of less than 4 GiB.\n"
        "Exit status: 0 computed; 1 the file is empty or all zero; 2 wrong usage; 3 cannot be read."};
    const auto path = std::make_shared<std::string>();
    Command command(app, globals, kText, [path, &globals] { return run(*path, globals); });
    command.operand("FILE", "The file", *path);
}

} // namespace tarn::tool
