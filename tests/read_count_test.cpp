// What an extraction and a verification read of the package, to the byte.
#include <sys/stat.h>

#include "support/extract_test.h"

namespace tarn::test {
namespace {

class ReadCountTest : public ExtractTest {
protected:
    void watch()
    {
        struct stat status;
        ASSERT_EQ(stat(package.c_str(), &status), 0);
        watchReads(status.st_ino);
    }
    uint64_t checkCost() const
    {
        return kHeaderSize + members.size() * kMemberHeaderSize + members.end()[-2].payload.size() +
               members.back().payload.size();
    }
};

TEST_F(ReadCountTest, FirstExtractionReadsHeadersSignatureAndTwiceTheMember)
{
    watch();
    ASSERT_EQ(extract("app"), TARN_EXTRACT_OK);
    EXPECT_EQ(watchedBytes(), checkCost() + memberLength(members[0]) + app.size());
    watch();
    ASSERT_EQ(extract("app.img"), TARN_EXTRACT_OK);
    EXPECT_EQ(watchedBytes(), 2 * memberLength(members[0])) << "from then on only the member";
}

TEST_F(ReadCountTest, VerificationReadsEachListedFileOnce)
{
    const std::string listText = sectionText("app.img", packaging::memberDigest(members[0])) +
                                 sectionText("conf.img", packaging::memberDigest(members[1]));
    members = writeSignedList(package, {members[0], members[1], member("unlisted", app)}, listText);
    watch();
    ASSERT_EQ(TARN_PackageVerify(package.c_str()), TARN_VERIFY_OK);
    EXPECT_EQ(watchedBytes(), checkCost() + memberLength(members[0]) + memberLength(members[1]));
}

} // namespace
} // namespace tarn::test
