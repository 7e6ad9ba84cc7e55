// Intel HEX conversion of a 1 MiB firmware image: the kit's converter against binutils' objcopy on the same
// file, in the same run. Both read the file and write the binary image to a file, so the figures compare the
// whole job a tool would do; objcopy's process start is part of its cost, as it is for anyone who runs it.
// The counter `ratio` is the kit's time over objcopy's (goal: at most 1.0).
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "halvora/DFU/IntelHex2BinConverter.hpp"

namespace {

using namespace halvora;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kImageBytes = 1 << 20;
constexpr std::size_t kBytesPerRecord = 16;
constexpr unsigned kImageStart = 0x1000;

void appendRecord(std::string& text, unsigned address, unsigned type, const std::uint8_t* data, std::size_t n) {
    char field[16];
    unsigned sum = static_cast<unsigned>(n) + (address >> 8) + (address & 0xFF) + type;
    std::snprintf(field, sizeof field, ":%02zX%04X%02X", n, address & 0xFFFF, type);
    text += field;
    for (std::size_t i = 0; i < n; ++i) {
        std::snprintf(field, sizeof field, "%02X", data[i]);
        text += field;
        sum += data[i];
    }
    std::snprintf(field, sizeof field, "%02X\n", (256 - sum % 256) % 256);
    text += field;
}

/// A contiguous 1 MiB image from 0x1000 on, across 64 KiB blocks (objcopy writes exactly the image).
std::string makeHexText() {
    std::string text;
    text.reserve(kImageBytes / kBytesPerRecord * 44 + 256);
    std::uint32_t x = 1;
    unsigned block = 0;
    std::uint8_t data[kBytesPerRecord];
    for (std::size_t offset = 0; offset < kImageBytes; offset += kBytesPerRecord) {
        const unsigned address = static_cast<unsigned>(kImageStart + offset);
        if (address >> 16 != block) {
            block = address >> 16;
            const std::uint8_t value[2] = {static_cast<std::uint8_t>(block >> 8), static_cast<std::uint8_t>(block)};
            appendRecord(text, 0, 4, value, 2);
        }
        for (auto& byte : data) {
            x = x * 1103515245u + 12345u;
            byte = static_cast<std::uint8_t>(x >> 16);
        }
        appendRecord(text, address, 0, data, kBytesPerRecord);
    }
    appendRecord(text, 0, 1, nullptr, 0);
    return text;
}

struct Files {
    std::filesystem::path folder = std::filesystem::temp_directory_path() / "halvora-hex-bench";
    std::filesystem::path hex = folder / "image.hex";
    std::filesystem::path kitOut = folder / "kit.bin";
    std::filesystem::path objcopyOut = folder / "objcopy.bin";
    Files() {
        std::filesystem::create_directories(folder);
        std::ofstream(hex, std::ios::binary) << makeHexText();
    }
    ~Files() { std::filesystem::remove_all(folder); }
};

/// Reads the HEX file, converts it and writes the image; returns the image's size.
std::size_t convertWithKit(const Files& files) {
    std::ifstream in(files.hex, std::ios::binary);
    const std::vector<std::uint8_t> text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const auto image = IntelHex2BinConverter::convert(text);
    if (!image) return 0;
    std::ofstream out(files.kitOut, std::ios::binary);
    out.write(reinterpret_cast<const char*>(image->data()), static_cast<std::streamsize>(image->size()));
    return image->size();
}

/// Runs objcopy on the same file; false when it could not run or failed.
bool convertWithObjcopy(const Files& files) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::execlp("objcopy", "objcopy", "-I", "ihex", "-O", "binary", files.hex.c_str(), files.objcopyOut.c_str(),
                 static_cast<char*>(nullptr));
        ::_exit(127);
    }
    int status = 0;
    return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::vector<char> readAll(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

double seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

void BM_HexConversionAgainstObjcopy(benchmark::State& state) {
    Files files;
    double kit = 0, objcopy = 0;
    for (auto _ : state) {
        auto start = Clock::now();
        const std::size_t size = convertWithKit(files);
        kit += seconds(Clock::now() - start);
        start = Clock::now();
        const bool ran = convertWithObjcopy(files);
        objcopy += seconds(Clock::now() - start);
        if (size != kImageBytes || !ran) {
            state.SkipWithError(ran ? "the kit's image has the wrong size" : "objcopy did not run");
            return;
        }
    }
    if (readAll(files.kitOut) != readAll(files.objcopyOut)) {
        state.SkipWithError("the kit's image and objcopy's differ");
        return;
    }
    const double runs = static_cast<double>(state.iterations());
    state.counters["kit_ms"] = kit / runs * 1000;
    state.counters["objcopy_ms"] = objcopy / runs * 1000;
    state.counters["ratio"] = kit / objcopy;
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kImageBytes));
}
BENCHMARK(BM_HexConversionAgainstObjcopy)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
