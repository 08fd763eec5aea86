// Detached CMS signatures over a fixed list, with a trust store, so that a sound one in the corpus gets all the way;
// over another list none may be accepted.
#include "fuzz_target.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <tarn_basic/crypto.h>

namespace {

std::string readFile(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string list;

} // namespace

// The configuration must be this user's own and the repository's files need not be: it is made anew.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    char pattern[] = "/tmp/cms_fuzz.XXXXXX";
    tarn::fuzz::require(mkdtemp(pattern) != nullptr, "a scratch directory can be made");
    static std::filesystem::path scratch;
    scratch = pattern;
    atexit([] { std::filesystem::remove_all(scratch); });
    const std::filesystem::path data = FUZZ_DATA_DIR;
    std::ofstream(scratch / "trust.pem") << readFile(data / "ca.pem");
    std::ofstream(scratch / "basic.conf") << "[trust]\nanchors = " << (scratch / "trust.pem").string() << "\n";
    std::filesystem::permissions(scratch / "basic.conf", std::filesystem::perms::owner_read);
    setenv("TARN_BASIC_CONFIG", (scratch / "basic.conf").c_str(), 1);
    list = readFile(data / "list.txt");
    tarn::fuzz::require(!list.empty(), "the list is there");

    const std::string sound = readFile(data / "list.cms");
    const SwmCmsMemRecord record = {reinterpret_cast<const uint8_t *>(list.data()), static_cast<uint32_t>(list.size()),
                                    reinterpret_cast<const uint8_t *>(sound.data()),
                                    static_cast<uint32_t>(sound.size())};
    tarn::fuzz::require(SWM_VerifyCmsFromMem(&record, 1) == 0, "the sound signature is accepted");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const SwmCmsMemRecord record = {reinterpret_cast<const uint8_t *>(list.data()), static_cast<uint32_t>(list.size()),
                                    data, static_cast<uint32_t>(size)};
    SWM_VerifyCmsFromMem(&record, 1);

    // Whatever the signature, it is not one of another list.
    std::string other = list;
    other.back() = static_cast<char>(other.back() ^ 1);
    const SwmCmsMemRecord foreign = {reinterpret_cast<const uint8_t *>(other.data()),
                                     static_cast<uint32_t>(other.size()), data, static_cast<uint32_t>(size)};
    tarn::fuzz::require(SWM_VerifyCmsFromMem(&foreign, 1) != 0, "no signature of another list is accepted");
    return 0;
}
