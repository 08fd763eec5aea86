// Legacy access: payloads mapped and released, names checked against the signed list, lookups with that check.
#include "legacy_test.h"

namespace tarn::test {
namespace {

constexpr const char *kListFile = "signature_pss_filelist.bin";
constexpr const char *kCmsFile = "signature_pss_cms.bin";

class MappingTest : public LegacyTest {
protected:
    uint32_t map(uint32_t offset, uint32_t length) { return mapIn(Descriptor(file), offset, length); }
    uint32_t mapIn(int fd, uint32_t offset, uint32_t length)
    {
        content = nullptr;
        mapped = delta = 77;
        FileSite site = {};
        site.payloadOffset = offset;
        site.payloadLength = length;
        return SWM_GetFileContentInCC(fd, &site, &content, &mapped, &delta);
    }
    bool outputsUntouched() const { return content == nullptr && mapped == 77 && delta == 77; }
    static LogLine failedToMap(uint32_t offset, int error)
    {
        return LEGACY_LINE("Failed to map, offset = %d, errno = %d.", static_cast<int>(offset), error);
    }

    const fs::path file = dir / "mapped";
    const uint8_t *content = nullptr;
    uint32_t mapped = 77;
    uint32_t delta = 77;
};

TEST_F(MappingTest, StartsAtThePageAndEndsWithThePayload)
{
    const std::string bytes = pattern(3 * kPage + 100, 3);
    writeFile(file, bytes);
    const struct {
        uint32_t offset;
        uint32_t length;
        uint32_t delta;
        uint32_t from;
    } rows[] = {
        {0, 1, 0, 0},
        {4095, 2, 4095, 0},
        {4096, 10, 0, 4096},
        {4196, 100, 100, 4096},
        {4196, 3 * kPage + 100 - 4196, 100, 4096}, // to the last byte
        {3 * kPage + 99, 1, 99, 3 * kPage},
        {4196, 0, 100, 4096},
        {3 * kPage + 100, 0, 100, 3 * kPage}, // nothing, just behind the last byte
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::to_string(row.offset) + " " + std::to_string(row.length));
        recordCalls({Call::Mmap, Call::Munmap});
        EXPECT_EQ(map(row.offset, row.length), 0u);
        EXPECT_EQ(mapped, row.length);
        EXPECT_EQ(delta, row.delta);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(content) % kPage, row.delta);
        EXPECT_EQ(std::string(reinterpret_cast<const char *>(content), mapped), bytes.substr(row.offset, row.length));
        EXPECT_EQ(mappingsOf(file), 1u);
        EXPECT_EQ(SWM_FreeFileContent(content, mapped, delta), 0u);
        EXPECT_EQ(mappingsOf(file), 0u);
        const std::string span = std::to_string(row.length + row.delta);
        EXPECT_EQ(recordedCalls(),
                  (std::vector<std::string>{"mmap " + span + " " + std::to_string(PROT_READ) + " " +
                                                std::to_string(MAP_SHARED) + " " + std::to_string(row.from),
                                            "munmap " + span}));
        EXPECT_TRUE(nothingLogged());
    }
}

TEST_F(MappingTest, FollowsTheSizeOfPages)
{
    writeFile(file, pattern(5 * kPage));
    recordCalls({Call::Mmap});
    failCall(Call::Getpagesize, 1);
    setFaultResult(2 * kPage);
    EXPECT_EQ(map(3 * kPage + 100, 50), 0u);
    EXPECT_EQ(delta, kPage + 100);
    EXPECT_EQ(recordedCalls(), std::vector<std::string>{"mmap 4246 1 1 8192"});
    EXPECT_EQ(SWM_FreeFileContent(content, mapped, delta), 0u);
    EXPECT_EQ(mappingsOf(file), 0u);
}

TEST_F(MappingTest, WhatLiesBeyondTheFileIsNotMapped)
{
    writeFile(file, pattern(3 * kPage + 100));
    const struct {
        uint32_t offset;
        uint32_t length;
    } rows[] = {
        {4196, 3 * kPage + 101 - 4196}, // one byte too many
        {3 * kPage + 100, 1},
        {3 * kPage + 101, 0},
        {4 * kPage, 10},
        {4096, 0xFFFFF000u}, // 0 when the sum is taken in 32 bits
        {0xFFFFFFFFu, 0xFFFFFFFFu},
        {0x80000000u, 1},
        {0, 0xFFFFFFFFu},
        {2 * kPage, 0}, // nothing at all cannot be mapped
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(std::to_string(row.offset) + " " + std::to_string(row.length));
        EXPECT_EQ(map(row.offset, row.length), SWM_FAIL);
        EXPECT_TRUE(outputsUntouched());
        EXPECT_TRUE(logged({failedToMap(row.offset, EINVAL)}));
        EXPECT_EQ(mappingsOf(file), 0u);
    }
}

