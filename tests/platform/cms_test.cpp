#include <atomic>
#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/rsa.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cms_fixture.h"
#include "support.h"

namespace {

using namespace tarn::test;

const std::string kList = "[MAIN FILE INFO]\nFILENUM=1\r\n[f]\nFILENAME=a\n";

class Cms : public PlatformTest {
protected:
    Cms() : root(makeRoot()), issuer(makeIssuer(root)), signer(makeSigner(issuer)) { trust({root.certificate}); }

    void trust(const std::vector<Cert> &anchors, const std::string &more = "")
    {
        writeFile(dir / "trust.pem", pem(anchors));
        setConfig("[trust]\nanchors = " + std::string(at("trust.pem")) + "\n" + more);
    }
    void revoke(const std::string &lists)
    {
        writeFile(dir / "crl.pem", lists);
        trust({root.certificate}, "crl = " + std::string(at("crl.pem")) + "\n");
    }
    SignatureRecipe good() const { return {.content = kList, .signers = {signer}, .others = {issuer.certificate}}; }
    // Both forms must agree.
    uint32_t verify(const std::string &signature, const std::string &list = kList)
    {
        writeFile(dir / "list", list);
        writeFile(dir / "cms", signature);
        const SwmCmsMemRecord record{reinterpret_cast<const uint8_t *>(list.data()), static_cast<uint32_t>(list.size()),
                                     reinterpret_cast<const uint8_t *>(signature.data()),
                                     static_cast<uint32_t>(signature.size())};
        const uint32_t result = SWM_VerifyPssCms(at("list"), at("cms"));
        EXPECT_EQ(SWM_VerifyCmsFromMem(&record, 1), result);
        EXPECT_EQ(ERR_peek_error(), 0u) << "nothing stays in libcrypto's error queue";
        return result;
    }
    uint32_t verifySignedBy(const Identity &identity, std::vector<Cert> others)
    {
        SignatureRecipe recipe = good();
        recipe.signers = {identity};
        recipe.others = std::move(others);
        return verify(sign(recipe));
    }

