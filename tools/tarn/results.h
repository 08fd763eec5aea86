// Names and meanings of the library's result numbers.
#pragma once

#include "exit_status.h"

namespace tarn::tool {

// A result of TARN_ExtractFromPackage and of the steps that share its numbers.
const LibraryResult &extractResult(uint32_t number);

// A result of TARN_PackageVerify.
const LibraryResult &verifyResult(uint32_t number);

// SWM_OK and SWM_FAIL, for operations that know nothing finer.
const LibraryResult &statusResult(uint32_t number);

} // namespace tarn::tool