TEST_F(MappingTest, OffsetsAndLengthsThatNeedMoreThan32Bits)
{
    writeFile(file, "start");
    truncateTo(file, 0x100002000u);
    EXPECT_EQ(map(0xFFFFF064u, kPage), 0u);
    EXPECT_EQ(delta, 100u);
    EXPECT_EQ(content[kPage - 1], 0u);
    EXPECT_EQ(SWM_FreeFileContent(content, mapped, delta), 0u);
    recordCalls({Call::Mmap, Call::Munmap});
    EXPECT_EQ(map(100, 0xFFFFFFFFu), 0u);
    EXPECT_EQ(content[0xFFFFFFFEu], 0u);
    EXPECT_EQ(SWM_FreeFileContent(content, mapped, delta), 0u);
    EXPECT_EQ(recordedCalls(), (std::vector<std::string>{"mmap 4294967395 1 1 0", "munmap 4294967395"}));
    EXPECT_EQ(mappingsOf(file), 0u);
}

TEST_F(MappingTest, FailingCalls)
{
    writeFile(file, pattern(kPage));
    for (const Call call : {Call::Fstat, Call::Mmap}) {
        failCall(call, 1, ENOMEM);
        EXPECT_EQ(map(10, 20), SWM_FAIL);
        EXPECT_TRUE(outputsUntouched());
        EXPECT_TRUE(logged({failedToMap(10, ENOMEM)}));
    }
    EXPECT_EQ(mapIn(-1, 10, 20), SWM_FAIL);
    EXPECT_TRUE(logged({failedToMap(10, EBADF)}));
    ASSERT_EQ(map(10, 20), 0u);
    failCall(Call::Munmap, 1, EINVAL);
    EXPECT_EQ(SWM_FreeFileContent(content, mapped, delta), SWM_FAIL) << "-1 of the release";
    EXPECT_TRUE(nothingLogged());
}

TEST_F(MappingTest, NullArguments)
{
    const Descriptor fd(package);
    FileSite site = {};
    const LogLine line = nullParamOf(kLegacyFile, "SWM_GetFileContentInCC");
    const NullRow rows[] = {
        {"site", [&] { return SWM_GetFileContentInCC(fd, nullptr, &content, &mapped, &delta); }},
        {"content", [&] { return SWM_GetFileContentInCC(fd, &site, nullptr, &mapped, &delta); }},
        {"length", [&] { return SWM_GetFileContentInCC(fd, &site, &content, nullptr, &delta); }},
        {"delta", [&] { return SWM_GetFileContentInCC(fd, &site, &content, &mapped, nullptr); }},
    };
    for (const NullRow &row : rows) {
        EXPECT_EQ(row.run(), SWM_FAIL) << row.function;
        EXPECT_TRUE(logged({line})) << row.function;
    }
    EXPECT_TRUE(outputsUntouched());
    EXPECT_EQ(SWM_FreeFileContent(nullptr, 10, 0), SWM_FAIL);
    EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_FreeFileContent")}));
    EXPECT_EQ(callCount(Call::Munmap), 0u);
}

TEST_F(MappingTest, OfAMemberByName)
{
    const Descriptor fd(package);
    for (const char *name : {"app", "app.img"}) {
        EXPECT_EQ(SWM_GetSigFileContent(fd, name, &content, &mapped, &delta), 0u);
        EXPECT_EQ(mapped, app.size());
        EXPECT_EQ(delta, payloadOffset(0) % kPage);
        EXPECT_TRUE(memcmp(content, app.data(), app.size()) == 0);
        EXPECT_EQ(SWM_FreeFileContent(content, mapped, delta), 0u);
    }
    EXPECT_TRUE(nothingLogged());
}

