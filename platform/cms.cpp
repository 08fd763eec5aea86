// Signatures over file lists: taking the two texts, and the order of the checks.
#include <openssl/err.h>

#include <tarn_basic/crypto.h>

#include "cms_message.h"
#include "cms_trust.h"
#include "file_io.h"

using namespace tarn::basic;

namespace {

constexpr size_t kMaxList = 4 * 1024 * 1024;
constexpr size_t kMaxSignature = 1024 * 1024;

// One of the two texts, in memory of our own: what was checked cannot be changed under us.
struct Input {
    SwmCmsResult unreadable;
    SwmCmsResult tooLarge;
    size_t limit;
    Block<char> content;
    size_t size = 0;

    Bytes bytes() const { return {reinterpret_cast<const uint8_t *>(content.get()), size}; }
    SwmCmsResult refusal() const
    {
        switch (errno) {
        case EFBIG:
            return tooLarge;
        case ENOMEM:
            return SWM_CMS_NO_MEMORY;
        default:
            return unreadable;
        }
    }
};

struct Inputs {
    Input list{SWM_CMS_LIST_UNREADABLE, SWM_CMS_LIST_TOO_LARGE, kMaxList, nullptr};
    Input signature{SWM_CMS_SIGNATURE_UNREADABLE, SWM_CMS_SIGNATURE_TOO_LARGE, kMaxSignature, nullptr};
};

SwmCmsResult takeFile(const char *path, Input *input)
{
    const Descriptor fd = openRegular(path, O_RDONLY);
    input->content = fd ? readWhole(fd.get(), input->limit, &input->size) : nullptr;
    return input->content != nullptr ? SWM_CMS_VALID : input->refusal();
}

// The memory may be a map of a file that has been cut short since: touching it would raise SIGBUS, while a system call
// that cannot read it says EFAULT. The pipe takes what fits into it without blocking.
bool copyThroughPipe(const uint8_t *from, size_t count, char *to)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return false;
    }
    const Descriptor out(ends[0]);
    const Descriptor in(ends[1]);
    constexpr size_t kPiece = 64 * 1024;
    for (size_t done = 0; done < count;) {
        const size_t piece = count - done < kPiece ? count - done : kPiece;
        const ssize_t written = retried([&] { return ::write(in.get(), from + done, piece); });
        if (written <= 0 || readFully(out.get(), to + done, static_cast<size_t>(written)) != written) {
            return false;
        }
        done += static_cast<size_t>(written);
    }
    return true;
}

SwmCmsResult takeMemory(const uint8_t *from, uint32_t count, Input *input)
{
    if (count > input->limit) {
        errno = EFBIG;
        return input->tooLarge;
    }
    input->content = allocateBytes(size_t{count} + 1);
    input->size = count;
    if (input->content == nullptr || !copyThroughPipe(from, count, input->content.get())) {
        return input->refusal();
    }
    return SWM_CMS_VALID;
}

uint32_t verify(const Inputs &inputs)
{
    // The caller's own errors stay, ours go.
    ERR_set_mark();
    SwmCmsResult result = SWM_CMS_VALID;
    {
        SignedMessage message;
        result = checkMessage(inputs.list.bytes(), inputs.signature.bytes(), &message);
        if (result == SWM_CMS_VALID) {
            result = checkTrust(message.signer, message.certificates.get());
        }
    }
    ERR_pop_to_mark();
    return result;
}

} // namespace

uint32_t SWM_VerifyPssCms(const char *listPath, const char *cmsPath)
{
    if (listPath == nullptr || cmsPath == nullptr) {
        errno = EINVAL;
        return SWM_CMS_ARGUMENT;
    }
    Inputs inputs;
    SwmCmsResult taken = takeFile(listPath, &inputs.list);
    taken = taken == SWM_CMS_VALID ? takeFile(cmsPath, &inputs.signature) : taken;
    return taken == SWM_CMS_VALID ? verify(inputs) : static_cast<uint32_t>(taken);
}

uint32_t SWM_VerifyCmsFromMem(const SwmCmsMemRecord *record, uint32_t mode)
{
    constexpr uint32_t kDetachedMode = 1;
    if (record == nullptr || record->content == nullptr || record->signature == nullptr || mode != kDetachedMode) {
        errno = EINVAL;
        return SWM_CMS_ARGUMENT;
    }
    Inputs inputs;
    SwmCmsResult taken = takeMemory(record->content, record->contentLength, &inputs.list);
    if (taken == SWM_CMS_VALID) {
        taken = takeMemory(record->signature, record->signatureLength, &inputs.signature);
    }
    return taken == SWM_CMS_VALID ? verify(inputs) : static_cast<uint32_t>(taken);
}
