// A CMS signature by itself: its form, its signer, its value. Whether the signer is trusted is cms_trust.h.
#pragma once

#include <span>

#include <tarn_basic/crypto.h>

#include "cms_handles.h"

namespace tarn::basic {

using Bytes = std::span<const uint8_t>;

struct SignedMessage {
    CmsMessage message;
    Certificates certificates; // all that came with it, none of them trusted
    X509 *signer = nullptr;    // one of these
};

// Accepts the form of the signature and checks it over the list.
SwmCmsResult checkMessage(Bytes list, Bytes signature, SignedMessage *out);

} // namespace tarn::basic