    Identity root;
    Identity issuer;
    Identity signer;
};

TEST_F(Cms, GoodSignatures)
{
    for (const EVP_MD *hash : {EVP_sha256(), EVP_sha384(), EVP_sha512()}) {
        SignatureRecipe recipe = good();
        recipe.hash = hash;
        EXPECT_EQ(verify(sign(recipe)), SWM_CMS_VALID) << EVP_MD_get0_name(hash);
    }
    SignatureRecipe recipe = good();
    recipe.salt = 64;
    EXPECT_EQ(verify(sign(recipe)), SWM_CMS_VALID) << "a longer salt";
    recipe = good();
    recipe.content = "";
    EXPECT_EQ(verify(sign(recipe), ""), SWM_CMS_VALID) << "an empty list";
    recipe = good();
    recipe.flags |= CMS_USE_KEYID;
    EXPECT_EQ(verify(sign(recipe)), SWM_CMS_VALID) << "the signer named by its key";
}

TEST_F(Cms, FormRefusals)
{
    const struct {
        const char *what;
        uint32_t result;
        void (*spoil)(SignatureRecipe *recipe);
    } rows[] = {
        {"PKCS#1 v1.5", SWM_CMS_NOT_PSS, [](SignatureRecipe *recipe) { recipe->isPss = false; }},
        {"SHA-1", SWM_CMS_HASH, [](SignatureRecipe *recipe) { recipe->hash = EVP_sha1(); }},
        {"SHA-224", SWM_CMS_HASH, [](SignatureRecipe *recipe) { recipe->hash = EVP_sha224(); }},
        {"another mask hash", SWM_CMS_HASH, [](SignatureRecipe *recipe) { recipe->maskHash = EVP_sha512(); }},
        {"mask with SHA-1", SWM_CMS_HASH, [](SignatureRecipe *recipe) { recipe->maskHash = EVP_sha1(); }},
        {"salt of 31", SWM_CMS_SALT, [](SignatureRecipe *recipe) { recipe->salt = 31; }},
        {"salt of 20, the default", SWM_CMS_SALT, [](SignatureRecipe *recipe) { recipe->salt = 20; }},
        {"no salt", SWM_CMS_SALT, [](SignatureRecipe *recipe) { recipe->salt = 0; }},
        {"attached", SWM_CMS_NOT_DETACHED, [](SignatureRecipe *recipe) { recipe->flags = CMS_BINARY; }},
        {"no attributes", SWM_CMS_NO_SIGNED_ATTRIBUTES, [](SignatureRecipe *recipe) { recipe->flags |= CMS_NOATTR; }},
        {"no signer", SWM_CMS_SIGNER_COUNT, [](SignatureRecipe *recipe) { recipe->signers.clear(); }},
        {"two signers", SWM_CMS_SIGNER_COUNT,
         [](SignatureRecipe *recipe) { recipe->signers.push_back(makeRoot("second")); }},
        {"other content type", SWM_CMS_CONTENT_TYPE,
         [](SignatureRecipe *recipe) { recipe->contentType = NID_pkcs7_digest; }},
        {"certificate left out", SWM_CMS_NO_SIGNER_CERTIFICATE,
         [](SignatureRecipe *recipe) { recipe->flags |= CMS_NOCERTS; }},
        {"text instead of bytes", SWM_CMS_CONTENT_CHANGED,
         [](SignatureRecipe *recipe) { recipe->flags = CMS_DETACHED; }},
    };
    for (const auto &row : rows) {
        SignatureRecipe recipe = good();
        row.spoil(&recipe);
        EXPECT_EQ(verify(sign(recipe)), row.result) << row.what;
    }
}

TEST_F(Cms, EncodingRefusals)
{
    const std::string sound = sign(good());
    EXPECT_EQ(verify(sound + '\0'), SWM_CMS_NOT_DER) << "something behind it";
    EXPECT_EQ(verify(sound + sound), SWM_CMS_NOT_DER);
    EXPECT_EQ(verify(sound.substr(0, sound.size() - 1)), SWM_CMS_NOT_DER);
    EXPECT_EQ(verify(""), SWM_CMS_NOT_DER);
    EXPECT_EQ(verify("-----BEGIN CMS-----\n"), SWM_CMS_NOT_DER);
    EXPECT_EQ(verify(plainData()), SWM_CMS_NOT_SIGNED_DATA);
    // The outermost length on three bytes instead of two, and of indefinite form: BER, not DER.
    ASSERT_EQ(sound.substr(0, 2), "\x30\x82");
    EXPECT_EQ(verify("\x30\x83" + std::string(1, '\0') + sound.substr(2)), SWM_CMS_NOT_DER);
    EXPECT_EQ(verify("\x30\x80" + sound.substr(4) + std::string(2, '\0')), SWM_CMS_NOT_DER);
}

TEST_F(Cms, SignatureHashOtherThanTheContents)
{
    std::string signature = sign(good());
    const std::string pss = "\x2a\x86\x48\x86\xf7\x0d\x01\x01\x0a";
    const std::string sha256("\x60\x86\x48\x01\x65\x03\x04\x02\x01", 9);
    const size_t hash = signature.find(sha256, signature.rfind(pss));
    ASSERT_NE(hash, std::string::npos);
    signature[hash + 8] = '\x02'; // SHA-384
    EXPECT_EQ(verify(signature), SWM_CMS_HASH);
}

TEST_F(Cms, TamperedWith)
{
    const std::string signature = sign(good());
    std::string list = kList;
    list[3] ^= 1;
    EXPECT_EQ(verify(signature, list), SWM_CMS_CONTENT_CHANGED);
    EXPECT_EQ(verify(signature, kList + "\n"), SWM_CMS_CONTENT_CHANGED);
    EXPECT_EQ(verify(signature, ""), SWM_CMS_CONTENT_CHANGED);
    std::string changed = signature;
    changed.back() = static_cast<char>(changed.back() ^ 1);
    EXPECT_EQ(verify(changed), SWM_CMS_BAD_SIGNATURE);
}

X509_ALGOR *algorithmOf(CMS_SignerInfo *signer)
{
    X509_ALGOR *signature = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, nullptr, &signature);
    return signature;
}

void setParameters(CMS_SignerInfo *signer, int type, void *value)
{
    ASSERT_EQ(X509_ALGOR_set0(algorithmOf(signer), OBJ_nid2obj(NID_rsassaPss), type, value), 1);
}