TEST_F(MappingTest, OfAMemberThatIsNotFoundOrNotThere)
{
    const Descriptor fd(package);
    EXPECT_EQ(SWM_GetSigFileContent(fd, "none", &content, &mapped, &delta), 4u);
    EXPECT_TRUE(logged({warning("SWM_FindFileSiteFromCc: no such file:%s.", "none")}));
    failCall(Call::Mmap, 1, ENOMEM);
    EXPECT_EQ(SWM_GetSigFileContent(fd, "conf", &content, &mapped, &delta), 1u);
    EXPECT_TRUE(logged({failedToMap(payloadOffset(1), ENOMEM)}));
    // A payload that says it is longer than the file: no digest is checked here.
    setField(package, memberOffset(members, 1) + 340, 0x7FFFFFFFu);
    setModified(package, 1000);
    EXPECT_EQ(SWM_GetSigFileContent(fd, "conf", &content, &mapped, &delta), 1u);
    EXPECT_TRUE(logged({failedToMap(payloadOffset(1), EINVAL)}));
    appendBytes(package, "x");
    EXPECT_EQ(SWM_GetSigFileContent(fd, "conf", &content, &mapped, &delta), 5u);
    flipByte(package, kFileCountAt);
    EXPECT_EQ(SWM_GetSigFileContent(-1, "conf", &content, &mapped, &delta), 6u);
    takeLog();
    EXPECT_TRUE(content == nullptr && mapped == 77 && delta == 77);
}

TEST_F(MappingTest, NullNameGivesTheLookupsCode)
{
    const Descriptor fd(package);
    const NullRow rows[] = {
        {"name", [&] { return SWM_GetSigFileContent(fd, nullptr, &content, &mapped, &delta); }},
        {"empty name", [&] { return SWM_GetSigFileContent(fd, "", &content, &mapped, &delta); }},
        {"content", [&] { return SWM_GetSigFileContent(fd, "app", nullptr, &mapped, &delta); }},
        {"length", [&] { return SWM_GetSigFileContent(fd, "app", &content, nullptr, &delta); }},
        {"delta", [&] { return SWM_GetSigFileContent(fd, "app", &content, &mapped, nullptr); }},
    };
    for (const NullRow &row : rows) {
        EXPECT_EQ(row.run(), 6u) << row.function;
        EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_GetSigFileContent")})) << row.function;
    }
}

class CheckTest : public LegacyTest {
protected:
    uint32_t check(const std::string &fileName, const std::string &target = "app")
    {
        const Descriptor fd(package);
        return SWM_CheckFileNameInSigFile(fd, fileName.c_str(), target.c_str());
    }
    // Beside the members that the package's own check wants, a list and a signature for this check alone.
    void writeWithLegacyList(const std::string &text, const std::string &signature)
    {
        members = packaging::withSignature({member("app", app)}, signer());
        members[1].fileName = "list.bin";
        members[2].fileName = "cms.bin";
        members.push_back({"legacy_list", kListFile, text, {}});
        members.push_back({"legacy_cms", kCmsFile, signature, {}});
        rewrite(members);
    }
    // Another package to the cache, although its inode may be the old one's.
    void rewrite(const std::vector<packaging::Member> &content)
    {
        packaging::writeContainer(package, content);
        setModified(package, ++modified);
    }
    static Lines notListed(const std::string &name)
    {
        return {errorOf("tarn_package_verify.cpp", "SWM_BASE", "[Verify package]Can not find file %s in sig file list.",
                        name.c_str()),
                LEGACY_LINE("[Verify package]file is illegal, not in sigfilelist %s.", name.c_str())};
    }
    static LogLine noSuchFile(const char *name) { return warning("SWM_FindFileSiteFromCc: no such file:%s.", name); }
    static std::string record(const std::string &name)
    {
        return "\n[e]\nFILETYPE=1\nFILENAME=" + name + "\nSHA256-DIGEST=" + std::string(64, 'a');
    }

    int64_t modified = 1000000;
};

TEST_F(CheckTest, ListedNamesOnly)
{
    recordCalls({Call::VerifyCmsFromMem});
    EXPECT_EQ(check("app.img"), 0u);
    EXPECT_EQ(recordedCalls(),
              std::vector<std::string>{"SWM_VerifyCmsFromMem " + std::to_string(members[3].payload.size()) + " " +
                                       std::to_string(members[4].payload.size()) + " 1"});
    EXPECT_EQ(callCount(Call::Mmap), 2u);
    EXPECT_EQ(callCount(Call::Munmap), 2u);
    EXPECT_EQ(check("signature_filelist.img", "whatever"), 0u);
    EXPECT_TRUE(nothingLogged());
    for (const char *name : {"app", "APP.img", "app.im", "app.img ", kListFile}) {
        EXPECT_EQ(check(name), 1u);
        EXPECT_TRUE(logged(notListed(name)));
    }
}

