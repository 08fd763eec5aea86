// Whether a signer may be believed: the configured anchors, revocation list and purpose.
#pragma once

#include <tarn_basic/crypto.h>

#include "cms_handles.h"

namespace tarn::basic {

// `others` are certificates that may link the signer to an anchor; they never become anchors themselves.
SwmCmsResult checkTrust(X509 *signer, STACK_OF(X509) * others);

} // namespace tarn::basic