// The PSS parameters with another function in MGF1's place.
void setMaskFunction(CMS_SignerInfo *signer, int function)
{
    int type = V_ASN1_UNDEF;
    const void *sequence = nullptr;
    X509_ALGOR_get0(nullptr, &type, &sequence, algorithmOf(signer));
    const std::unique_ptr<RSA_PSS_PARAMS, decltype(&RSA_PSS_PARAMS_free)> pss(
        static_cast<RSA_PSS_PARAMS *>(
            ASN1_item_unpack(static_cast<const ASN1_STRING *>(sequence), ASN1_ITEM_rptr(RSA_PSS_PARAMS))),
        RSA_PSS_PARAMS_free);
    ASSERT_NE(pss, nullptr);
    ASN1_OBJECT_free(pss->maskGenAlgorithm->algorithm);
    pss->maskGenAlgorithm->algorithm = OBJ_nid2obj(function);
    setParameters(signer, V_ASN1_SEQUENCE, ASN1_item_pack(pss.get(), ASN1_ITEM_rptr(RSA_PSS_PARAMS), nullptr));
}

TEST_F(Cms, ParameterRefusals)
{
    const struct {
        const char *what;
        uint32_t result;
        std::function<void(CMS_SignerInfo *)> change;
    } rows[] = {
        {"sound", SWM_CMS_VALID, [](CMS_SignerInfo *one) { setMaskFunction(one, NID_mgf1); }},
        {"absent", SWM_CMS_NOT_PSS, [](CMS_SignerInfo *one) { setParameters(one, V_ASN1_UNDEF, nullptr); }},
        {"null", SWM_CMS_NOT_PSS, [](CMS_SignerInfo *one) { setParameters(one, V_ASN1_NULL, nullptr); }},
        {"no sequence", SWM_CMS_NOT_PSS,
         [](CMS_SignerInfo *one) { setParameters(one, V_ASN1_OCTET_STRING, ASN1_OCTET_STRING_new()); }},
        {"not MGF1", SWM_CMS_HASH, [](CMS_SignerInfo *one) { setMaskFunction(one, NID_sha256); }},
    };
    for (const auto &row : rows) {
        SignatureRecipe recipe = good();
        recipe.change = row.change;
        EXPECT_EQ(verify(sign(recipe)), row.result) << row.what;
    }
}

void removeAttribute(CMS_SignerInfo *signer, int attribute)
{
    X509_ATTRIBUTE_free(CMS_signed_delete_attr(signer, CMS_signed_get_attr_by_NID(signer, attribute, -1)));
}

void replaceAttribute(CMS_SignerInfo *signer, int attribute, int type, const void *value, int length)
{
    removeAttribute(signer, attribute);
    ASSERT_EQ(CMS_signed_add1_attr_by_NID(signer, attribute, type, value, length), 1);
}

// A second attribute with the same value.
void repeatAttribute(CMS_SignerInfo *signer, int attribute)
{
    X509_ATTRIBUTE *once = CMS_signed_get_attr(signer, CMS_signed_get_attr_by_NID(signer, attribute, -1));
    ASSERT_EQ(CMS_signed_add1_attr(signer, once), 1);
}

// A second value in the same attribute.
void repeatValue(CMS_SignerInfo *signer, int attribute)
{
    X509_ATTRIBUTE *once = CMS_signed_get_attr(signer, CMS_signed_get_attr_by_NID(signer, attribute, -1));
    const ASN1_TYPE *value = X509_ATTRIBUTE_get0_type(once, 0);
    ASSERT_EQ(X509_ATTRIBUTE_set1_data(once, ASN1_TYPE_get(value), value->value.ptr, -1), 1);
}

