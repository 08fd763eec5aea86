// INI profiles and the signed file list read from them, from a file and from memory.
#include "fuzz_target.h"

#include <cstring>
#include <memory>
#include <string>

#include <tarn_basic/ini.h>
#include <tarn_boot/container.h>

namespace {

size_t checkProfile(const SwmIniSection *profile)
{
    size_t sections = 0;
    for (const SwmIniSection *section = profile; section != nullptr; section = section->next, ++sections) {
        tarn::fuzz::require(section->name != nullptr && section->keys != nullptr,
                            "every exposed section has a name and keys");
        for (const SwmIniKey *key = section->keys; key != nullptr; key = key->next) {
            tarn::fuzz::require(strnlen(key->name, sizeof(key->name)) < sizeof(key->name) && key->value != nullptr,
                                "every key has a terminated name and a value");
        }
    }
    return sections;
}

void checkList(const SwmListHead &list, size_t sections)
{
    size_t count = 0;
    for (const SwmListNode *node = list.next; node != reinterpret_cast<const SwmListNode *>(&list); node = node->next) {
        const auto *record = reinterpret_cast<const SignedFileRecord *>(node);
        tarn::fuzz::require(strnlen(record->fileName, sizeof(record->fileName)) < sizeof(record->fileName) &&
                                strnlen(record->digest, sizeof(record->digest)) < sizeof(record->digest),
                            "fields are terminated");
        ++count;
    }
    tarn::fuzz::require(count == list.count && count == sections, "one record per section");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const tarn::fuzz::ScratchFile file;
    const std::string text(reinterpret_cast<const char *>(data), size);
    SwmIniSection *fromMemory = SWM_IniLoadProfileFromFileMem(text.c_str());
    const size_t sections = checkProfile(fromMemory);
    if (fromMemory != nullptr) {
        char value[64];
        SWM_IniProfileGetValue(fromMemory, fromMemory->name, fromMemory->keys->name, value, sizeof(value));
        tarn::fuzz::require(strncmp(value, fromMemory->keys->value, sizeof(value) - 1) == 0,
                            "the first key of the first section is found");
    }
    SWM_FreeProfile(fromMemory);

    file.assign(data, size);
    SwmListHead list = {reinterpret_cast<SwmListNode *>(&list), reinterpret_cast<SwmListNode *>(&list), 0};
    const uint32_t status = TARN_SafeCacheSignedFile(file.path(), &list);
    const bool hasNul = memchr(data, 0, size) != nullptr;
    if (status == SWM_OK) {
        tarn::fuzz::require(!hasNul && sections > 0, "only what loads from memory too is a list");
        checkList(list, sections);
    } else {
        tarn::fuzz::require(hasNul || sections == 0, "what loads from memory is a list");
    }
    while (list.next != reinterpret_cast<SwmListNode *>(&list)) {
        SwmListNode *node = list.next;
        list.next = node->next;
        free(node);
    }
    return 0;
}
