// tarn doctor: each finding provoked once, on a device whose files lie below a directory.
#include <gtest/gtest.h>

#include <ctime>
#include <unistd.h>

#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include "packaging/openssl_handles.h"
#include "tool_process.h"

namespace tarn::test {

namespace {

constexpr long kDay = 24 * 60 * 60;

// What a certificate is made of when it is not sound.
struct Flaw {
    long begins = -1;
    long ends = 1000;
    unsigned bits = 2048;
    const char *keyUsage = "critical,keyCertSign,cRLSign";
    const char *extendedUsage = nullptr;
};

void extend(X509 *certificate, int nid, const char *value)
{
    X509_EXTENSION *extension = X509V3_EXT_conf_nid(nullptr, nullptr, nid, value);
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

packaging::KeyPtr makeKey(unsigned bits)
{
    return packaging::KeyPtr(EVP_RSA_gen(bits));
}

std::string anchorText(const Flaw &flaw = {})
{
    const packaging::KeyPtr key = makeKey(flaw.bits);
    const packaging::CertificatePtr made(X509_new());
    X509 *certificate = made.get();
    X509_set_version(certificate, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), 7);
    X509_gmtime_adj(X509_getm_notBefore(certificate), flaw.begins * kDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate), flaw.ends * kDay);
    X509_set_pubkey(certificate, key.get());
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char *>("Test\033[31m CA"), -1, -1, 0);
    X509_set_issuer_name(certificate, X509_get_subject_name(certificate));
    extend(certificate, NID_basic_constraints, "critical,CA:TRUE");
    extend(certificate, NID_key_usage, flaw.keyUsage);
    if (flaw.extendedUsage != nullptr) {
        extend(certificate, NID_ext_key_usage, flaw.extendedUsage);
    }
    X509_sign(certificate, key.get(), EVP_sha256());
    const packaging::BioPtr bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(bio.get(), certificate);
    char *text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<size_t>(size)};
}

// A revocation list made and due so many days from now; never due for 0.
std::string listText(long made, long due)
{
    const packaging::KeyPtr key = makeKey(2048);
    X509_CRL *list = X509_CRL_new();
    X509_CRL_set_version(list, X509_CRL_VERSION_2);
    X509_NAME *name = X509_NAME_new();
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char *>("Test CA"), -1, -1, 0);
    X509_CRL_set_issuer_name(list, name);
    X509_NAME_free(name);
    ASN1_TIME *time = ASN1_TIME_new();
    X509_gmtime_adj(time, made * kDay);
    X509_CRL_set1_lastUpdate(list, time);
    if (due != 0) {
        X509_gmtime_adj(time, due * kDay);
        X509_CRL_set1_nextUpdate(list, time);
    }
    ASN1_TIME_free(time);
    X509_CRL_sign(list, key.get(), EVP_sha256());
    const packaging::BioPtr bio(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509_CRL(bio.get(), list);
    X509_CRL_free(list);
    char *text = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &text);
    return {text, static_cast<size_t>(size)};
}

constexpr char kTrust[] = "[trust]\nanchors = /etc/tarn/trust.pem\n";
constexpr char kDatabase[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Product>\n</Product>\n";

class DoctorTest : public testing::Test {
protected:
    TempDir dir;
    fs::path root = dir / "root";
    fs::path config = root / "etc/tarn/basic.conf";
    fs::path anchors = root / "etc/tarn/trust.pem";
    fs::path database = root / "db/packages.xml";

    DoctorTest()
    {
        static const std::string soundAnchor = anchorText();
        for (const char *path : {"etc/tarn", "tmp", "proc/77", "sys/block", "opt/tarn/pool/app/1.0", "db", "dbbak"}) {
            fs::create_directories(root / path);
        }
        writeFile(config, kTrust);
        writeFile(anchors, soundAnchor);
        writeFile(database, kDatabase);
        writeFile(root / "dbbak/packages.xml", kDatabase);
    }

    Arguments command() const { return {"doctor", "--root", root, "--database", database}; }
    Outcome doctor(const Arguments &more = {}) const { return runTool(command() + more); }

    // The one finding of this severity that says `what` about `subject`.
    void expectFinding(const std::string &severity, const std::string &area, const fs::path &subject,
                       const std::string &what)
    {
        const Outcome outcome = doctor({"--json"});
        const bool needsAttention = severity == "warning" || severity == "error";
        EXPECT_EQ(outcome.status, needsAttention ? 1 : 0) << outcome.out << outcome.err;
        const Json report = outcome.json();
        EXPECT_EQ(report["healthy"], !needsAttention);
        size_t found = 0;
        for (const Json &finding : report["findings"]) {
            if (finding["severity"] != severity || finding["what"].get<std::string>().find(what) == std::string::npos) {
                continue;
            }
            ++found;
            EXPECT_EQ(finding["area"], area);
            EXPECT_EQ(finding["subject"], subject.string());
            EXPECT_EQ(finding["why"] == "", severity == "ok");
            EXPECT_EQ(finding["next"] == "", severity == "ok");
        }
        EXPECT_EQ(found, 1u) << severity << " " << what << "\n" << report.dump(2);
        const Outcome text = doctor();
        EXPECT_EQ(text.status, outcome.status);
        EXPECT_EQ(text.out.find('\033'), std::string::npos);
    }
    void expectConfig(const std::string &severity, const std::string &what)
    {
        expectFinding(severity, "configuration", config, what);
    }
    void expectAnchor(const Flaw &flaw, const std::string &severity, const std::string &what)
    {
        writeFile(anchors, anchorText(flaw));
        expectFinding(severity, "trust", anchors, what);
    }
    void addLoop(const std::string &number, const std::string &file)
    {
        fs::create_directories(root / "sys/block" / ("loop" + number) / "loop");
        writeFile(root / "sys/block" / ("loop" + number) / "loop/backing_file", file + "\n");
    }
};

} // namespace

