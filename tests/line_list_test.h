// Base of the tests of image, link and loader lists: a list file, a package pool of one version, and a board.
#pragma once

#include <cstdarg>
#include <cstring>

#include <sys/stat.h>

#include <tarn_basic/log.h>
#include <tarn_boot/records.h>

#include "support/boot_test.h"

namespace tarn::test {

using Lines = std::vector<LogLine>;

class LineListTest : public BootTest {
protected:
    const fs::path path = dir / "list.txt";
    const fs::path versionDir = dir / "pool/pkg/1.0";
    const fs::path descDir = versionDir / "desc";

    void SetUp() override
    {
        fs::create_directories(descDir);
        setDevice("board_hard_type = 0x1A\ncpu_id = 3\n");
        setenv("TARN_BASIC_CONFIG", configuration.c_str(), 1);
        BootTest::SetUp();
    }
    void TearDown() override
    {
        BootTest::TearDown();
        setenv("TARN_BASIC_CONFIG", (programDir() / "basic.conf").c_str(), 1);
    }

    // What the platform tells about the board.
    void setDevice(const std::string &settings) const
    {
        writeFile(configuration, "[paths]\npackage_pool = " + (dir / "pool").string() + "\n[device]\n" + settings);
        fs::permissions(configuration, fs::perms(0600));
    }
    // A FIFO opens at once and then has neither data nor an end.
    fs::path makeUnreadable() const
    {
        const fs::path fifo = dir / "fifo";
        if (mkfifo(fifo.c_str(), 0600) != 0) {
            throw std::runtime_error("no FIFO");
        }
        return fifo;
    }

private:
    const fs::path configuration = dir / "basic.conf";
};

// An expected error line: "[BOOT][<tag>][ERROR][<file>:<any>]: ...".
__attribute__((format(printf, 3, 4))) inline LogLine errorOf(const char *file, const char *tag, const char *format, ...)
{
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    const std::string head = std::string("[BOOT][") + tag + "][ERROR]";
    return {0, SWM_LOG_ERROR, head + "[%s:%d]: " + format,
            head + "[" + file + ":" + std::to_string(kAnyNumber) + "]: " + text};
}

// Its format has the function's name in the literal.
inline LogLine nullParamOf(const char *file, const std::string &function)
{
    const std::string text = function + ": get null param.";
    LogLine line = errorOf(file, "SWM_BASE", "%s", text.c_str());
    line.format.replace(line.format.size() - 2, 2, text);
    return line;
}

// A call that must fail for a null or empty argument, and say so.
struct NullRow {
    const char *function;
    std::function<uint32_t()> run;
};

// A record behind a caller's array, to see whether anything is written there.
template <class Record> Record untouchedRecord()
{
    Record record;
    memset(&record, 0x5A, sizeof(record));
    return record;
}

template <class Record> bool isUntouched(const Record &record)
{
    const Record other = untouchedRecord<Record>();
    return memcmp(&record, &other, sizeof(record)) == 0;
}

} // namespace tarn::test
