// Signed file lists as the installers read them, from memory and from a path.
#include "fuzz_target.h"

#include <cstring>
#include <string>
#include <vector>

#include <tarn_basic/ini.h>
#include <tarn_boot/verification.h>

using tarn::fuzz::require;

namespace {

struct Listed {
    std::string name;
    std::string digest;
    uint32_t type;
    bool operator==(const Listed &) const = default;
};

struct Expected {
    uint32_t status = SWM_OK;
    std::vector<Listed> files;
};

std::string valueOf(const SwmIniKey *key, const char *name, size_t room)
{
    while (key != nullptr && strcmp(key->name, name) != 0) {
        key = key->next;
    }
    return key == nullptr ? "" : std::string(key->value).substr(0, room - 1);
}

uint32_t numberOf(const std::string &text)
{
    return static_cast<uint32_t>(strtoul(text.c_str(), nullptr, 0));
}

const SwmIniSection *mainSectionOf(const SwmIniSection *profile)
{
    while (profile != nullptr && strcmp(profile->name, "[MAIN FILE INFO]") != 0) {
        profile = profile->next;
    }
    return profile;
}

bool hasKey(const SwmIniSection *section, const char *name)
{
    const SwmIniKey *key = section->keys;
    while (key != nullptr && strcmp(key->name, name) != 0) {
        key = key->next;
    }
    return key != nullptr;
}

Expected expectedOf(const SwmIniSection *profile)
{
    if (profile == nullptr) {
        return {SWM_E_LIST_LOAD, {}};
    }
    const SwmIniSection *main = mainSectionOf(profile);
    if (main == nullptr || !hasKey(main, "Create By") || !hasKey(main, "FILENUM") ||
        valueOf(main->keys, "Create By", 96) != "Korvel Technology Inc.") {
        return {1, {}};
    }
    const uint32_t number = numberOf(valueOf(main->keys, "FILENUM", 32));
    if (number < 1 || number > 256) {
        return {SWM_E_FILE_COUNT, {}};
    }
    Expected expected;
    for (const SwmIniSection *section = profile->next; section != nullptr; section = section->next) {
        Listed file = {valueOf(section->keys, "FILENAME", 96), valueOf(section->keys, "SHA256-DIGEST", 65),
                       numberOf(valueOf(section->keys, "FILETYPE", 32))};
        if (file.type == 0 || file.name.empty() || file.digest.empty()) {
            expected.status = 1;
            break;
        }
        expected.files.push_back(std::move(file));
    }
    return expected;
}

std::vector<Listed> filesOf(const SigFileListDigest &header)
{
    std::vector<Listed> files;
    const SwmListNode *before = &header.fileDigests;
    for (const SwmListNode *node = before->next; node != &header.fileDigests; node = node->next) {
        require(node->prev == before, "both links of neighbours agree");
        before = node;
        const auto *record = reinterpret_cast<const FileDigestInfo *>(node);
        files.push_back({record->fileName, record->digest, record->fileType});
    }
    require(header.fileDigests.prev == before, "the head's backward link is at the last record");
    return files;
}

void checkMemory(const std::string &text, const Expected &expected)
{
    SigFileListDigest *header = nullptr;
    require(SWM_GetSignatureFileListDigestInfoFromFile(text.c_str(), &header) == expected.status,
            "a list in memory gives the status of its first failing step");
    require((header != nullptr) == (expected.status == SWM_OK), "there is a header after success only");
    if (header != nullptr) {
        require(filesOf(*header) == expected.files, "the records are those of the sections");
    }
    SWM_FreeSigFileListDigest(header);
    for (const Listed &file : expected.files) {
        require(SWM_IsFileExistInSigContent(file.name.c_str(), text.c_str()) == (expected.status == SWM_OK),
                "every listed name is found");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const tarn::fuzz::ScratchFile file;
    const std::string text(reinterpret_cast<const char *>(data), size);
    SwmIniSection *profile = SWM_IniLoadProfileFromFileMem(text.c_str());
    const Expected expected = expectedOf(profile);
    SWM_FreeProfile(profile);
    checkMemory(text, expected);

    file.assign(data, size);
    SigFileListDigest *header = nullptr;
    require(SWM_MallocSigFileListDigest(&header) == SWM_OK, "there is memory for a header");
    const uint32_t status = SWM_GetSignatureFileListDigestInfo(header, file.path());
    const bool isSame = (status == SWM_OK) == (expected.status == SWM_OK) && filesOf(*header) == expected.files;
    require(isSame || text.find('\0') != text.npos, "the path gives what the memory gives");
    SWM_FreeSigFileListDigest(header);
    return 0;
}
