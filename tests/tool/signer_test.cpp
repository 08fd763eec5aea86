// Signatures and development keys, looked at with OpenSSL's own means.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include "packaging/container_writer.h"
#include "packaging/signer.h"
#include "support/fixture.h"

namespace tarn::test {

namespace {

using packaging::PackagingError;
using packaging::Signer;

using Bio = std::unique_ptr<BIO, decltype(&BIO_free_all)>;
using Cms = std::unique_ptr<CMS_ContentInfo, decltype(&CMS_ContentInfo_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;
using Store = std::unique_ptr<X509_STORE, decltype(&X509_STORE_free)>;

const fs::path &keyDir()
{
    static const fs::path dir = programDir() / "keys";
    return dir;
}

// The bytes must outlive the result.
Bio memory(const std::string &bytes)
{
    return {BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())), BIO_free_all};
}

Certificate readCertificate(const fs::path &path)
{
    const std::string pem = readFile(path);
    const Bio bio = memory(pem);
    return {PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr), X509_free};
}

Cms parse(const std::string &signature)
{
    const Bio bio = memory(signature);
    return {d2i_CMS_bio(bio.get(), nullptr), CMS_ContentInfo_free};
}

bool verifies(const std::string &signature, const std::string &content)
{
    const Cms cms = parse(signature);
    const Store store(X509_STORE_new(), X509_STORE_free);
    const Certificate anchor = readCertificate(keyDir() / "ca.pem");
    X509_STORE_add_cert(store.get(), anchor.get());
    X509_STORE_set_purpose(store.get(), X509_PURPOSE_ANY);
    const Bio data = memory(content);
    return CMS_verify(cms.get(), nullptr, store.get(), data.get(), nullptr, CMS_BINARY) == 1;
}

int certificateCount(const std::string &signature)
{
    const Cms cms = parse(signature);
    STACK_OF(X509) *certificates = CMS_get1_certs(cms.get());
    const int count = sk_X509_num(certificates);
    sk_X509_pop_free(certificates, X509_free);
    return count;
}

std::string refusal(const fs::path &key, const fs::path &certificate, const fs::path &chain = {})
{
    try {
        const Signer made(key, certificate, chain);
    } catch (const PackagingError &error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(SignerTest, SignatureHoldsForItsContentOnly)
{
    const std::string content = "lines end\r\nas they stand\n";
    const std::string signature = signer().sign(content);
    EXPECT_TRUE(verifies(signature, content));
    EXPECT_FALSE(verifies(signature, "lines end\nas they stand\n"));
    EXPECT_FALSE(verifies(signature, ""));
    EXPECT_TRUE(verifies(signer().sign(""), ""));
    EXPECT_FALSE(verifies(foreignSigner().sign(content), content));
}

TEST(SignerTest, SignatureIsDetachedPssWithSignedAttributesAndNoTime)
{
    const Cms cms = parse(signer().sign("content"));
    ASSERT_NE(cms, nullptr);
    EXPECT_EQ(CMS_is_detached(cms.get()), 1);
    STACK_OF(CMS_SignerInfo) *infos = CMS_get0_SignerInfos(cms.get());
    ASSERT_EQ(sk_CMS_SignerInfo_num(infos), 1);
    CMS_SignerInfo *info = sk_CMS_SignerInfo_value(infos, 0);
    EXPECT_EQ(CMS_signed_get_attr_count(info), 2);
    EXPECT_GE(CMS_signed_get_attr_by_NID(info, NID_pkcs9_contentType, -1), 0);
    EXPECT_GE(CMS_signed_get_attr_by_NID(info, NID_pkcs9_messageDigest, -1), 0);
    EXPECT_EQ(CMS_unsigned_get_attr_count(info), -1);

    X509_ALGOR *digest = nullptr;
    X509_ALGOR *algorithm = nullptr;
    CMS_SignerInfo_get0_algs(info, nullptr, nullptr, &digest, &algorithm);
    EXPECT_EQ(OBJ_obj2nid(digest->algorithm), NID_sha256);
    EXPECT_EQ(OBJ_obj2nid(algorithm->algorithm), NID_rsassaPss);
    const std::unique_ptr<RSA_PSS_PARAMS, decltype(&RSA_PSS_PARAMS_free)> pss(
        static_cast<RSA_PSS_PARAMS *>(ASN1_TYPE_unpack_sequence(ASN1_ITEM_rptr(RSA_PSS_PARAMS), algorithm->parameter)),
        RSA_PSS_PARAMS_free);
    ASSERT_NE(pss, nullptr);
    EXPECT_EQ(OBJ_obj2nid(pss->hashAlgorithm->algorithm), NID_sha256);
    EXPECT_EQ(OBJ_obj2nid(pss->maskGenAlgorithm->algorithm), NID_mgf1);
    EXPECT_EQ(ASN1_INTEGER_get(pss->saltLength), 32);
}

TEST(SignerTest, SignatureIsOneDerValue)
{
    const std::string signature = signer().sign("content");
    const auto *place = reinterpret_cast<const unsigned char *>(signature.data());
    const auto *start = place;
    const Cms cms(d2i_CMS_ContentInfo(nullptr, &place, static_cast<long>(signature.size())), CMS_ContentInfo_free);
    ASSERT_NE(cms, nullptr);
    EXPECT_EQ(static_cast<size_t>(place - start), signature.size());
    unsigned char *again = nullptr;
    const int size = i2d_CMS_ContentInfo(cms.get(), &again);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(again), static_cast<size_t>(size)), signature);
    OPENSSL_free(again);
}

