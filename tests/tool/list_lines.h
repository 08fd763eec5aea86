// Lines of file lists for the tests of "tarn list".
#pragma once

#include <string>

#include "packaging/digest.h"

namespace tarn::test {

inline std::string sha256(const std::string &content)
{
    packaging::Sha256 digest;
    digest.update(content.data(), content.size());
    return digest.text();
}

struct FileLine {
    std::string poolName;
    std::string digest = sha256("content");
    std::string entryName = "entry";
    std::string directory = "/opt";
    std::string fileName = poolName;
    std::string mode = "0640";
    std::string options = "NA";

    std::string text() const
    {
        return digest + " " + entryName + " " + directory + " " + poolName + " " + fileName +
               " 5 tag root:0 users:100 " + mode + " " + options + " 0 extra -7\n";
    }
};

} // namespace tarn::test
