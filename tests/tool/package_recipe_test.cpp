// Whole packages: names, the signed list, what is signed, reproducibility.
#include <gtest/gtest.h>

#include "container_bytes.h"
#include "packaging/package.h"
#include "packaging/signed_list.h"
#include "support/fixture.h"

namespace tarn::test {

namespace {

using packaging::createPackage;
using packaging::fileNameFor;
using packaging::Input;
using packaging::PackagingError;

class PackageRecipeTest : public testing::Test {
protected:
    TempDir dir;
    fs::path out = dir / "out.cc";

    Input file(const std::string &name, const std::string &content, const std::string &memberName = "")
    {
        writeFile(dir / name, content);
        return {dir / name, memberName};
    }

    std::string refusal(const std::vector<Input> &inputs, const packaging::Signer *key = nullptr)
    {
        std::string text;
        try {
            createPackage(out, inputs, key);
        } catch (const PackagingError &error) {
            text = error.what();
        }
        EXPECT_FALSE(fs::exists(out));
        return text;
    }

    ParsedContainer create(const std::vector<Input> &inputs, const packaging::Signer *key)
    {
        createPackage(out, inputs, key);
        return parseContainer(readFile(out));
    }
};

} // namespace

TEST_F(PackageRecipeTest, MembersThenListThenSignature)
{
    const auto container = create({file("a", "content of a"), file("b", "content of b", "other")}, &signer());
    ASSERT_EQ(container.members.size(), 4u);
    EXPECT_TRUE(container.isRestZero);
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"a", "a.bin"},
        {"other", "other.bin"},
        {"signature_pss_filelist", "signature_pss_filelist.bin"},
        {"signature_pss_cms", "signature_pss_cms.bin"}};
    for (size_t index = 0; index < expected.size(); ++index) {
        EXPECT_EQ(container.members[index].subfileName, expected[index].first);
        EXPECT_EQ(container.members[index].fileName, expected[index].second);
    }
    EXPECT_EQ(container.members[1].payload, "content of b");
}

TEST_F(PackageRecipeTest, ListNamesEveryMemberTheSmallestFirst)
{
    const auto inputs = std::vector<Input>{file("big", pattern(5000)), file("small", "x"), file("middle", "yyyy")};
    const auto container = create(inputs, &signer());
    const auto digest = [&](size_t index) {
        const auto &parsed = container.members[index];
        return packaging::memberDigest({parsed.subfileName, parsed.fileName, parsed.payload, {}});
    };
    const auto section = [](const std::string &name, const std::string &value) {
        return "FILETYPE=1\nFILENAME=" + name + "\nSHA256-DIGEST=" + value + "\n";
    };
    EXPECT_EQ(container.members[3].payload,
              "[MAIN FILE INFO]\nCreate By=Korvel Technology Inc.\nFILENUM=3\n" + section("small.bin", digest(1)) +
                  "\n[FILE 1]\n" + section("small.bin", digest(1)) + "\n[FILE 2]\n" + section("big.bin", digest(0)) +
                  "\n[FILE 3]\n" + section("middle.bin", digest(2)));
}

TEST_F(PackageRecipeTest, ListHoldsOneTo256Files)
{
    EXPECT_THROW(packaging::signedListText({}), PackagingError);
    const std::vector<packaging::ListedFile> most(256, {"name", "digest"});
    EXPECT_NE(packaging::signedListText(most).find("\nFILENUM=256\n"), std::string::npos);
    EXPECT_THROW(packaging::signedListText(std::vector<packaging::ListedFile>(257)), PackagingError);
}

TEST_F(PackageRecipeTest, FileNamesAreDistinctAndFit)
{
    EXPECT_EQ(fileNameFor("a"), "a.bin");
    EXPECT_EQ(fileNameFor(std::string(91, 'n')), std::string(91, 'n') + ".bin");
    const std::string shortened = fileNameFor(std::string(92, 'n'));
    EXPECT_EQ(shortened.size(), 95u);
    EXPECT_EQ(shortened.substr(0, 75), std::string(74, 'n') + "-");
    EXPECT_EQ(fileNameFor(std::string(92, 'n')), shortened);
    EXPECT_NE(fileNameFor(std::string(93, 'n')), shortened);
    // Two-byte characters: the cut falls between them.
    std::string accents;
    for (int count = 0; count < 60; ++count) {
        accents += "\xC3\xA9";
    }
    EXPECT_EQ(fileNameFor("x" + accents).substr(0, 74), "x" + accents.substr(0, 72) + "-");
    EXPECT_LE(fileNameFor(std::string(127, 'n')).size(), 95u);
}

