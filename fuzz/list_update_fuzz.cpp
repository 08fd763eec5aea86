// Comparing two lists against the plain algorithm: file lists, with answers about the installed files that the input
// decides, and link lists. Names, directories and digests come from few values, so that ties and duplicates abound.
//     byte 0: bit 0 the lists are left unsorted; bits 1 to 7 salt of the platform's answers
//     byte 1: how many of the records are old ones
//     then three bytes each record: key, other names, options
#include "list_check.h"

#include <cstring>
#include <string>

#include <tarn_basic/crypto.h>
#include <tarn_basic/path.h>
#include <tarn_boot/records.h>

#include "borrowed_list.h"
#include "list_update_reference.h"

using namespace tarn::fuzz;
using namespace tarn::reference;

namespace {

constexpr size_t kBytesPerRecord = 3;
uint8_t salt = 0;

// One of the platform's answers about a path: the same each time it is asked for.
unsigned answerAbout(const char *path, unsigned question)
{
    uint32_t hash = 2166136261u ^ salt ^ question << 8;
    for (; *path != '\0'; ++path) {
        hash = (hash ^ static_cast<unsigned char>(*path)) * 16777619u;
    }
    return hash >> 24;
}

bool isThere(const char *path)
{
    return answerAbout(path, 1) % 8 != 0;
}
bool isLink(const char *path)
{
    return answerAbout(path, 2) % 2 == 0;
}
bool isDamaged(const char *path)
{
    return answerAbout(path, 3) % 8 == 0;
}
bool hasDirname(const char *path)
{
    return answerAbout(path, 4) % 8 != 0;
}
bool hasTarget(const char *path)
{
    return answerAbout(path, 5) % 8 != 0;
}
std::string dirnameOf(const std::string &path)
{
    return path.substr(0, path.rfind('/'));
}
std::string targetOf(const char *path)
{
    return answerAbout(path, 6) % 4 == 0 ? "/elsewhere" : dirnameOf(path) + "/target";
}

uint32_t storeAnswer(const std::string &text, bool works, char *out, uint32_t outSize)
{
    snprintf(out, outSize, "%s", text.c_str());
    return works ? 0 : 1;
}

uint32_t updateType(const FilelistTxtRecord &oldRecord, const FilelistTxtRecord &newRecord)
{
    const int order = strcmp(oldRecord.poolName, newRecord.poolName);
    if (order != 0) {
        return order < 0 ? UPDATE_DEL : UPDATE_ADD;
    }
    if (memcmp(oldRecord.digest, newRecord.digest, sizeof(oldRecord.digest)) != 0) {
        return UPDATE_MODIFY;
    }
    const std::string path = std::string(oldRecord.installDir) + "/" + oldRecord.fileName;
    if (!isThere(path.c_str())) {
        return UPDATE_ADD;
    }
    if (isLink(path.c_str()) && path.find("patch/") != path.npos &&
        (!hasDirname(path.c_str()) || !hasTarget(path.c_str()) ||
         !targetOf(path.c_str()).starts_with(dirnameOf(path)))) {
        return UPDATE_ADD;
    }
    if (isDamaged(path.c_str())) {
        return UPDATE_MODIFY;
    }
    return newRecord.hasCol10 != 0 ? UPDATE_REFRESH : UPDATE_SAME;
}

// Bytes above 0x7F, prefixes of one another, and names that differ behind a long common part.
const char *keyOf(uint8_t byte)
{
    static constexpr const char *kKeys[] = {"",
                                            "a",
                                            "ab",
                                            "abc",
                                            "b",
                                            "\x80",
                                            "\xff",
                                            "a\x80",
                                            "pool/a-common-part-that-is-long/1",
                                            "pool/a-common-part-that-is-long/10",
                                            "pool/a-common-part-that-is-long/2",
                                            "pool/a-common-part-that-is-long/2\xc3\xa4",
                                            "pool/a-common-part-that-is-long/",
                                            "pool/a-common-part"};
    return kKeys[byte % std::size(kKeys)];
}

FilelistTxtRecord fileRecord(const uint8_t *bytes)
{
    static constexpr const char *kDirectories[] = {"/opt", "/opt/patch", "/opt/patch/1", ""};
    FilelistTxtRecord record = {};
    strcpy(record.poolName, keyOf(bytes[0]));
    strcpy(record.installDir, kDirectories[bytes[1] & 3]);
    record.fileName[0] = static_cast<char>('a' + (bytes[1] >> 2 & 1));
    record.entryName[0] = static_cast<char>('a' + (bytes[1] >> 3 & 1));
    record.digest[31] = bytes[1] >> 4 & 1;
    record.hasCol10 = bytes[2] & 1;
    // Told apart by what no comparison looks at: the first of equal records is the one that is kept.
    record.mode = bytes[2];
    return record;
}

LinklistRecord linkRecord(const uint8_t *bytes)
{
    LinklistRecord record = {};
    strcpy(record.linkPath, keyOf(bytes[0]));
    record.linkSource[0] = static_cast<char>('a' + (bytes[1] & 3));
    return record;
}

template <class Record, class Make>
std::vector<Record> recordsFrom(const uint8_t *data, size_t count, Make make, const char *(*key)(const Record &))
{
    std::vector<Record> records;
    for (size_t i = 0; i < count; ++i) {
        records.push_back(make(data + i * kBytesPerRecord));
    }
    if (key != nullptr) {
        std::stable_sort(records.begin(), records.end(),
                         [=](const Record &a, const Record &b) { return strcmp(key(a), key(b)) < 0; });
    }
    return records;
}

template <class Record> bool sameBytes(const Record &a, const Record &b)
{
    return memcmp(&a, &b, sizeof(a)) == 0;
}

template <class Node> using Records = std::vector<decltype(Node::record)>;

template <class Node, class Compare, class Add, class Release, class Expected>
void check(const Records<Node> &oldRecords, const Records<Node> &newRecords, Compare compare, Add add, Release release,
           Expected expected)
{
    using Record = decltype(Node::record);
    const BorrowedList<Node> oldList(oldRecords);
    const BorrowedList<Node> newList(newRecords);
    SwmListHead taken;
    SwmListHead dropped;
    require(compare(&oldList.head, &newList.head, &taken, &dropped) == SWM_OK, "comparing does not fail");
    const Changes<Record> changes = expected(oldRecords, newRecords);
    requireSame(recordsOf<Node>(taken), changes.taken, sameBytes<Record>, "what is new is what the plain walk finds");
    requireSame(recordsOf<Node>(dropped), changes.dropped, sameBytes<Record>, "so is what is to go");
    requireSame(recordsOf<Node>(oldList.head), oldRecords, sameBytes<Record>, "the old list is left as it was");
    requireSame(recordsOf<Node>(newList.head), newRecords, sameBytes<Record>, "so is the new one");

    // Into a list that may be in no order.
    const Node *start = oldList.nodes.empty() ? nullptr : &oldList.nodes[oldList.nodes.size() / 2];
    Records<Node> joined = changes.dropped;
    for (size_t i = oldRecords.size() / 2; i < oldRecords.size(); ++i) {
        addOnce(joined, oldRecords[i], expected.same);
    }
    require(add(&oldList.head, &dropped, start) == SWM_OK, "adding does not fail");
    requireSame(recordsOf<Node>(dropped), joined, sameBytes<Record>, "no record is added that is there");
    release(&taken);
    release(&dropped);
}

struct ExpectedFiles {
    static constexpr auto same = sameFile;
    auto operator()(const Records<FilelistTxtNode> &oldRecords, const Records<FilelistTxtNode> &newRecords) const
    {
        return compareFileLists(oldRecords, newRecords, updateType);
    }
};

struct ExpectedLinks {
    static constexpr auto same = sameLink;
    auto operator()(const Records<LinklistNode> &oldRecords, const Records<LinklistNode> &newRecords) const
    {
        return compareLinkLists(oldRecords, newRecords);
    }
};

} // namespace

