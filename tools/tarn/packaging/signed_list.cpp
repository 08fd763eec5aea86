// The signed file list's text, for both of its readers: one takes every section for a file, the other leaves out the
// first, which introduces the list.
#include "packaging/signed_list.h"

#include "packaging/error.h"

namespace tarn::packaging {

namespace {

constexpr char kProducer[] = "Korvel Technology Inc.";
constexpr size_t kMaxListedFiles = 256;

std::string fileKeys(const ListedFile &file)
{
    return "FILETYPE=" + std::to_string(file.type) + "\nFILENAME=" + file.fileName + "\nSHA256-DIGEST=" + file.digest +
           "\n";
}

} // namespace

std::string signedListText(const std::vector<ListedFile> &files)
{
    if (files.empty() || files.size() > kMaxListedFiles) {
        throw PackagingError("a signed list names 1 to " + std::to_string(kMaxListedFiles) + " files, not " +
                             std::to_string(files.size()));
    }
    std::string text = std::string("[MAIN FILE INFO]\nCreate By=") + kProducer +
                       "\nFILENUM=" + std::to_string(files.size()) + "\n" + fileKeys(files.front());
    for (size_t index = 0; index < files.size(); ++index) {
        text += "\n[FILE " + std::to_string(index + 1) + "]\n" + fileKeys(files[index]);
    }
    return text;
}

} // namespace tarn::packaging