TEST_F(DoctorTest, SoundDevice)
{
    const Outcome text = doctor();
    EXPECT_EQ(text.status, 0) << text.err;
    const std::string pool = (root / "opt/tarn/pool").string();
    for (const std::string &line :
         {"ok       configuration: " + config.string() + ": readable, 1 value, nobody else can change it\n",
          "ok       trust: " + anchors.string() + ": 1 anchor, good until ",
          "ok       loop devices: " + (root / "sys/block").string() + ": none on packages or deleted files, 0 others\n",
          "ok       work directories: " + (root / "tmp").string() + ": nothing left behind\n",
          "ok       pool: " + pool + ": 1 package in 1 version, 0 marked for local boot\n",
          "ok       database: " + database.string() + ": sound\n",
          "ok       database: " + (root / "dbbak/packages.xml").string() + ": the same as the database\n",
          std::string("0 errors, 0 warnings, 0 notes: nothing needs attention\n")}) {
        EXPECT_NE(text.out.find(line), std::string::npos) << line << text.out;
    }
    const Json json = doctor({"--json"}).json();
    EXPECT_EQ(json["errors"], 0);
    EXPECT_EQ(json["findings"].size(), 7u);
}

TEST_F(DoctorTest, ChangesNothing)
{
    addLoop("3", "/opt/a.cc");
    fs::create_directory(root / "tmp/extract_12");
    const auto snapshot = [this] {
        std::string text;
        for (const auto &entry : fs::recursive_directory_iterator(root)) {
            text += entry.path().string() + std::to_string(entry.last_write_time().time_since_epoch().count());
        }
        return text;
    };
    const std::string before = snapshot();
    EXPECT_EQ(doctor().status, 1);
    EXPECT_EQ(snapshot(), before);
}

TEST_F(DoctorTest, WrongUse)
{
    EXPECT_EQ(runTool({"doctor", "--root", dir / "none"}).status, 3);
    EXPECT_EQ(runTool({"doctor", "word"}).status, 2);
    EXPECT_EQ(runTool({"doctor", "--root="}).status, 2);
    EXPECT_EQ(runTool({"doctor", "--database", "-"}).status, 2);
    EXPECT_EQ(runTool({"doctor", "--unknown"}).status, 2);
}

// ---- Configuration ----

TEST_F(DoctorTest, ConfigurationThatOthersCanChange)
{
    fs::permissions(config, fs::perms(0664));
    expectConfig("error", "others may write it: mode 0664");
    fs::permissions(config, fs::perms(0644));
    if (geteuid() == 0) {
        ASSERT_EQ(chown(config.c_str(), 65534, 65534), 0);
        expectConfig("error", "belongs to user 65534, neither root nor you");
    }
}

TEST_F(DoctorTest, NamedConfigurations)
{
    const fs::path other = dir / "other.conf";
    writeFile(other, kTrust);
    fs::permissions(other, fs::perms(0666));
    for (const Outcome &outcome :
         {doctor({"--config", other}),
          runTool({"doctor", "--database", database}, {{"TARN_BASIC_CONFIG=" + other.string()}, {}, {}})}) {
        EXPECT_EQ(outcome.status, 1) << outcome.err;
        EXPECT_NE(outcome.out.find("error    configuration: " + other.string() + ": others may write it: mode 0666\n"),
                  std::string::npos)
            << outcome.out;
    }
    fs::remove(other);
    EXPECT_NE(doctor({"--config", other}).out.find("error    configuration: " + other.string() + ": there is none"),
              std::string::npos);
}

