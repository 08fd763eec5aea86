// Result numbers in words.
#include "results.h"

#include <span>

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

constexpr LibraryResult kStatus[] = {
    {SWM_OK, "SWM_OK", "success"},
    {SWM_FAIL, "SWM_FAIL", "failure"},
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

const LibraryResult &statusResult(uint32_t number)
{
    return find(kStatus, number);
}

} // namespace tarn::tool