TEST_F(CheckTest, EmptyNames)
{
    for (const char *target : {"app", kCmsFile}) {
        EXPECT_EQ(check("", target), 1u);
        EXPECT_TRUE(logged({LEGACY_LINE("[Verify package]bin file name is illegal.")}));
    }
    EXPECT_EQ(SWM_CheckFileNameInSigFile(-1, nullptr, "app"), 1u);
    EXPECT_EQ(takeLog().size(), 1u);
    EXPECT_EQ(SWM_CheckFileNameInSigFile(-1, "app.img", nullptr), 1u);
    EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_CheckFileNameInSigFile")}));
    EXPECT_EQ(SWM_CheckFileNameInSigFile(-1, "app.img", ""), 1u);
    EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_CheckFileNameInSigFile")}));
    EXPECT_EQ(callCount(Call::Mmap), 0u);
}

TEST_F(CheckTest, SignatureTargetsAreNotChecked)
{
    for (const char *target : {kListFile, kCmsFile, "signature_pss_filelist", "signature_pss_cms"}) {
        EXPECT_EQ(SWM_CheckFileNameInSigFile(-1, "anything", target), 0u);
    }
    EXPECT_TRUE(nothingLogged());
    EXPECT_EQ(callCount(Call::Mmap), 0u);
    EXPECT_EQ(check("signature_filelist", "signature_filelist"), 1u) << "not one of the four";
}

TEST_F(CheckTest, ListOrSignatureMissing)
{
    writeWithLegacyList("list", "cms");
    members[3].fileName = "other.bin";
    rewrite(members);
    EXPECT_EQ(check("app.img"), 1u);
    EXPECT_TRUE(
        logged({noSuchFile(kListFile), LEGACY_LINE("[Verify package]get sign file content failed(0x%x).", 4u)}));
    EXPECT_EQ(callCount(Call::Mmap), 0u);
    writeWithLegacyList("list", "cms");
    members[4].fileName = "other.bin";
    rewrite(members);
    EXPECT_EQ(check("app.img"), 1u);
    EXPECT_TRUE(logged({noSuchFile(kCmsFile), LEGACY_LINE("[Verify package]get cms file content failed(0x%x).", 4u)}));
    EXPECT_EQ(mappingsOf(package), 0u);
}

TEST_F(CheckTest, UnsoundPackages)
{
    appendBytes(package, "x");
    EXPECT_EQ(check("app.img"), 1u);
    auto lines = takeLog();
    EXPECT_EQ(lines.back().text.substr(lines.back().text.find("[Verify")),
              "[Verify package]get sign file content failed(0x5).");
    rewrite(packaging::withSignature({member("app", app)}, foreignSigner()));
    EXPECT_EQ(check("app.img"), 1u);
    lines = takeLog();
    EXPECT_EQ(lines.back().text.substr(lines.back().text.find("[Verify")),
              "[Verify package]get sign file content failed(0x4).");
}

TEST_F(CheckTest, MappingFailures)
{
    const struct {
        unsigned nth;
        const char *what;
    } rows[] = {{1, "sign"}, {2, "cms"}};
    for (const auto &row : rows) {
        failCall(Call::Mmap, row.nth, ENOMEM);
        EXPECT_EQ(check("app.img"), 1u);
        const auto lines = takeLog();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[1].format, std::string("[BOOT][SWM_BASE][ERROR][%s:%d]: [Verify package]get ") + row.what +
                                       " file content failed(0x%x).");
        EXPECT_TRUE(lines[1].text.ends_with("failed(0x1)."));
        EXPECT_EQ(mappingsOf(package), 0u);
    }
}

