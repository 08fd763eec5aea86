// The library's CRC over 64 MiB against a loop over one table, and against one over eight, compiled with the same
// flags.
#include <array>
#include <cstdint>
#include <random>

#include <tarn_boot/verification.h>

#include "measure.h"

using namespace tarn::bench;

namespace {

constexpr size_t kBytes = size_t{64} << 20;
constexpr size_t kRuns = 9;

using Table = std::array<uint16_t, 256>;

Table makeTable()
{
    Table table = {};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        unsigned crc = byte << 8;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc << 1) ^ ((crc & 0x8000U) != 0 ? 0x1021U : 0U);
        }
        table[byte] = static_cast<uint16_t>(crc);
    }
    return table;
}

uint16_t withOneTable(const std::vector<uint8_t> &bytes, const Table &table)
{
    uint16_t crc = 0;
    for (const uint8_t byte : bytes) {
        crc = static_cast<uint16_t>(table[byte ^ (crc >> 8)] ^ ((crc & 0xFF) << 8));
    }
    return crc;
}

uint16_t withEightTables(const std::vector<uint8_t> &bytes, const Table &table)
{
    std::array<Table, 8> tables = {table};
    for (size_t slice = 1; slice < tables.size(); ++slice) {
        for (size_t byte = 0; byte < table.size(); ++byte) {
            const uint16_t before = tables[slice - 1][byte];
            tables[slice][byte] = static_cast<uint16_t>(table[before >> 8] ^ ((before & 0xFF) << 8));
        }
    }
    uint16_t crc = 0;
    for (const uint8_t *at = bytes.data(); at != bytes.data() + bytes.size(); at += tables.size()) {
        uint16_t next = static_cast<uint16_t>(tables[7][at[0] ^ (crc >> 8)] ^ tables[6][at[1] ^ (crc & 0xFF)]);
        for (size_t i = 2; i < tables.size(); ++i) {
            next = static_cast<uint16_t>(next ^ tables[7 - i][at[i]]);
        }
        crc = next;
    }
    return crc;
}

} // namespace

int main()
{
    std::vector<uint8_t> bytes(kBytes);
    std::mt19937 random(1);
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<uint8_t>(random()); });
    const Table table = makeTable();
    uint16_t ours = 0;
    volatile uint16_t plain = 0;
    volatile uint16_t sliced = 0;
    std::vector<double> times[3];
    for (size_t run = 0; run < kRuns; ++run) {
        times[0].push_back(secondsOf(
            [&] { require(SWM_CrcCheck(bytes.data(), static_cast<uint32_t>(kBytes), &ours) == SWM_OK, "CRC"); }));
        times[1].push_back(secondsOf([&] { plain = withOneTable(bytes, table); }));
        times[2].push_back(secondsOf([&] { sliced = withEightTables(bytes, table); }));
    }
    require(ours == plain && ours == sliced, "all three agree");
    const auto speed = [](double seconds) { return static_cast<double>(kBytes) / seconds / 1e9; };
    const double own = median(times[0]);
    printf("  %.2f GB/s; one table %.2f GB/s, ratio of times %.2f; eight tables %.2f GB/s, ratio %.2f\n", speed(own),
           speed(median(times[1])), own / median(times[1]), speed(median(times[2])), own / median(times[2]));
    return 0;
}
