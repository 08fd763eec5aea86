// Names of members: the two kept for the signature, and what a name may look like.
#pragma once

#include <algorithm>
#include <string_view>

namespace tarn::packaging {

inline constexpr char kListName[] = "signature_pss_filelist";
inline constexpr char kSignatureName[] = "signature_pss_cms";

// Extraction uses names as they stand, below the destination directory: a path would lead out of it.
inline bool isPlainFileName(std::string_view name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

inline bool hasControlCharacters(std::string_view text)
{
    return std::any_of(text.begin(), text.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte == 0x7F;
    });
}

} // namespace tarn::packaging