TEST_F(CheckTest, SignatureNotValid)
{
    const std::string text = signedText({member("app", app)});
    const struct {
        const char *what;
        std::string signature;
    } rows[] = {{"foreign", foreignSigner().sign(text)},
                {"of another list", signer().sign(text + "\n")},
                {"no signature", "not a signature"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        writeWithLegacyList(text, row.signature);
        const SwmCmsMemRecord content = {
            reinterpret_cast<const uint8_t *>(text.data()), static_cast<uint32_t>(text.size()),
            reinterpret_cast<const uint8_t *>(row.signature.data()), static_cast<uint32_t>(row.signature.size())};
        const uint32_t code = SWM_VerifyCmsFromMem(&content, 1);
        ASSERT_NE(code, 0u);
        EXPECT_EQ(check("app.img"), 1u);
        EXPECT_TRUE(logged({LEGACY_LINE("[Verify package]Verify package failed(0x%x).", code)}));
        EXPECT_EQ(mappingsOf(package), 0u);
    }
    writeWithLegacyList(text, signer().sign(text));
    failCall(Call::VerifyCmsFromMem, 1);
    setFaultResult(0x10000077);
    EXPECT_EQ(check("app.img"), 1u);
    EXPECT_TRUE(logged({LEGACY_LINE("[Verify package]Verify package failed(0x%x).", 0x10000077u)}));
    clearFaults();
    EXPECT_EQ(check("app.img"), 0u);
}

TEST_F(CheckTest, AListEndsAtANul)
{
    const std::string text = signedText({member("app", app)}) + std::string(1, '\0') + record("evil.img") + "\n";
    writeWithLegacyList(text, signer().sign(text));
    EXPECT_EQ(check("app.img"), 0u);
    EXPECT_EQ(check("evil.img"), 1u);
    EXPECT_TRUE(takeLog().back().text.ends_with("file is illegal, not in sigfilelist evil.img."));
}

// Behind the payload lie the next member's header, whose first bytes nobody looks at, and whatever fills the page.
TEST_F(CheckTest, BytesBehindTheListAreNotPartOfIt)
{
    const std::string text = signedText({member("app", app)});
    writeWithLegacyList(text, signer().sign(text));
    const std::string behind = record("evil.img") + "\n";
    ASSERT_LE(behind.size(), 116u);
    {
        std::fstream file(package, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(memberOffset(members, 4));
        file.write(behind.data(), static_cast<std::streamsize>(behind.size()));
    }
    setModified(package, 1000);
    ASSERT_EQ(readFile(package).substr(payloadOffset(3), text.size() + behind.size()), text + behind);
    EXPECT_EQ(check("evil.img"), 1u);
    EXPECT_TRUE(logged(notListed("evil.img")));
    EXPECT_EQ(check("app.img"), 0u);
}

// There is no byte behind the list, and no page either.
TEST_F(CheckTest, AListThatEndsWithFileAndPage)
{
    const std::string text = signedText({member("app", app)});
    writeWithLegacyList(text, signer().sign(text));
    std::swap(members[3], members[4]);
    const uint32_t size = memberOffset(members, 5);
    members[0].payload.resize(members[0].payload.size() + (kPage - size % kPage) % kPage, 'x');
    rewrite(members);
    ASSERT_EQ(fs::file_size(package) % kPage, 0u);
    EXPECT_EQ(check("app.img"), 0u);
    EXPECT_EQ(check("none.img"), 1u);
}

TEST_F(CheckTest, AFileCutShortMeanwhileIsRefusedAndNoCrash)
{
    const struct {
        Call call;
        unsigned nth;
        bool refused;
    } rows[] = {
        {Call::Mmap, 1, true}, {Call::Mmap, 2, true}, {Call::VerifyCmsFromMem, 1, true}, {Call::Munmap, 1, false}};
    for (const auto &row : rows) {
        SCOPED_TRACE(std::string(nameOf(row.call)) + " " + std::to_string(row.nth));
        members = writeSigned(package, {member("app", app)});
        const auto status = runInChild(
            [&] {
                onCall(row.call, row.nth, [&] { truncateTo(package, kPage); });
                const uint32_t result = check("app.img");
                return faultHit() ? static_cast<int>(result) : 99;
            },
            60000);
        ASSERT_TRUE(status.has_value());
        EXPECT_TRUE(*status == 1 || (!row.refused && *status == 0)) << *status;
    }
}

TEST_F(CheckTest, NoMemoryForTheListsCopy)
{
    warmUp();
    failCall(Call::Malloc, 1, ENOMEM);
    EXPECT_EQ(check("app.img"), 1u);
    EXPECT_TRUE(logged({LEGACY_LINE("alloc memory failed.")}));
    EXPECT_EQ(mappingsOf(package), 0u);
    EXPECT_EQ(check("app.img"), 0u);
}

class LookupTest : public CheckTest {
protected:
    uint32_t find(const char *name)
    {
        const Descriptor fd(package);
        length = offset = 77;
        const uint32_t result = SWM_FindFileFromCc(fd, name, &length, &offset);
        position = lseek(fd, 0, SEEK_CUR);
        return result;
    }
    static LogLine infoFailed(uint32_t code)
    {
        return LEGACY_LINE("[Verify package]get file info failed(0x%x).", code);
    }
    static LogLine checkFailed(uint32_t code)
    {
        return LEGACY_LINE("[Verify package]Check file in sig file list failed(0x%x).", code);
    }

    uint32_t length = 77;
    uint32_t offset = 77;
    off_t position = 0;
};

TEST_F(LookupTest, LengthOffsetAndPosition)
{
    for (const char *name : {"conf", "conf.img", kListFile}) {
        const size_t index = std::string(name) == kListFile ? 3 : 1;
        EXPECT_EQ(find(name), 0u);
        EXPECT_EQ(length, members[index].payload.size());
        EXPECT_EQ(offset, payloadOffset(index));
        EXPECT_EQ(position, payloadOffset(index));
    }
    const Descriptor fd(package);
    EXPECT_EQ(SWM_FindFileFromCc(fd, "app", &length, nullptr), 0u);
    EXPECT_EQ(length, app.size());
    EXPECT_EQ(lseek(fd, 0, SEEK_CUR), payloadOffset(0));
    EXPECT_TRUE(nothingLogged());
}

TEST_F(LookupTest, TheFailingStepsCode)
{
    EXPECT_EQ(find("none"), 4u);
    EXPECT_TRUE(logged({noSuchFile("none"), infoFailed(4)}));
    EXPECT_TRUE(length == 77 && offset == 77);
    members = writeSignedList(package, {member("app", app), member("conf", conf)}, signedText({member("app", app)}));
    EXPECT_EQ(find("conf"), 1u);
    EXPECT_TRUE(logged(notListed("conf.img") + Lines{checkFailed(1)}));
    EXPECT_TRUE(length == 77 && offset == 77);
    EXPECT_EQ(find("app"), 0u);
    // No digest is compared.
    flipByte(package, payloadOffset(0));
    setModified(package, 1000);
    EXPECT_EQ(find("app"), 0u);
    const struct {
        uint32_t code;
        std::function<void()> damage;
    } rows[] = {{4, [&] { flipByte(package, payloadOffset(2)); }}, {5, [&] { appendBytes(package, "x"); }}};
    for (const auto &row : rows) {
        row.damage();
        setModified(package, 2000 + row.code);
        takeLog();
        EXPECT_EQ(find("app"), row.code);
        auto lines = takeLog();
        EXPECT_EQ(lines.back().format, infoFailed(row.code).format);
        EXPECT_TRUE(lines.back().text.ends_with("failed(0x" + std::to_string(row.code) + ")."));
    }
    EXPECT_EQ(SWM_FindFileFromCc(-1, "app", &length, &offset), 6u);
    EXPECT_EQ(takeLog().back().format, infoFailed(6).format);
    failCall(Call::MutexLock, 1);
    EXPECT_EQ(find("app"), SWM_FAIL);
    EXPECT_TRUE(takeLog().back().text.ends_with("failed(0xffffffff)."));
}

TEST_F(LookupTest, AMemberWithoutFileNameIsRefused)
{
    members = packaging::withSignature({member("app", app)}, signer());
    rewrite(members);
    {
        std::fstream file(package, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(memberOffset(members, 0) + 244);
        file.put('\0');
    }
    EXPECT_EQ(find("app"), 1u);
    EXPECT_TRUE(logged({LEGACY_LINE("[Verify package]bin file name is illegal."), checkFailed(1)}));
}

TEST_F(LookupTest, NullArguments)
{
    const Descriptor fd(package);
    const NullRow rows[] = {{"name", [&] { return SWM_FindFileFromCc(fd, nullptr, &length, &offset); }},
                            {"empty name", [&] { return SWM_FindFileFromCc(fd, "", &length, &offset); }},
                            {"length", [&] { return SWM_FindFileFromCc(fd, "app", nullptr, &offset); }}};
    for (const NullRow &row : rows) {
        EXPECT_EQ(row.run(), 6u) << row.function;
        EXPECT_TRUE(logged({nullParamOf(kLegacyFile, "SWM_FindFileFromCc")})) << row.function;
    }
}

} // namespace
} // namespace tarn::test
