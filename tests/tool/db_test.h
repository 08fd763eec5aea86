// A database of installed software for one test, and the tool at work on it.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tool_process.h"

namespace tarn::test {

inline std::string leaf(const std::string &element, const std::string &text)
{
    return "<" + element + ">" + text + "</" + element + ">\n";
}

inline std::string baseOf(const std::string &name, const std::string &version, const std::string &ccFile = "app.cc")
{
    return "<Base>\n" + leaf("PackageName", name) + leaf("Version", version) + leaf("CcFile", ccFile) +
           leaf("CcPath", "/opt/packages") + leaf("InstallPath", "/opt/" + name) +
           leaf("PkgPoolPath", "/pool/" + name) + leaf("ActiveTime", "") + "</Base>\n";
}

inline std::string packageOf(const std::string &name, const std::string &version, const std::string &parts = "")
{
    return "<Package>\n" + baseOf(name, version) + parts + "</Package>\n";
}

inline std::string productOf(const std::string &content)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product>\n" + content + "</Product>\n";
}

class DbTest : public testing::Test {
protected:
    TempDir dir;
    fs::path place = dir / "db";
    fs::path db = dir / "db/packages.xml";
    fs::path copies = dir / "dbbak";
    fs::path copy = dir / "dbbak/packages.xml";

    void SetUp() override { fs::create_directory(place); }

    Outcome run(const std::string &command, const Arguments &more = {}, const Surroundings &surroundings = {}) const
    {
        return runTool(Arguments{"db", command, db} + more, surroundings);
    }
    static Arguments places()
    {
        return {"--cc", "/opt/packages/app.cc", "--install-path", "/opt/app", "--pool-path", "/pool/app"};
    }
    static Arguments sources() { return {"--source", "/src", "--install-path", "/opt/app", "--pool-path", "/pool/p"}; }
    void done(const std::string &command, const Arguments &more = {}) const
    {
        const Outcome outcome = run(command, more);
        ASSERT_EQ(outcome.status, 0) << command << ": " << outcome.out << outcome.err;
    }
    void addPackage(const std::string &name, const std::string &version, const Arguments &more = {}) const
    {
        done("add", Arguments{name, version} + places() + more);
    }
    Json listed() const { return run("list", {"--json"}).json(); }
    Json package(size_t index) const { return listed()["packages"][index]; }

    // The status, the reason, and the file as it was: as bytes and as an inode, with nothing new beside it.
    void refused(const std::string &command, const Arguments &more, int status, const std::string &reason,
                 const Surroundings &surroundings = {}) const
    {
        const std::string before = readFile(db);
        const Outcome outcome = run(command, more, surroundings);
        EXPECT_EQ(outcome.status, status) << command << ": " << outcome.err;
        EXPECT_EQ(outcome.out, "") << command;
        EXPECT_NE(outcome.err.find(reason), std::string::npos) << command << ": " << outcome.err;
        EXPECT_EQ(readFile(db), before) << command;
        expectNothingLeft();
    }
    void expectNothingLeft() const
    {
        for (const auto &entry : fs::directory_iterator(place)) {
            EXPECT_TRUE(entry.path() == db || entry.path() == db.string() + ".lock") << entry.path();
        }
    }
};

} // namespace tarn::test
