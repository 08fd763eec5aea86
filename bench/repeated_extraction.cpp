// A second extraction from an unchanged package skips structure and signature: its cost against hash + copy + sync of
// the same bytes, in one process.
#include "bare_copy.h"

#include <benchmark/benchmark.h>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include <tarn_basic/log.h>
#include <tarn_boot/container.h>

#include "packaging/package.h"

void SWM_LogWrite(uint32_t, uint32_t, const char *, ...)
{
    // The benchmark's output is its numbers.
}

namespace {

constexpr size_t kPayload = 8u << 20;

struct Fixture {
    std::filesystem::path dir;
    std::filesystem::path package;

    Fixture()
    {
        char pattern[] = "/tmp/repeated_extraction.XXXXXX";
        dir = mkdtemp(pattern);
        const auto keys = tarn::packaging::makeDevelopmentKeys(dir / "keys", 2048);
        std::ofstream(dir / "basic.conf") << "[trust]\nanchors = " << keys.anchor.string() << "\n";
        setenv("TARN_BASIC_CONFIG", (dir / "basic.conf").c_str(), 1);
        std::ofstream payload(dir / "payload", std::ios::binary);
        std::mt19937_64 random(1);
        for (size_t i = 0; i < kPayload / sizeof(uint64_t); ++i) {
            const uint64_t word = random();
            payload.write(reinterpret_cast<const char *>(&word), sizeof(word));
        }
        payload.close();
        package = dir / "package.cc";
        const tarn::packaging::Signer signer(keys.key, keys.certificate);
        tarn::packaging::createPackage(package, {{dir / "payload", "payload"}}, &signer);
    }
    ~Fixture() { std::filesystem::remove_all(dir); }
};

const Fixture &fixture()
{
    static const Fixture made;
    return made;
}

void bareHashCopy(benchmark::State &state)
{
    const std::string destination = fixture().dir / "bare";
    for (auto _ : state) {
        bareHashCopySync(fixture().package.c_str(), 6180 + 352, kPayload, destination.c_str());
    }
}

void secondExtraction(benchmark::State &state)
{
    const std::string destination = fixture().dir / "out";
    for (auto _ : state) {
        if (TARN_ExtractFromPackage(fixture().package.c_str(), "payload", destination.c_str()) != TARN_EXTRACT_OK) {
            state.SkipWithError("not extracted");
            return;
        }
    }
}

} // namespace

BENCHMARK(bareHashCopy)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(secondExtraction)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_MAIN();