TEST_F(Cms, AttributeRefusals)
{
    using Signer = CMS_SignerInfo *;
    constexpr int kType = NID_pkcs9_contentType;
    constexpr int kDigest = NID_pkcs9_messageDigest;
    const struct {
        const char *what;
        uint32_t result;
        std::function<void(Signer)> change;
    } rows[] = {
        {"no type", SWM_CMS_CONTENT_TYPE, [](Signer one) { removeAttribute(one, kType); }},
        {"type twice", SWM_CMS_CONTENT_TYPE, [](Signer one) { repeatAttribute(one, kType); }},
        {"two types", SWM_CMS_CONTENT_TYPE, [](Signer one) { repeatValue(one, kType); }},
        {"another type", SWM_CMS_CONTENT_TYPE,
         [](Signer one) { replaceAttribute(one, kType, V_ASN1_OBJECT, OBJ_nid2obj(NID_pkcs7_digest), -1); }},
        {"type as text", SWM_CMS_CONTENT_TYPE,
         [](Signer one) { replaceAttribute(one, kType, V_ASN1_OCTET_STRING, "data", 4); }},
        {"no digest", SWM_CMS_CONTENT_CHANGED, [](Signer one) { removeAttribute(one, kDigest); }},
        {"digest twice", SWM_CMS_CONTENT_CHANGED, [](Signer one) { repeatAttribute(one, kDigest); }},
        {"two digests", SWM_CMS_CONTENT_CHANGED, [](Signer one) { repeatValue(one, kDigest); }},
        {"empty digest", SWM_CMS_CONTENT_CHANGED,
         [](Signer one) { replaceAttribute(one, kDigest, V_ASN1_OCTET_STRING, "", 0); }},
        {"digest as an object", SWM_CMS_CONTENT_CHANGED,
         [](Signer one) { replaceAttribute(one, kDigest, V_ASN1_OBJECT, OBJ_nid2obj(NID_pkcs7_data), -1); }},
        {"another attribute changed", SWM_CMS_BAD_SIGNATURE,
         [](Signer one) { removeAttribute(one, NID_pkcs9_signingTime); }},
    };
    for (const auto &row : rows) {
        SignatureRecipe recipe = good();
        recipe.change = row.change;
        EXPECT_EQ(verify(sign(recipe)), row.result) << row.what;
    }
}

// No flipped byte may ever make a signature more than valid, crash or leak; most must be refused.
TEST_F(Cms, EveryFlippedByte)
{
    const std::string signature = sign(good());
    unsigned accepted = 0;
    for (size_t i = 0; i < signature.size(); i += 5) {
        std::string changed = signature;
        changed[i] = static_cast<char>(changed[i] ^ 0x41);
        const SwmCmsMemRecord record{
            reinterpret_cast<const uint8_t *>(kList.data()), static_cast<uint32_t>(kList.size()),
            reinterpret_cast<const uint8_t *>(changed.data()), static_cast<uint32_t>(changed.size())};
        accepted += SWM_VerifyCmsFromMem(&record, 1) == SWM_CMS_VALID;
    }
    // The message's version numbers and its unsigned list of hashes decide nothing.
    EXPECT_LE(accepted, 8u);
}

TEST_F(Cms, Keys)
{
    trust({root.certificate});
    EXPECT_EQ(verifySignedBy(certify("weak", keyOf("weak"), signerTraits(), &issuer), {issuer.certificate}),
              SWM_CMS_KEY);
    EXPECT_EQ(verifySignedBy(certify("short", keyOf("short"), signerTraits(), &issuer), {issuer.certificate}),
              SWM_CMS_KEY);
    SignatureRecipe recipe = good();
    std::unique_ptr<X509_ALGOR, decltype(&X509_ALGOR_free)> pss(nullptr, X509_ALGOR_free);
    recipe.change = [&](CMS_SignerInfo *one) { pss.reset(X509_ALGOR_dup(algorithmOf(one))); };
    (void)sign(recipe);
    recipe.isPss = false;
    recipe.signers = {certify("curve", keyOf("curve"), signerTraits(), &issuer)};
    recipe.change = nullptr;
    EXPECT_EQ(verify(sign(recipe)), SWM_CMS_NOT_PSS);
    recipe.change = [&](CMS_SignerInfo *one) { EXPECT_EQ(X509_ALGOR_copy(algorithmOf(one), pss.get()), 1); };
    EXPECT_EQ(verify(sign(recipe)), SWM_CMS_KEY) << "a curve that is said to be PSS";
    const Identity weakIssuer = certify("weak issuer", keyOf("weak"), issuerTraits(), &root);
    EXPECT_EQ(verifySignedBy(makeSigner(weakIssuer), {weakIssuer.certificate}), SWM_CMS_CHAIN);
}