TEST_F(PackageRecipeTest, NamesThatCannotBeUsedAreRefused)
{
    const Input a = file("a", "");
    const auto named = [&](const std::string &name) { return Input{a.source, name}; };
    struct Row {
        std::vector<Input> inputs;
        std::string reason;
    };
    const Row rows[] = {
        {{named(std::string(128, 'n'))}, "is 128 bytes long, at most 127 fit"},
        {{named("..")}, "is no plain file name"},
        {{named(".")}, "is no plain file name"},
        {{named("dir/name")}, "is no plain file name"},
        {{named("line\nfeed")}, "has control characters"},
        {{named("\x7F")}, "has control characters"},
        {{named(" blank")}, "begins or ends with a blank"},
        {{named("blank ")}, "begins or ends with a blank"},
        {{named("signature_pss_filelist")}, "is kept for the signature"},
        {{named("signature_pss_cms")}, "is kept for the signature"},
        {{named("signature_pss_filelist.bin")}, "is kept for the signature"},
        {{named("signature_pss_cms.bin")}, "is kept for the signature"},
        {{named("n"), named("n")}, "is used twice"},
        {{named("n"), named("n.bin")}, "clashes with \"n\": both go by \"n.bin\""},
        {{named("n.bin"), named("n")}, "clashes with \"n.bin\": both go by \"n.bin\""},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(refusal(row.inputs), a.source.string() + ": member name \"" + row.inputs.back().name + "\" " +
                                           row.reason + "; give another one with FILE=NAME");
    }
    EXPECT_EQ(refusal({{(dir / "sub/").string(), ""}}),
              (dir / "sub/").string() + ": member name \"\" is empty; give another one with FILE=NAME");
}

TEST_F(PackageRecipeTest, SignatureTakesTwoOfThe256Members)
{
    const Input source = file("source", "");
    std::vector<Input> inputs;
    for (int index = 0; index < 254; ++index) {
        inputs.push_back({source.source, "n" + std::to_string(index)});
    }
    const auto container = create(inputs, &signer());
    EXPECT_EQ(container.fileCount, 256u);
    EXPECT_NE(container.members[254].payload.find("\nFILENUM=254\n"), std::string::npos);
    fs::remove(out);

    inputs.push_back({source.source, "one more"});
    EXPECT_EQ(refusal(inputs, &signer()), "255 files: a package holds at most 256 members, two of them the signature");
    inputs.push_back({source.source, "the last"});
    EXPECT_EQ(create(inputs, nullptr).fileCount, 256u);
    fs::remove(out);
    inputs.push_back({source.source, "too many"});
    EXPECT_EQ(refusal(inputs), "257 files: a package holds at most 256 members");
}

TEST_F(PackageRecipeTest, NothingToSignIsRefused)
{
    EXPECT_EQ(refusal({}, &signer()), "a signed list names 1 to 256 files, not 0");
}

TEST_F(PackageRecipeTest, SameInputSameBytesButForTheSalt)
{
    const std::vector<Input> inputs = {file("a", pattern(9000)), file("b", "b")};
    createPackage(dir / "1.cc", inputs, nullptr);
    createPackage(dir / "2.cc", inputs, nullptr);
    EXPECT_EQ(readFile(dir / "1.cc"), readFile(dir / "2.cc"));

    createPackage(dir / "1.cc", inputs, &signer());
    createPackage(dir / "2.cc", inputs, &signer());
    const std::string one = readFile(dir / "1.cc");
    const std::string two = readFile(dir / "2.cc");
    ASSERT_EQ(one.size(), two.size());
    // The signature value, 256 bytes of RSA-2048, ends the signature and with it the file.
    EXPECT_EQ(one.substr(0, one.size() - 256), two.substr(0, two.size() - 256));
    EXPECT_NE(one, two);
}

TEST_F(PackageRecipeTest, BothWaysToAPackageAreTheSame)
{
    const std::vector<Input> inputs = {file("a", pattern(9000)), file("b", "b")};
    createPackage(dir / "1.cc", inputs, &signer());
    packaging::writeContainer(dir / "2.cc", packaging::packageMembers(inputs, &signer()));
    const std::string one = readFile(dir / "1.cc");
    const std::string two = readFile(dir / "2.cc");
    EXPECT_EQ(one.substr(0, one.size() - 256), two.substr(0, two.size() - 256));
    EXPECT_EQ(packaging::packageMembers(inputs, nullptr).size(), 2u);
}

} // namespace tarn::test