TEST_F(DoctorTest, ConfigurationThatIsMissingOrEmpty)
{
    fs::remove(config);
    const Json report = doctor({"--json"}).json();
    EXPECT_EQ(report["findings"][0]["what"], "there is none, defaults hold");
    EXPECT_EQ(report["findings"][0]["severity"], "note");
    EXPECT_EQ(report["findings"][1]["what"], "no trust anchors are configured");
    EXPECT_EQ(report["findings"][1]["severity"], "warning");
    fs::create_directory(config);
    expectConfig("error", "not a readable regular file");
    fs::remove(config);
    writeFile(config, "no sections here\n");
    expectConfig("warning", "no section with keys can be read");
}

TEST_F(DoctorTest, ConfiguredValues)
{
    writeFile(config, std::string(kTrust) + "anchor\033 = x\n");
    expectConfig("warning", "unknown key \"[trust] anchor\\x1b\"");
    for (const auto &[text, what] :
         {std::pair{"[paths]\nroot = here\n", "[paths] root: \"here\" is not an absolute path"},
          {"[device]\ncpu_id = 0x\n", "[device] cpu_id: \"0x\" is not a number of 32 bits"},
          {"[device]\nboard_hard_type = 4294967296\n", "[device] board_hard_type: \"4294967296\" is not a number"},
          {"[log]\nlevel = 7\n", "[log] level: \"7\" is not 3 to 6"},
          {"[log]\ntarget = printer\n", "[log] target: \"printer\" is not stderr, syslog or an absolute path"},
          {"signer_purpose = baking\n", "[trust] signer_purpose: \"baking\" is not an extended key usage"}}) {
        writeFile(config, std::string(kTrust) + text);
        expectConfig("error", what);
    }
    writeFile(config, std::string(kTrust) + "signer_purpose = codeSigning\n[device]\ncpu_id = 3\nboard_hard_type = "
                                            "0x1A\n[log]\nlevel = 5\ntarget = stderr\n[paths]\nroot = /\n");
    expectConfig("ok", "readable, 7 values");
}

// ---- Trust ----

TEST_F(DoctorTest, AnchorFiles)
{
    fs::permissions(anchors, fs::perms(0666));
    expectFinding("error", "trust", anchors, "others may write it: mode 0666");
    fs::permissions(anchors, fs::perms(0644));
    writeFile(anchors, readFile(anchors) + "-----BEGIN NOTHING-----\n");
    expectFinding("error", "trust", anchors, "something in it is no certificate in PEM form");
    writeFile(anchors, "");
    expectFinding("error", "trust", anchors, "no certificate in PEM form");
    fs::remove(anchors);
    expectFinding("error", "trust", anchors, "cannot be read: No such file or directory");
    writeFile(config, "[trust]\nanchors =\n");
    expectFinding("warning", "trust", config, "no trust anchors are configured");
}

TEST_F(DoctorTest, AnchorsThatAreNotSound)
{
    expectAnchor({-100, -10}, "warning", "expired on ");
    expectAnchor({-100, 10}, "warning", "expires soon, on ");
    expectAnchor({10, 1000}, "warning", "not valid before ");
    expectAnchor({-1, 1000, 1024}, "error", "its key has 1024 bits, at least 2048 are needed");
    expectAnchor({-1, 1000, 2048, "keyCertSign", "serverAuth"}, "error",
                 "limited to other purposes than \"codeSigning\"");
    expectAnchor({-1, 1000, 2048, "keyCertSign", "codeSigning"}, "ok", "1 anchor, good until ");
    expectAnchor({-1, 1000, 2048, "cRLSign"}, "warning", "may neither issue certificates nor sign");
}

TEST_F(DoctorTest, RevocationLists)
{
    const fs::path list = root / "etc/tarn/revoked.pem";
    writeFile(config, std::string(kTrust) + "crl = /etc/tarn/revoked.pem\n");
    expectFinding("error", "trust", list, "cannot be read: No such file or directory");
    writeFile(list, listText(-10, 20));
    expectFinding("ok", "trust", list, "revocation list of \"CN=Test CA\": of ");
    writeFile(list, listText(-30, -1));
    expectFinding("warning", "trust", list, "the next one was due on ");
    writeFile(list, listText(-300, 0));
    expectFinding("warning", "trust", list, "old, of ");
    writeFile(list, readFile(anchors));
    expectFinding("error", "trust", list, "no revocation list in PEM form");
}