TEST_F(Cms, Chains)
{
    EXPECT_EQ(verifySignedBy(makeSigner(root), {}), SWM_CMS_VALID) << "directly below the anchor";
    EXPECT_EQ(verifySignedBy(signer, {}), SWM_CMS_CHAIN) << "a link is missing";
    const Identity impostor = certify("root", keyOf("issuer"), issuerTraits());
    EXPECT_EQ(verifySignedBy(makeSigner(impostor), {impostor.certificate}), SWM_CMS_CHAIN)
        << "a certificate that comes along is no anchor";
    const Identity selfSigned = certify("self", keyOf("signer"), signerTraits());
    EXPECT_EQ(verifySignedBy(selfSigned, {}), SWM_CMS_CHAIN);

    CertificateTraits traits = issuerTraits();
    traits.hash = EVP_sha1();
    const Identity sha1 = makeIssuer(root, &traits);
    EXPECT_EQ(verifySignedBy(makeSigner(sha1), {sha1.certificate}), SWM_CMS_CHAIN) << "SHA-1 in the chain";
    for (const char *constraints : {"critical,CA:FALSE", ""}) {
        traits = issuerTraits();
        traits.basicConstraints = constraints;
        const Identity noCa = makeIssuer(root, &traits);
        EXPECT_EQ(verifySignedBy(makeSigner(noCa), {noCa.certificate}), SWM_CMS_CHAIN) << constraints;
    }
    const Identity below = certify("below", keyOf("signer"), issuerTraits(), &issuer);
    EXPECT_EQ(verifySignedBy(makeSigner(below), {below.certificate, issuer.certificate}), SWM_CMS_VALID);
    traits = issuerTraits();
    traits.basicConstraints = "critical,CA:TRUE,pathlen:0";
    const Identity lastIssuer = makeIssuer(root, &traits);
    const Identity tooDeep = certify("below", keyOf("signer"), issuerTraits(), &lastIssuer);
    EXPECT_EQ(verifySignedBy(makeSigner(tooDeep), {tooDeep.certificate, lastIssuer.certificate}), SWM_CMS_CHAIN)
        << "more issuers than allowed";
    traits = issuerTraits();
    traits.keyUsage = "critical,digitalSignature";
    const Identity noSign = makeIssuer(root, &traits);
    EXPECT_EQ(verifySignedBy(makeSigner(noSign), {noSign.certificate}), SWM_CMS_CHAIN);
}

TEST_F(Cms, ExpiredCertificatesAreAccepted)
{
    CertificateTraits traits = signerTraits();
    traits.isExpired = true;
    EXPECT_EQ(verifySignedBy(certify("old", keyOf("signer"), traits, &issuer), {issuer.certificate}), SWM_CMS_VALID);
    traits = issuerTraits();
    traits.isExpired = true;
    const Identity oldIssuer = makeIssuer(root, &traits);
    EXPECT_EQ(verifySignedBy(makeSigner(oldIssuer), {oldIssuer.certificate}), SWM_CMS_VALID);
}

TEST_F(Cms, AnchorsEndAChain)
{
    const std::string signature = sign(good());
    trust({issuer.certificate});
    EXPECT_EQ(verify(signature), SWM_CMS_VALID) << "an anchor that is not self-signed";
    trust({signer.certificate});
    EXPECT_EQ(verify(signature), SWM_CMS_VALID) << "the signer itself";
    trust({makeRoot("other").certificate, root.certificate});
    EXPECT_EQ(verify(signature), SWM_CMS_VALID) << "several anchors";
    // A pinned signer is no issuer.
    const Identity below = certify("below", keyOf("issuer"), signerTraits(), &signer);
    trust({signer.certificate});
    EXPECT_EQ(verifySignedBy(below, {}), SWM_CMS_CHAIN);
}

TEST_F(Cms, TrustStore)
{
    const std::string signature = sign(good());
    removeConfig();
    EXPECT_EQ(verify(signature), SWM_CMS_NO_ANCHORS);
    setConfig("[trust]\nanchors =\n");
    EXPECT_EQ(verify(signature), SWM_CMS_NO_ANCHORS);
    setConfig("[trust]\nanchors = /no/such/file\n");
    EXPECT_EQ(verify(signature), SWM_CMS_BAD_ANCHORS);
    trust({});
    EXPECT_EQ(verify(signature), SWM_CMS_BAD_ANCHORS) << "an empty store verifies nothing";
    trust({makeRoot("other").certificate});
    EXPECT_EQ(verify(signature), SWM_CMS_CHAIN);
    trust({root.certificate});
    writeFile(dir / "trust.pem",
              pem({root.certificate}) + "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n");
    EXPECT_EQ(verify(signature), SWM_CMS_BAD_ANCHORS) << "a damaged one behind a good one";
    trust({root.certificate});
    fs::permissions(dir / "trust.pem", fs::perms(0666));
    EXPECT_EQ(verify(signature), SWM_CMS_BAD_ANCHORS) << "anybody could add an anchor";
    trust({root.certificate});
    fs::permissions(dir / "trust.pem", fs::perms(0644));
    EXPECT_EQ(verify(signature), SWM_CMS_VALID);
    fs::permissions(configPath(), fs::perms(0666));
    EXPECT_EQ(verify(signature), SWM_CMS_CONFIGURATION);
}

