// Base of the tests of image lists.
#pragma once

#include "line_list_test.h"

namespace tarn::test {

using Names = std::vector<std::string>;

constexpr const char *kImageFile = "tarn_package_image_file.cpp";

inline LogLine nameNotConverted(const std::string &line)
{
    return errorOf(kImageFile, "SWM_BASE", "Trans to image list record unsuccessfully, line = %s", line.c_str());
}

inline const std::string kName127(127, 'n');
inline const std::string kName128(128, 'n');

class ImageListTest : public LineListTest {
protected:
    Names namesOf(const SwmListHead &head) const
    {
        Names names;
        for (const ImageNameNode *node : List::recordsOf<ImageNameNode>(head)) {
            names.emplace_back(node->record.name);
        }
        return names;
    }
    Names names() { return namesOf(*&list); }
    uint32_t read(const std::string &text)
    {
        writeFile(path, text);
        list.fillWithZeros();
        return SWM_GetAllImageName(path.c_str(), &list);
    }
    fs::path listOfBoard(const char *name = "image_filelist_1A_00000003.txt") const { return versionDir / name; }
};

} // namespace tarn::test
