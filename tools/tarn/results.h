// Names and meanings of the library's result numbers.
#pragma once

#include "exit_status.h"

namespace tarn::tool {

// A result of TARN_ExtractFromPackage and of the steps that share its numbers.
const LibraryResult &extractResult(uint32_t number);

// A result of TARN_PackageVerify.
const LibraryResult &verifyResult(uint32_t number);

// What the platform found wrong with a signature (enum SwmCmsResult), in words; "" for a number it does not use.
const char *signatureMeaning(uint32_t number);

} // namespace tarn::tool