TEST_F(Cms, Revocation)
{
    const std::string signature = sign(good());
    const Identity innocent = makeSigner(issuer);
    revoke(revocationPem(issuer, {}));
    EXPECT_EQ(verify(signature), SWM_CMS_VALID);
    revoke(revocationPem(issuer, {innocent.certificate}));
    EXPECT_EQ(verify(signature), SWM_CMS_VALID);
    revoke(revocationPem(issuer, {innocent.certificate, signer.certificate}));
    EXPECT_EQ(verify(signature), SWM_CMS_REVOKED);
    revoke(revocationPem(root, {issuer.certificate}) + revocationPem(issuer, {}));
    EXPECT_EQ(verify(signature), SWM_CMS_REVOKED) << "an issuer";
    revoke(revocationPem(root, {}));
    EXPECT_EQ(verify(signature), SWM_CMS_NOT_COVERED) << "no list of the signer's issuer";
    revoke(revocationPem({root.key, issuer.certificate}, {}));
    EXPECT_EQ(verify(signature), SWM_CMS_NOT_COVERED) << "a list that its issuer has not signed";
    revoke("");
    EXPECT_EQ(verify(signature), SWM_CMS_BAD_REVOCATION);
    revoke(revocationPem(issuer, {}));
    fs::permissions(dir / "crl.pem", fs::perms(0666));
    EXPECT_EQ(verify(signature), SWM_CMS_BAD_REVOCATION) << "anybody could take a certificate off it";
    fs::permissions(dir / "crl.pem", fs::perms(0644));
    trust({root.certificate}, "crl = /no/such/file\n");
    EXPECT_EQ(verify(signature), SWM_CMS_BAD_REVOCATION);
    trust({root.certificate}, "crl =\n");
    EXPECT_EQ(verify(signature), SWM_CMS_VALID);
}

TEST_F(Cms, RevocationOfAPinnedSigner)
{
    const std::string crl = "crl = " + std::string(at("crl.pem")) + "\n";
    writeFile(dir / "crl.pem", revocationPem(issuer, {}));
    trust({signer.certificate}, crl);
    EXPECT_EQ(verify(sign(good())), SWM_CMS_VALID) << "its issuer comes with the message";
    EXPECT_EQ(verifySignedBy(signer, {}), SWM_CMS_NOT_COVERED) << "nobody can check the list";
    trust({signer.certificate, issuer.certificate}, crl);
    EXPECT_EQ(verifySignedBy(signer, {}), SWM_CMS_VALID) << "its issuer is an anchor";
    writeFile(dir / "crl.pem", revocationPem(issuer, {signer.certificate}));
    EXPECT_EQ(verifySignedBy(signer, {}), SWM_CMS_REVOKED);
}

