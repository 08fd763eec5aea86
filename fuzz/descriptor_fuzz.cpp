// Lines of keys and values: the input's first line is the key, the others are the file.
#include "descriptor_reference.h"
#include "fuzz_target.h"

using namespace tarn::fuzz;
namespace reference = tarn::reference;

namespace {

template <size_t room> void checkValue(const char *path, std::string_view file, const std::string &key)
{
    char value[room];
    memset(value, 'x', sizeof(value));
    const uint32_t status = SWM_GetSecValueFromDesc(path, key.c_str(), value, room);
    const auto expected = reference::descriptorValue(file, key, room);
    require(status == (expected ? SWM_OK : SWM_FAIL), "a value is read unless it does not fit");
    const std::string text = expected.value_or("");
    require(memcmp(value, text.c_str(), text.size() + 1) == 0, "the value is that of the first line with the key");
    for (size_t i = text.size(); i < room; ++i) {
        require(value[i] == '\0', "the buffer is zero behind it");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ScratchFile file;
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    const size_t end = input.find('\n');
    const std::string key(input.substr(0, std::min(end, input.find('\0'))));
    if (end == input.npos || key.empty()) {
        return 0;
    }
    file.assign(data + end + 1, size - end - 1);
    const std::string_view text = input.substr(end + 1);
    checkValue<128>(file.path(), text, key);
    checkValue<4096>(file.path(), text, key);
    checkValue<1>(file.path(), text, key);
    for (const std::string &line : reference::piecesOf(text, 4095)) {
        require(SWM_IsInvalidLine(line.c_str()) == reference::isIgnored(line), "blank lines and comments are ignored");
        require(SWM_IsSection(line.c_str()) == (line.find(':') != line.npos), "a colon makes a section");
    }
    return 0;
}
