// Result numbers in words.
#include "results.h"

#include <algorithm>
#include <span>

#include <tarn_basic/crypto.h>
#include <tarn_boot/container.h>

namespace tarn::tool {

namespace {

constexpr LibraryResult kExtract[] = {
    {TARN_EXTRACT_OK, "TARN_EXTRACT_OK", "extracted"},
    {TARN_EXTRACT_NO_MEMBER, "TARN_EXTRACT_NO_MEMBER", "no member of that name"},
    {TARN_EXTRACT_DIGEST, "TARN_EXTRACT_DIGEST", "the member is not what was signed"},
    {TARN_EXTRACT_WORKDIR, "TARN_EXTRACT_WORKDIR", "the work directory under /tmp could not be made"},
    {TARN_EXTRACT_SIGNATURE, "TARN_EXTRACT_SIGNATURE", "the signature is missing or not trusted"},
    {TARN_EXTRACT_STRUCTURE, "TARN_EXTRACT_STRUCTURE", "the structure is not that of a package"},
    {TARN_EXTRACT_PARAM, "TARN_EXTRACT_PARAM", "bad arguments, or no such package"},
    {TARN_EXTRACT_WRITE, "TARN_EXTRACT_WRITE", "the file could not be written"},
    {TARN_EXTRACT_MKDIR, "TARN_EXTRACT_MKDIR", "the directory could not be made"},
    {TARN_EXTRACT_CHMOD, "TARN_EXTRACT_CHMOD", "the mode could not be set"},
    {SWM_FAIL, "SWM_FAIL", "the package could not be opened or examined"},
};

constexpr LibraryResult kVerify[] = {
    {TARN_VERIFY_OK, "TARN_VERIFY_OK", "valid"},
    {TARN_VERIFY_MISMATCH, "TARN_VERIFY_MISMATCH", "the signature is not trusted, or a member is not what was signed"},
    {TARN_VERIFY_STRUCTURE, "TARN_VERIFY_STRUCTURE", "the structure is not that of a package"},
    {TARN_VERIFY_PARAM, "TARN_VERIFY_PARAM", "bad path, not a package name, or no such file"},
    {TARN_VERIFY_INTERNAL, "TARN_VERIFY_INTERNAL", "the check could not be carried out"},
    {SWM_FAIL, "SWM_FAIL", "the package could not be opened or examined"},
};

constexpr SignatureMeaning kSignature[] = {
    {SWM_CMS_NO_MEMORY, "the check itself failed", SignatureFault::System},
    {SWM_CMS_LIST_UNREADABLE, "the signed list cannot be read", SignatureFault::System},
    {SWM_CMS_LIST_TOO_LARGE, "the signed list is too large"},
    {SWM_CMS_SIGNATURE_UNREADABLE, "the signature cannot be read", SignatureFault::System},
    {SWM_CMS_SIGNATURE_TOO_LARGE, "the signature is too large"},
    {SWM_CMS_NOT_DER, "the signature is no CMS message in DER, or something follows it"},
    {SWM_CMS_NOT_SIGNED_DATA, "the CMS message is no signed data"},
    {SWM_CMS_CONTENT_TYPE, "the signature is over another type of content"},
    {SWM_CMS_NOT_DETACHED, "the signature brings its own content"},
    {SWM_CMS_SIGNER_COUNT, "there must be exactly one signer"},
    {SWM_CMS_NO_SIGNED_ATTRIBUTES, "the signature has no signed attributes"},
    {SWM_CMS_NOT_PSS, "the signature is not RSASSA-PSS"},
    {SWM_CMS_HASH, "the signature's hashes are weak or not one and the same"},
    {SWM_CMS_SALT, "the signature's salt is too short"},
    {SWM_CMS_CONTENT_CHANGED, "the signed list was changed after it was signed"},
    {SWM_CMS_NO_SIGNER_CERTIFICATE, "the signer's certificate is missing"},
    {SWM_CMS_KEY, "the signer's key is not RSA of at least 2048 bits"},
    {SWM_CMS_BAD_SIGNATURE, "the signature was changed, or made with another key"},
    {SWM_CMS_CONFIGURATION, "the platform's configuration is unusable", SignatureFault::Configuration},
    {SWM_CMS_NO_ANCHORS, "no trust anchors are configured", SignatureFault::Configuration},
    {SWM_CMS_BAD_ANCHORS, "the configured trust anchors cannot be used", SignatureFault::Configuration},
    {SWM_CMS_BAD_REVOCATION, "the configured revocation list cannot be used", SignatureFault::Configuration},
    {SWM_CMS_CHAIN, "the signer's certificate leads to no configured trust anchor"},
    {SWM_CMS_REVOKED, "the signer's certificate is revoked"},
    {SWM_CMS_NOT_COVERED, "no revocation list covers the signer"},
    {SWM_CMS_PURPOSE, "the signer's certificate is not meant for signing packages"},
};

// An unknown number is read as the last one, the general failure.
const LibraryResult &find(std::span<const LibraryResult> results, uint32_t number)
{
    for (const LibraryResult &result : results) {
        if (result.number == number) {
            return result;
        }
    }
    return results.back();
}

} // namespace

const LibraryResult &extractResult(uint32_t number)
{
    return find(kExtract, number);
}

const LibraryResult &verifyResult(uint32_t number)
{
    return find(kVerify, number);
}

const SignatureMeaning *signatureMeaning(uint32_t number)
{
    const auto *found = std::find_if(std::begin(kSignature), std::end(kSignature),
                                     [=](const SignatureMeaning &meaning) { return meaning.number == number; });
    return found == std::end(kSignature) ? nullptr : found;
}

} // namespace tarn::tool
