// Names and meanings of the library's result numbers.
#pragma once

#include "exit_status.h"

namespace tarn::tool {

// A result of TARN_ExtractFromPackage and of the steps that share its numbers.
const LibraryResult &extractResult(uint32_t number);

// A result of TARN_PackageVerify.
const LibraryResult &verifyResult(uint32_t number);

// Why the platform did not accept a signature (enum SwmCmsResult). Only the first kind says something about the
// package.
enum class SignatureFault { Package, Configuration, System };

struct SignatureMeaning {
    uint32_t number;
    const char *text;
    SignatureFault fault = SignatureFault::Package;
};

// Null for a number that the platform does not use.
const SignatureMeaning *signatureMeaning(uint32_t number);

} // namespace tarn::tool
