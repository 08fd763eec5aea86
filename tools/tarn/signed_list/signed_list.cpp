// tarn signed-list show, check: what a signed list holds, what is wrong with it, and who signed it.
#include <memory>

#include <tarn_basic/crypto.h>
#include <tarn_boot/verification.h>

#include "json.h"
#include "library_log.h"
#include "list/load.h"
#include "package/reader.h"
#include "packaging/certificates.h"
#include "packaging/error.h"
#include "platform_config.h"
#include "results.h"
#include "signed_list/commands.h"
#include "signed_list/examine.h"
#include "terminal.h"
#include "text.h"

namespace tarn::tool {

namespace {

constexpr LibraryResult kNotLoaded = {SWM_FAIL, "", "the list does not load"};

struct Options {
    std::string file;
    std::string signature;
};

struct Release {
    void operator()(SigFileListDigest *header) const { SWM_FreeSigFileListDigest(header); }
};

// The list as the library loads it; null when it does not.
struct Loaded {
    explicit Loaded(const ListFile &file)
    {
        takeLibraryReason();
        SigFileListDigest *header = nullptr;
        // A NUL ends the text for the library; an empty section would hold it for ever.
        status = SWM_GetSignatureFileListDigestInfoFromFile(file.content.c_str(), &header);
        reason = takeLibraryReason();
        list.reset(header);
    }

    std::unique_ptr<SigFileListDigest, Release> list;
    uint32_t status = 0;
    std::string reason;
};

// ---- Reports ----

Json listJson(const ListFile &file, const Loaded &loaded)
{
    Json report;
    putName(report, "file", file.path);
    report["loads"] = loaded.list != nullptr;
    if (loaded.list == nullptr) {
        report.update({{"result", loaded.status}, {"reason", loaded.reason}});
        return report;
    }
    Json files = Json::array();
    for (const SwmListNode *node = loaded.list->fileDigests.next; node != &loaded.list->fileDigests;
         node = node->next) {
        const auto *info = reinterpret_cast<const FileDigestInfo *>(node);
        Json row = {{"type", info->fileType}};
        putName(row, "name", info->fileName);
        putName(row, "digest", info->digest);
        files.push_back(row);
    }
    putName(report, "creator", loaded.list->creator);
    report.update({{"file_count", loaded.list->fileCount}, {"files", files}});
    return report;
}

std::string listText(const Json &report)
{
    Table rows("rll");
    rows.add({"type", "name", "digest"});
    for (const Json &file : report["files"]) {
        rows.add({std::to_string(file["type"].get<uint32_t>()), escaped(file["name"].get<std::string>()),
                  escaped(file["digest"].get<std::string>())});
    }
    return rows.text() + escaped(report["file"].get<std::string>()) + ": created by " +
           inQuotes(report["creator"].get<std::string>()) + ", " + counted(report["files"].size(), "file") + "\n";
}

// ---- Signature ----

struct Verdict {
    uint32_t status = SWM_CMS_VALID;
    const SignatureMeaning *meaning = nullptr;
    std::optional<packaging::CertificateFacts> signer;

