#include <cstring>
#include <string>

#include "support.h"

namespace {

using namespace tarn::test;

class Pool : public PlatformTest {};

TEST_F(Pool, Paths)
{
    char out[256];
    EXPECT_EQ(SWM_GetPkgPoolPackageVersionPath("name", "1.0", out, sizeof out), 0u);
    EXPECT_STREQ(out, "/opt/tarn/pool/name/1.0");
    setConfig("[paths]\nroot = /srv/\npackage_pool = /pool/\n");
    EXPECT_EQ(SWM_GetPkgPoolPackageVersionPath("name", "..1.0", out, sizeof out), 0u);
    EXPECT_STREQ(out, "/pool/name/..1.0");
    EXPECT_EQ(SWM_GetPkgPoolPackageVerDescFileLocalPath("name", "1.0", out, sizeof out), 0u);
    EXPECT_STREQ(out, "/pool/name/1.0/desc");
    EXPECT_EQ(SWM_PAT_GetPkgLoadFilePath("P1", "S1", out, sizeof out), 0u);
    EXPECT_STREQ(out, "/srv/swm/patch/P1/S1");
}

TEST_F(Pool, BadIdentifiersNeverLeaveTheBufferEmpty)
{
    setConfig("[paths]\nroot = /srv\npackage_pool = /pool\n");
    const std::string huge(300, 'x');
    for (const char *bad :
         {static_cast<const char *>(nullptr), "", ".", "..", "a/b", "/", "../x", "a\n", "\x7f", huge.c_str()}) {
        for (const bool isFirst : {true, false}) {
            const char *first = isFirst ? bad : "good";
            const char *second = isFirst ? "good" : bad;
            char out[256] = "";
            EXPECT_NE(SWM_GetPkgPoolPackageVersionPath(first, second, out, sizeof out), 0u);
            EXPECT_STREQ(out, "/pool/.invalid/.invalid");
            out[0] = '\0';
            EXPECT_NE(SWM_GetPkgPoolPackageVerDescFileLocalPath(first, second, out, sizeof out), 0u);
            EXPECT_STREQ(out, "/pool/.invalid/.invalid");
            out[0] = '\0';
            EXPECT_NE(SWM_PAT_GetPkgLoadFilePath(first, second, out, sizeof out), 0u);
            EXPECT_STREQ(out, "/srv/swm/patch/.invalid/.invalid");
        }
    }
}

TEST_F(Pool, SmallBuffers)
{
    setConfig("[paths]\npackage_pool = /pool\n");
    char out[24];
    EXPECT_EQ(SWM_GetPkgPoolPackageVersionPath("123456789", "1234567", out, sizeof out), 0u);
    EXPECT_NE(SWM_GetPkgPoolPackageVersionPath("123456789", "12345678", out, sizeof out), 0u);
    EXPECT_STREQ(out, "/pool/.invalid/.invalid");
    EXPECT_NE(SWM_GetPkgPoolPackageVersionPath("123456789", "12345678", out, 20), 0u);
    EXPECT_STREQ(out, "/.invalid/.invalid");
    EXPECT_NE(SWM_GetPkgPoolPackageVersionPath("123456789", "12345678", out, 6), 0u);
    EXPECT_STREQ(out, "/.inv");
    EXPECT_NE(SWM_GetPkgPoolPackageVersionPath("a", "b", out, 0), 0u);
    EXPECT_NE(SWM_GetPkgPoolPackageVersionPath("a", "b", nullptr, 9), 0u);
}

TEST_F(Pool, UnusableConfiguration)
{
    setConfig("[paths]\npackage_pool = /pool\n");
    fs::permissions(configPath(), fs::perms(0666));
    char out[256] = "";
    EXPECT_NE(SWM_GetPkgPoolPackageVersionPath("a", "b", out, sizeof out), 0u);
    EXPECT_STREQ(out, "/opt/tarn/pool/.invalid/.invalid");
    EXPECT_NE(SWM_PAT_GetPkgLoadFilePath("a", "b", out, sizeof out), 0u);
    EXPECT_STREQ(out, "/swm/patch/.invalid/.invalid");
}

} // namespace