TEST_F(DoctorTest, AnyPurpose)
{
    writeFile(config, std::string(kTrust) + "signer_purpose =\n");
    expectFinding("note", "trust", config, "signer_purpose is empty");
}

// ---- Left behind ----

TEST_F(DoctorTest, LoopDevices)
{
    addLoop("10", "/opt/pkg\033.cc");
    expectFinding("note", "loop devices", "/dev/loop10", "attached to the package \"/opt/pkg\\x1b.cc\"");
    addLoop("9", "/home/disk.img");
    EXPECT_EQ(doctor().status, 0);
    addLoop("2", "/opt/old.cc (deleted)");
    expectFinding("warning", "loop devices", "/dev/loop2", "attached to a deleted file, \"/opt/old.cc\"");
    EXPECT_NE(doctor().out.find("next: if nobody uses it: tarn package detach /dev/loop2\n"), std::string::npos);
}

TEST_F(DoctorTest, WorkDirectories)
{
    fs::create_directory(root / "tmp/extract_77");
    fs::create_directory(root / "tmp/verify_");
    fs::create_directory(root / "tmp/extract_7x");
    EXPECT_EQ(doctor().status, 0) << "of a process that lives, or of nobody";
    fs::create_directory(root / "tmp/verify_78");
    expectFinding("warning", "work directories", root / "tmp/verify_78", "left by process 78, which has ended");
    fs::remove_all(root / "tmp");
    expectFinding("warning", "work directories", root / "tmp", "cannot be looked through");
}

TEST_F(DoctorTest, DirectoryOfAnOlderSignatureList)
{
    fs::create_directories(root / "data/swm/workdir/temp");
    writeFile(config, std::string(kTrust) + "[paths]\nroot = /data\n");
    expectFinding("note", "work directories", root / "data/swm/workdir/temp",
                  "there is one for an older signature list");
}

// ---- Databases ----

TEST_F(DoctorTest, DatabasesThatAreNotSound)
{
    writeFile(database, "<Product><Package>");
    expectFinding("error", "database", database, "damaged, ");
    writeFile(database, "<Product><Unknown/></Product>");
    expectFinding("warning", "database", database, "not sound, 1 problem: line 1: ");
    fs::remove(database);
    expectFinding("error", "database", database, "No such file or directory");
}

TEST_F(DoctorTest, Backups)
{
    const fs::path backup = root / "dbbak/packages.xml";
    writeFile(backup, "<Product></Product>\n");
    setModified(database, time(nullptr));
    setModified(backup, time(nullptr) - 100);
    expectFinding("note", "database", backup, "differs from the database and is older");
    setModified(backup, time(nullptr) + 100);
    expectFinding("warning", "database", backup, "differs from the database and is newer");
    writeFile(backup, "<Prod");
    expectFinding("warning", "database", backup, "damaged, ");
    fs::remove(backup);
    expectFinding("note", "database", backup, "there is no backup");
    fs::remove(backup.parent_path());
    expectFinding("note", "database", backup.parent_path(), "there is no directory for backups");
}

// ---- Pool ----

TEST_F(DoctorTest, Pool)
{
    const fs::path pool = root / "opt/tarn/pool";
    writeFile(pool / "app/1.0/bootlocal", "");
    expectFinding("ok", "pool", pool, "1 package in 1 version, 1 marked for local boot");
    fs::create_directory(pool / "none");
    expectFinding("note", "pool", pool / "none", "a package without versions");
    fs::remove(pool / "none");
    writeFile(pool / "app/stray", "");
    expectFinding("warning", "pool", pool / "app/stray", "does not belong here, only directories do");
    fs::remove(pool / "app/stray");
    fs::remove(pool / "app/1.0/bootlocal");
    fs::create_symlink("/etc/passwd", pool / "app/1.0/bootlocal");
    expectFinding("warning", "pool", pool / "app/1.0/bootlocal", "is in the marker's place, and no file");
    fs::remove(pool / "app/1.0/bootlocal");
    fs::permissions(pool / "app/1.0", fs::perms(0777));
    expectFinding("error", "pool", pool / "app/1.0", "everybody may write it");
    fs::remove_all(pool);
    expectFinding("note", "pool", pool, "there is none");
}

} // namespace tarn::test