// Whatever happens to one list of a file, the others must not pass for all of it.
TEST_F(Cms, DamagedRevocation)
{
    const std::string signature = sign(good());
    const std::string first = revocationPem(issuer, {});
    const std::string second = revocationPem(root, {issuer.certificate});
    const auto replaced = [](std::string text, const std::string &from, const std::string &to) {
        EXPECT_NE(text.find(from), std::string::npos) << from;
        return text.replace(text.find(from), from.size(), to);
    };
    const std::string begin = "-----BEGIN X509 CRL-----\n";
    const std::string end = "-----END X509 CRL-----\n";
    const struct {
        const char *what;
        std::string second;
        uint32_t result;
    } rows[] = {
        {"sound", second, SWM_CMS_REVOKED},
        {"comments", "Certificate Revocation List (CRL):\n    a-b -- c\n\n" + second, SWM_CMS_REVOKED},
        {"CR LF", replaced(second, begin, "-----BEGIN X509 CRL-----\r\n"), SWM_CMS_REVOKED},
        {"a dash less before", replaced(second, begin, begin.substr(1)), SWM_CMS_BAD_REVOCATION},
        {"a dash less behind", replaced(second, begin, "-----BEGIN X509 CRL----\n"), SWM_CMS_BAD_REVOCATION},
        {"a byte before", " " + second, SWM_CMS_BAD_REVOCATION},
        {"another word", replaced(second, "BEGIN", "BEGIM"), SWM_CMS_BAD_REVOCATION},
        {"another type", replaced(second, begin, "-----BEGIN X509 CRI-----\n"), SWM_CMS_BAD_REVOCATION},
        {"no first line", replaced(second, begin, ""), SWM_CMS_BAD_REVOCATION},
        {"no last line", replaced(second, end, ""), SWM_CMS_BAD_REVOCATION},
        {"both lines damaged", replaced(replaced(second, begin, "x" + begin.substr(1)), end, "x" + end.substr(1)),
         SWM_CMS_BAD_REVOCATION},
        {"nothing but a first line", begin, SWM_CMS_BAD_REVOCATION},
        {"a certificate", pem({issuer.certificate}), SWM_CMS_BAD_REVOCATION},
    };
    for (const auto &row : rows) {
        revoke(first + row.second);
        EXPECT_EQ(verify(signature), row.result) << row.what;
        revoke(row.second + first);
        EXPECT_EQ(verify(signature), row.result) << row.what << ", in front";
    }
    writeFile(dir / "trust.pem", pem({root.certificate}) + first);
    setConfig("[trust]\nanchors = " + std::string(at("trust.pem")) + "\n");
    EXPECT_EQ(verify(signature), SWM_CMS_BAD_ANCHORS) << "a revocation list among the anchors";
}

TEST_F(Cms, Purpose)
{
    const auto signerFor = [this](const char *extended, const char *usage = "") {
        CertificateTraits traits = signerTraits();
        traits.extendedKeyUsage = extended;
        traits.keyUsage = usage;
        return certify("signer", keyOf("signer"), traits, &issuer);
    };
    const std::vector<Cert> others{issuer.certificate};
    EXPECT_EQ(verifySignedBy(signerFor("serverAuth,codeSigning"), others), SWM_CMS_VALID);
    EXPECT_EQ(verifySignedBy(signerFor("serverAuth"), others), SWM_CMS_PURPOSE);
    EXPECT_EQ(verifySignedBy(signerFor(""), others), SWM_CMS_PURPOSE);
    EXPECT_EQ(verifySignedBy(signerFor("anyExtendedKeyUsage"), others), SWM_CMS_PURPOSE);
    EXPECT_EQ(verifySignedBy(signerFor("codeSigning", "keyEncipherment"), others), SWM_CMS_PURPOSE);
    CertificateTraits traits = issuerTraits();
    traits.extendedKeyUsage = "serverAuth";
    const Identity tlsIssuer = makeIssuer(root, &traits);
    EXPECT_EQ(verifySignedBy(makeSigner(tlsIssuer), {tlsIssuer.certificate}), SWM_CMS_PURPOSE);
    traits.extendedKeyUsage = "anyExtendedKeyUsage";
    const Identity anyIssuer = makeIssuer(root, &traits);
    EXPECT_EQ(verifySignedBy(makeSigner(anyIssuer), {anyIssuer.certificate}), SWM_CMS_VALID);

    trust({root.certificate}, "signer_purpose =\n");
    EXPECT_EQ(verifySignedBy(signerFor(""), others), SWM_CMS_VALID) << "empty accepts any";
    EXPECT_EQ(verifySignedBy(signerFor("serverAuth"), others), SWM_CMS_VALID);
    trust({root.certificate}, "signer_purpose = 1.2.3.4.5\n");
    EXPECT_EQ(verifySignedBy(signerFor("1.2.3.4.5"), others), SWM_CMS_VALID);
    EXPECT_EQ(verifySignedBy(signerFor("codeSigning"), others), SWM_CMS_PURPOSE);
    trust({root.certificate}, "signer_purpose = no purpose\n");
    EXPECT_EQ(verifySignedBy(signer, others), SWM_CMS_CONFIGURATION);
}

TEST_F(Cms, Sizes)
{
    SignatureRecipe recipe = good();
    recipe.content.assign(4 * 1024 * 1024, 'x');
    const std::string signature = sign(recipe);
    EXPECT_EQ(verify(signature, recipe.content), SWM_CMS_VALID);
    EXPECT_EQ(verify(signature, recipe.content + "x"), SWM_CMS_LIST_TOO_LARGE);
    EXPECT_EQ(verify(std::string(1024 * 1024, 'x')), SWM_CMS_NOT_DER);
    EXPECT_EQ(verify(std::string(1024 * 1024 + 1, 'x')), SWM_CMS_SIGNATURE_TOO_LARGE);
}

