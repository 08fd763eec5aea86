// Base of the tests of signed file lists as the installers read them: texts, profiles of the test's own, log lines.
#pragma once

#include <memory>

#include <tarn_basic/ini.h>
#include <tarn_boot/verification.h>

#include "line_list_test.h"

namespace tarn::test::signedlist {

using Texts = std::vector<std::string>;

inline constexpr const char *kFile = "tarn_package_verify.cpp";
inline constexpr const char *kCreator = "Korvel Technology Inc.";
#define LIST_ERROR(...) errorOf(kFile, "SWM_BASE", __VA_ARGS__)

inline const LogLine kNoMemory = LIST_ERROR("[Verify package] Failed to malloc digest info");
inline const LogLine kNoCreator = LIST_ERROR("[Verify package]get Create By description failed");
inline const LogLine kNoFileNumber = LIST_ERROR("[Verify package]get filenum failed");
inline const LogLine kTypeWrong = LIST_ERROR("[Verify package]File type is error");
inline const LogLine kNameWrong = LIST_ERROR("[Verify package]get file name failed, or name len is 0");
inline const LogLine kDigestWrong = LIST_ERROR("[Verify package]get digest info failed, or digest len is 0");

inline LogLine noCreatorOfFile(uint32_t code)
{
    return LIST_ERROR("[Verify package]get Create By description failed, Ret = %u", code);
}

inline LogLine wrongCreator(const std::string &creator)
{
    return LIST_ERROR("[Verify package]vrify create by failed, info = %s", creator.c_str());
}

inline LogLine wrongNumber(uint32_t number)
{
    return LIST_ERROR("[Verify package]File number(%u) is invalid", number);
}

inline LogLine sectionsFailed(uint32_t code)
{
    return LIST_ERROR("[Verify package]Get all file DigestInfo failed(%u)", code);
}

inline LogLine listFailed(uint32_t code)
{
    return LIST_ERROR("[Verify package]Get all file Digest Info failed(0x%x)", code);
}

inline LogLine otherNumber(uint32_t fileNumber, uint32_t sections)
{
    return info("[Verify package]Filelist info is not same, fileNum = %u, loop = %u", fileNumber, sections);
}

inline std::string mainText(const std::string &number = "1", const std::string &creator = kCreator)
{
    return "[MAIN FILE INFO]\nCreate By=" + creator + "\nFILENUM=" + number + "\n";
}

inline std::string fileText(const std::string &name, const std::string &type = "1")
{
    return "[" + name + "]\nFILETYPE=" + type + "\nFILENAME=" + name + "\nSHA256-DIGEST=d" + name + "\n";
}

// A profile of the test's own: chains as the platform hands them out.
struct Keys {
    std::vector<std::unique_ptr<SwmIniKey>> chain;
    std::vector<std::string> values;

    Keys(std::initializer_list<std::pair<const char *, std::string>> pairs)
    {
        values.reserve(pairs.size());
        for (const auto &[name, value] : pairs) {
            values.push_back(value);
            auto key = std::make_unique<SwmIniKey>();
            memset(key.get(), 0, sizeof(*key));
            memcpy(key->name, name, strlen(name));
            key->value = values.back().data();
            if (!chain.empty()) {
                chain.back()->next = key.get();
            }
            chain.push_back(std::move(key));
        }
    }
    SwmIniKey *first() const { return chain.empty() ? nullptr : chain.front().get(); }
};

inline std::string describe(const FileDigestInfo &record)
{
    return std::string(record.fileName, strnlen(record.fileName, sizeof(record.fileName))) + "|" +
           std::string(record.digest, strnlen(record.digest, sizeof(record.digest))) + "|" +
           std::to_string(record.fileType);
}

// In order; checks the links in both directions.
inline Texts recordsOf(const SigFileListDigest &header)
{
    Texts texts;
    const SwmListNode *before = &header.fileDigests;
    for (const SwmListNode *node = header.fileDigests.next; node != &header.fileDigests; node = node->next) {
        EXPECT_EQ(node->prev, before);
        before = node;
        texts.push_back(describe(*reinterpret_cast<const FileDigestInfo *>(node)));
    }
    EXPECT_EQ(header.fileDigests.prev, before);
    return texts;
}

class SignedListTest : public BootTest {
protected:
    const fs::path path = dir / "list";
    SigFileListDigest *header = nullptr;

    void TearDown() override
    {
        SWM_FreeSigFileListDigest(header);
        BootTest::TearDown();
    }
    SigFileListDigest &fresh()
    {
        SWM_FreeSigFileListDigest(header);
        header = nullptr;
        EXPECT_EQ(SWM_MallocSigFileListDigest(&header), SWM_OK);
        return *header;
    }
    uint32_t fromMemory(const std::string &text)
    {
        return SWM_GetSignatureFileListDigestInfoFromMem(text.c_str(), &fresh());
    }
    uint32_t fromPath(const std::string &text)
    {
        writeFile(path, text);
        return SWM_GetSignatureFileListDigestInfo(&fresh(), path.c_str());
    }
    // As the package check uses it: the header is the operation's.
    uint32_t fromContent(const std::string &text)
    {
        SWM_FreeSigFileListDigest(header);
        header = nullptr;
        return SWM_GetSignatureFileListDigestInfoFromFile(text.c_str(), &header);
    }
};

struct Number {
    const char *text;
    uint32_t value;
};

// Automatic base, up to the first other character, low 32 bits of what fits a 32-byte buffer.
inline constexpr Number kNumbers[] = {
    {"1", 1},
    {"16", 16},
    {"256", 256},
    {"257", 257},
    {"0", 0},
    {"0x10", 16},
    {"0X1f", 31},
    {"0x", 0},
    {"0xg", 0},
    {"010", 8},
    {"0377", 255},
    {"08", 0},
    {"019", 1},
    {"+5", 5},
    {"-1", 0xFFFFFFFF},
    {"-4294967295", 1},
    {"5abc", 5},
    {"5 6", 5},
    {"0x10z", 16},
    {"abc", 0},
    {"", 0},
    {"+", 0},
    {"4294967295", 0xFFFFFFFF},
    {"4294967296", 0},
    {"4294967301", 5},
    {"0x100000002", 2},
    {"18446744073709551615", 0xFFFFFFFF},
    {"99999999999999999999999", 0xFFFFFFFF},
    {"0000000000000000000000000000017", 15},  // 31 characters
    {"00000000000000000000000000000177", 15}, // 32: the last is cut off
    {"1.5", 1},
    {"1e2", 1},
};

} // namespace tarn::test::signedlist
