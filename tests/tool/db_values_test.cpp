// What a value may hold: it reads as it was given, or it is refused with the reason.
#include "db_test.h"

namespace tarn::test {

namespace {

class DbValuesTest : public DbTest {
protected:
    void SetUp() override
    {
        DbTest::SetUp();
        done("create");
        addPackage("app", "1.0");
    }
    static Arguments withInstallPath(const std::string &value)
    {
        return {"--cc", "/opt/packages/app.cc", "--install-path", value, "--pool-path", "/pool/app"};
    }
};

const std::string kHostile[] = {
    "<b>&amp;</b>",
    "]]>",
    "<![CDATA[x]]>",
    "&lt;&#65;&unknown;",
    "&",
    "a&b;c",
    "\"'>",
    "</Base>",
    "<!--",
    "-->",
    "<?php ?>",
    "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80",
    "  blanks around  ",
    "%s%n",
    "\xE2\x80\xAE",
    "$(id)`id`",
};

} // namespace

TEST_F(DbValuesTest, MarkupIsStoredAsText)
{
    for (const std::string &value : kHostile) {
        addPackage("x", "1");
        done("update", {"x", "--install-path=" + value});
        EXPECT_EQ(package(1)["install_path"], value);
        done("remove", {"x"});
        done("add", withInstallPath("/" + value) + Arguments{"--active-time=" + value, "--", "y", value});
        EXPECT_EQ(package(1)["version"], value);
        EXPECT_EQ(package(1)["active_time"], value);
        EXPECT_EQ(package(1)["install_path"], "/" + value);
        done("add-patch", sources() + Arguments{"--", "app", "fix", value});
        EXPECT_EQ(package(0)["patches"][0]["version"], value);
        done("remove-patch", {"app", "fix"});
        EXPECT_EQ(run("check").status, 0) << value;
        done("remove", {"y"});
    }
}

TEST_F(DbValuesTest, NamesAreFoundAgainOrRefused)
{
    for (const std::string &value : kHostile) {
        const std::string before = readFile(db);
        const Arguments adding = Arguments{"--json"} + places() + Arguments{"--", value, "1"};
        const Outcome added = run("add", adding);
        if (value.find('&') != std::string::npos) {
            EXPECT_EQ(added.status, 2) << value;
            EXPECT_NE(added.out.find("the library would not find it again"), std::string::npos) << added.out;
            EXPECT_EQ(readFile(db), before);
            continue;
        }
        EXPECT_EQ(added.status, 0) << value << added.err;
        EXPECT_EQ(run("show", {"--json", "--", value}).json()["packages"][0]["name"], value);
        done("remove", {"--", value});
    }
}

TEST_F(DbValuesTest, WhatADatabaseCannotHold)
{
    const struct {
        std::string value;
        const char *reason;
    } kCases[] = {
        {"a\nb", "has control characters"},
        {"a\tb", "has control characters"},
        {"\x1B[31m", "has control characters"},
        {"\x7F", "has control characters"},
        {"\xFF", "is no text in UTF-8"},
        {"\xC0\xAF", "is no text in UTF-8"},
        {"\xED\xA0\x80", "is no text in UTF-8"},
        {"\xEF\xBF\xBE", "is no text in UTF-8"},
        {std::string(256, 'p'), "needs 256 bytes, its field holds 255"},
        {std::string(51, '&'), ""},
        {std::string(52, '&'), "needs 260 bytes with \"&\" written as \"&amp;\", its field holds 255"},
    };
    for (const auto &oneCase : kCases) {
        const Arguments adding = Arguments{"x", "1"} + withInstallPath(oneCase.value);
        if (*oneCase.reason == '\0') {
            EXPECT_EQ(run("add", adding).status, 0);
            EXPECT_EQ(package(1)["install_path"], oneCase.value);
            done("remove", {"x"});
            continue;
        }
        refused("add", adding, 2, oneCase.reason);
        refused("update", {"app", "--install-path", oneCase.value}, 2, oneCase.reason);
    }
}

TEST_F(DbValuesTest, EveryFieldHasItsLength)
{
    const std::string name(127, 'n');
    done("add",
         Arguments{name, std::string(127, 'v'), "--cc", "/" + std::string(254, 'd') + "/" + std::string(127, 'f'),
                   "--install-path", std::string(255, 'i'), "--pool-path", std::string(255, 'p'), "--active-time",
                   std::string(31, 't')});
    EXPECT_EQ(run("check").status, 0);
    EXPECT_EQ(package(1)["active_time"], std::string(31, 't'));
    refused("add", Arguments{name + "n", "1"} + places(), 2, "needs 128 bytes, its field holds 127");
    refused("add", Arguments{"x", std::string(128, 'v')} + places(), 2, "Version");
    refused("add", Arguments{"x", "1", "--active-time", std::string(32, 't')} + places(), 2, "its field holds 31");
    refused("add-patch", Arguments{"app", std::string(128, 'n'), "1"} + sources(), 2, "PatchName");
    refused("add-mod", Arguments{"app", std::string(128, 'n'), "1"} + sources(), 2, "ModName");
    refused("remove", {std::string(128, 'n')}, 2, "NAME");
    refused("remove-cc", {"/" + std::string(300, 'd')}, 2, "CCPATH");
}

} // namespace tarn::test