    bool isValid() const { return status == SWM_CMS_VALID; }
    // Whether the signature itself is to blame.
    bool isAnswer() const { return isValid() || meaning == nullptr || meaning->fault == SignatureFault::Package; }
};

// Of the bytes that were read; none when no signature was given.
std::optional<Verdict> judge(const Options &options, const ListFile &list)
{
    if (options.signature.empty()) {
        return std::nullopt;
    }
    checkPlatformConfig();
    const ListFile signature(options.signature);
    Verdict verdict;
    SwmCmsMemRecord record = {};
    record.content = reinterpret_cast<const uint8_t *>(list.content.data());
    record.contentLength = static_cast<uint32_t>(list.content.size());
    record.signature = reinterpret_cast<const uint8_t *>(signature.content.data());
    record.signatureLength = static_cast<uint32_t>(signature.content.size());
    verdict.status = SWM_VerifyCmsFromMem(&record, 1);
    verdict.meaning = signatureMeaning(verdict.status);
    verdict.signer = packaging::signerOf(signature.content);
    takeLibraryReason();
    return verdict;
}

std::string meaningOf(const Verdict &verdict)
{
    return verdict.isValid() ? "valid" : verdict.meaning != nullptr ? verdict.meaning->text : "refused by the platform";
}

Json verdictJson(const Options &options, const std::optional<Verdict> &verdict)
{
    Json json;
    if (verdict) {
        putName(json, "file", options.signature);
        json.update({{"valid", verdict->isValid()}, {"result", verdict->status}, {"meaning", meaningOf(*verdict)}});
        json["signer"] = verdict->signer ? Json(verdict->signer->subject) : Json();
    }
    return json;
}

std::string verdictText(const Options &options, const std::optional<Verdict> &verdict)
{
    if (!verdict) {
        return "";
    }
    const std::string signer =
        verdict->signer ? ", signer " + inQuotes(verdict->signer->subject) : std::string(", signer unknown");
    return escaped(options.signature) + ": " +
           inColour(verdict->isValid() ? Colour::Good : Colour::Bad, verdict->isValid()    ? "valid"
                                                                     : verdict->isAnswer() ? "not valid"
                                                                                           : "not to be judged") +
           (verdict->isValid() ? "" : ": " + meaningOf(*verdict)) + signer + "\n";
}

ExitStatus statusOf(bool isGood, const std::optional<Verdict> &verdict)
{
    if (isGood && verdict && !verdict->isAnswer()) {
        return ExitStatus::Failed;
    }
    return isGood && (!verdict || verdict->isValid()) ? ExitStatus::Done : ExitStatus::No;
}

// ---- Show ----

ExitStatus runShow(const Options &options, const Globals &globals)
{
    const ListFile file(options.file);
    const Loaded loaded(file);
    const std::optional<Verdict> verdict = judge(options, file);
    Json report = listJson(file, loaded);
    report["signature"] = verdictJson(options, verdict);
    if (loaded.list == nullptr) {
        Failure failure;
        failure.status = ExitStatus::No;
        failure.what = escaped(file.path) + ": " + kNotLoaded.meaning;
        failure.reason = loaded.reason;
        failure.next = "\"tarn signed-list check " + escaped(file.path) + "\" names every line that is wrong";
        setReport(failure, report);
        throw failure;
    }
    if (globals.json) {
        printJson(report);
    } else {
        printOut(listText(report) + verdictText(options, verdict));
    }
    return statusOf(true, verdict);
}

// ---- Check ----

Json notesJson(const std::vector<SignedListNote> &notes)
{
    Json json = Json::array();
    for (const SignedListNote &note : notes) {
        json.push_back({{"line", note.line}, {"kind", note.kind}, {"message", note.text}});
    }
    return json;
}

std::string notesText(const ListFile &file, const std::vector<SignedListNote> &notes)
{
    std::string text;
    for (const SignedListNote &note : notes) {
        text += escaped(file.path) + ": " + (note.line == 0 ? "" : format("line %zu: ", note.line)) + note.text + "\n";
    }
    return text;
}

ExitStatus runCheck(const Options &options, const Globals &globals)
{
    const ListFile file(options.file);
    const std::vector<SignedListNote> notes = examineSignedList(file.content);
    const Loaded loaded(file);
    const std::optional<Verdict> verdict = judge(options, file);
    const bool isGood = loaded.list != nullptr && notes.empty();
    if (globals.json) {
        Json report = listJson(file, loaded);
        report["problems"] = notesJson(notes);
        report["signature"] = verdictJson(options, verdict);
        printJson(report);
    } else {
        printOut(notesText(file, notes) + escaped(file.path) + ": " +
                 (loaded.list != nullptr
                      ? inColour(Colour::Good, "loads") + ", " + counted(loaded.list->fileCount, "file")
                      : inColour(Colour::Bad, "does not load") + ": " + loaded.reason) +
                 ", " + counted(notes.size(), "problem") + "\n" + verdictText(options, verdict));
    }
    return statusOf(isGood, verdict);
}

void addSignatureOption(Command &command, Options &options)
{
    command.option("--cms", options.signature, "FILE", "The detached signature over the list");
}

} // namespace

void addSignedListShow(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "show", "FILE", "Show creator and files of a signed list, and who signed it",
        "Exit status: 0 shown; 1 the list does not load or its signature is not valid; 2 wrong usage;\n"
        "3 cannot be read or judged, also for want of trust anchors."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return runShow(*options, globals); });
    addSignatureOption(command, *options);
    command.operand("FILE", "The list", options->file);
}

void addSignedListCheck(CLI::App &group, Globals &globals)
{
    static constexpr CommandText kText = {
        "check", "FILE", "Check a signed list line by line, and the signature over it",
        "Exit status: 0 nothing is wrong; 1 something is; 2 wrong usage; 3 cannot be read or judged, also for want of\n"
        "trust anchors."};
    const auto options = std::make_shared<Options>();
    Command command(group, globals, kText, [options, &globals] { return runCheck(*options, globals); });
    addSignatureOption(command, *options);
    command.operand("FILE", "The list", options->file);
}

} // namespace tarn::tool