TEST(SignerTest, ChainIsEmbeddedOnce)
{
    EXPECT_EQ(certificateCount(signer().sign("")), 1);
    const TempDir dir;
    writeFile(dir / "chain.pem",
              readFile(keyDir() / "signer.pem") + readFile(keyDir() / "ca.pem") + readFile(keyDir() / "ca.pem"));
    const Signer withChain(keyDir() / "signer.key", keyDir() / "signer.pem", dir / "chain.pem");
    const std::string signature = withChain.sign("content");
    EXPECT_EQ(certificateCount(signature), 2);
    EXPECT_TRUE(verifies(signature, "content"));
}

TEST(SignerTest, UnfitKeysAndCertificatesAreRefused)
{
    const TempDir dir;
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> small(EVP_RSA_gen(1024), EVP_PKEY_free);
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> curve(EVP_EC_gen("P-256"), EVP_PKEY_free);
    const auto save = [&](const char *name, EVP_PKEY *key, const char *passphrase) {
        const Bio file(BIO_new_file((dir / name).c_str(), "w"), BIO_free_all);
        PEM_write_bio_PKCS8PrivateKey(file.get(), key, passphrase == nullptr ? nullptr : EVP_aes_128_cbc(), nullptr, 0,
                                      nullptr, const_cast<char *>(passphrase));
    };
    save("small.key", small.get(), nullptr);
    save("curve.key", curve.get(), nullptr);
    save("locked.key", small.get(), "secret");
    writeFile(dir / "text", "no PEM\n");
    const fs::path certificate = keyDir() / "signer.pem";

    EXPECT_EQ(refusal(dir / "small.key", certificate),
              (dir / "small.key").string() + ": not an RSA key of at least 2048 bits");
    EXPECT_EQ(refusal(dir / "curve.key", certificate),
              (dir / "curve.key").string() + ": not an RSA key of at least 2048 bits");
    EXPECT_EQ(refusal(dir / "locked.key", certificate),
              (dir / "locked.key").string() + ": the key has a passphrase; decrypt it first (openssl pkey -in KEY)");
    EXPECT_EQ(refusal(dir / "missing", certificate),
              (dir / "missing").string() + ": cannot read: No such file or directory");
    EXPECT_EQ(refusal(static_cast<const fs::path &>(dir), certificate),
              static_cast<const fs::path &>(dir).string() + ": not a regular file");
    EXPECT_EQ(refusal(dir / "text", certificate).find((dir / "text").string() + ": no private key in PEM form"), 0u);
    EXPECT_EQ(refusal(keyDir() / "signer.key", dir / "text").find((dir / "text").string() + ": no certificate"), 0u);
    EXPECT_EQ(refusal(keyDir() / "signer.key", keyDir() / "ca.pem"), (keyDir() / "ca.pem").string() +
                                                                         ": not the certificate of the key " +
                                                                         (keyDir() / "signer.key").string());
    EXPECT_EQ(refusal(keyDir() / "signer.key", certificate, dir / "text").find((dir / "text").string()), 0u);
}

TEST(DevelopmentKeysTest, AreForTheOwnerOnlyAndMadeToSignCode)
{
    const TempDir dir;
    const auto keys = packaging::makeDevelopmentKeys(dir / "new", 2048);
    EXPECT_EQ(modeOf(dir / "new"), 0700u);
    for (const fs::path &path : {keys.anchor, keys.caKey, keys.certificate, keys.key}) {
        EXPECT_EQ(modeOf(path), 0600u) << path;
    }
    const Certificate anchor = readCertificate(keys.anchor);
    const Certificate certificate = readCertificate(keys.certificate);
    EXPECT_EQ(X509_check_ca(anchor.get()), 1);
    EXPECT_EQ(X509_check_ca(certificate.get()), 0);
    EXPECT_EQ(X509_get_extended_key_usage(certificate.get()), static_cast<uint32_t>(XKU_CODE_SIGN));
    EXPECT_EQ(X509_get_key_usage(certificate.get()), static_cast<uint32_t>(KU_DIGITAL_SIGNATURE));
    EXPECT_EQ(X509_verify(certificate.get(), X509_get0_pubkey(anchor.get())), 1);
    EXPECT_EQ(EVP_PKEY_get_bits(X509_get0_pubkey(certificate.get())), 2048);
}

TEST(DevelopmentKeysTest, NothingIsOverwritten)
{
    const TempDir dir;
    for (const char *name : {"ca.pem", "ca.key", "signer.pem", "signer.key"}) {
        const fs::path existing = dir / "keys" / name;
        fs::create_directories(existing.parent_path());
        writeFile(existing, "precious");
        try {
            packaging::makeDevelopmentKeys(dir / "keys", 2048);
            ADD_FAILURE() << name;
        } catch (const PackagingError &error) {
            EXPECT_EQ(error.what(), existing.string() + ": is there already; keys are never overwritten");
        }
        EXPECT_EQ(readFile(existing), "precious");
        fs::remove(existing);
        EXPECT_TRUE(fs::is_empty(dir / "keys"));
    }
    EXPECT_THROW(packaging::makeDevelopmentKeys(dir / "keys", 2047), PackagingError);
    EXPECT_THROW(packaging::makeDevelopmentKeys(dir / "a/b", 2048), PackagingError);
}

} // namespace tarn::test