extern "C" {

uint32_t SWM_IsFileExist(const char *path)
{
    return isThere(path);
}

uint32_t SWM_IsSymlinkFile(const char *path)
{
    return isLink(path);
}

uint32_t SWM_SHA_IsFileDamaged2(const char *path, const uint8_t *, uint32_t length)
{
    require(length == 32, "a digest has 32 bytes");
    return isDamaged(path);
}

uint32_t SWM_GetDirname(const char *path, char *out, uint32_t outSize)
{
    return storeAnswer(dirnameOf(path), hasDirname(path), out, outSize);
}

uint32_t TARN_GetLinkInfo(const char *path, char *out, uint32_t outSize)
{
    return storeAnswer(targetOf(path), hasTarget(path), out, outSize);
}

} // extern "C"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2) {
        return 0;
    }
    const bool unsorted = (data[0] & 1) != 0;
    salt = data[0] >> 1;
    const size_t count = (size - 2) / kBytesPerRecord;
    const size_t oldCount = std::min<size_t>(data[1], count);
    const uint8_t *oldBytes = data + 2;
    const uint8_t *newBytes = oldBytes + oldCount * kBytesPerRecord;

    const auto poolName =
        unsorted ? nullptr : +[](const FilelistTxtRecord &record) -> const char * { return record.poolName; };
    check<FilelistTxtNode>(recordsFrom<FilelistTxtRecord>(oldBytes, oldCount, fileRecord, poolName),
                           recordsFrom<FilelistTxtRecord>(newBytes, count - oldCount, fileRecord, poolName),
                           SWM_GetAllRecordNeedUpdate, SWM_AddSrcFileListToDstFileList, SWM_FreeFilelistTxtRecord,
                           ExpectedFiles());
    const auto linkPath =
        unsorted ? nullptr : +[](const LinklistRecord &record) -> const char * { return record.linkPath; };
    check<LinklistNode>(recordsFrom<LinklistRecord>(oldBytes, oldCount, linkRecord, linkPath),
                        recordsFrom<LinklistRecord>(newBytes, count - oldCount, linkRecord, linkPath),
                        SWM_GetAllLinkNeedUpdate, SWM_AddSrcListNodeToDstListNode, SWM_FreeLinklistRecord,
                        ExpectedLinks());
    return 0;
}