TEST_F(Cms, Arguments)
{
    const uint8_t byte = 0;
    const SwmCmsMemRecord sound{&byte, 1, &byte, 1};
    const SwmCmsMemRecord noContent{nullptr, 1, &byte, 1};
    const SwmCmsMemRecord noSignature{&byte, 1, nullptr, 1};
    EXPECT_EQ(SWM_VerifyCmsFromMem(&sound, 0), SWM_CMS_ARGUMENT);
    EXPECT_EQ(SWM_VerifyCmsFromMem(&sound, 2), SWM_CMS_ARGUMENT);
    EXPECT_EQ(SWM_VerifyCmsFromMem(nullptr, 1), SWM_CMS_ARGUMENT);
    EXPECT_EQ(SWM_VerifyCmsFromMem(&noContent, 1), SWM_CMS_ARGUMENT);
    EXPECT_EQ(SWM_VerifyCmsFromMem(&noSignature, 1), SWM_CMS_ARGUMENT);
    EXPECT_EQ(SWM_VerifyPssCms(nullptr, "x"), SWM_CMS_ARGUMENT);
    EXPECT_EQ(SWM_VerifyPssCms("x", nullptr), SWM_CMS_ARGUMENT);
    writeFile(dir / "list", kList);
    ASSERT_EQ(::mkfifo(at("fifo"), 0600), 0);
    EXPECT_EQ(SWM_VerifyPssCms(at("none"), at("list")), SWM_CMS_LIST_UNREADABLE);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(SWM_VerifyPssCms(at("fifo"), at("list")), SWM_CMS_LIST_UNREADABLE);
    EXPECT_EQ(SWM_VerifyPssCms(at("list"), dir.c_str()), SWM_CMS_SIGNATURE_UNREADABLE);
}

TEST_F(Cms, MapOfAFileThatWasCutShort)
{
    const std::string signature = sign(good());
    constexpr size_t kSize = 200000;
    writeFile(dir / "map", std::string(kSize, 'x'));
    const int fd = ::open(at("map"), O_RDWR);
    void *map = ::mmap(nullptr, kSize, PROT_READ, MAP_PRIVATE, fd, 0);
    ASSERT_NE(map, MAP_FAILED);
    ASSERT_EQ(::ftruncate(fd, 100), 0);
    ::close(fd);
    const auto *mapped = static_cast<const uint8_t *>(map);
    const auto *sound = reinterpret_cast<const uint8_t *>(signature.data());
    const SwmCmsMemRecord list{mapped, kSize, sound, static_cast<uint32_t>(signature.size())};
    EXPECT_EQ(SWM_VerifyCmsFromMem(&list, 1), SWM_CMS_LIST_UNREADABLE);
    EXPECT_EQ(errno, EFAULT);
    const SwmCmsMemRecord cms{sound, 10, mapped, kSize};
    EXPECT_EQ(SWM_VerifyCmsFromMem(&cms, 1), SWM_CMS_SIGNATURE_UNREADABLE);
    ::munmap(map, kSize);
}

TEST_F(Cms, CallersErrorsStay)
{
    writeFile(dir / "list", kList);
    writeFile(dir / "cms", "no signature");
    ERR_raise(ERR_LIB_USER, 77);
    EXPECT_EQ(SWM_VerifyPssCms(at("list"), at("cms")), SWM_CMS_NOT_DER);
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), 77);
    EXPECT_EQ(ERR_get_error(), 0u);
}

TEST_F(Cms, SeveralThreads)
{
    writeFile(dir / "list", kList);
    writeFile(dir / "cms", sign(good()));
    const char *list = at("list");
    const char *cms = at("cms");
    std::vector<std::thread> threads;
    std::atomic<unsigned> valid = 0;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 10; ++round) {
                char digest[65];
                int32_t fd = -1;
                const bool isHashed = SWM_Open(list, O_RDONLY, &fd) == 0 &&
                                      SWM_CalcFileSHA256ValueByFileHandleStr(fd, 5, digest, sizeof digest) == 0;
                valid += isHashed && SWM_VerifyPssCms(list, cms) == SWM_CMS_VALID;
                TARN_CanonicalClose(fd);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(valid, 40u);
}

} // namespace
