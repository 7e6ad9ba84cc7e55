#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "../SerialDeviceBench.hpp"
#include "lab/Devices/RM830/VirtualRM830.hpp"
#include "support/Hex.hpp"

namespace halvora::lab::test {

using Bytes = std::vector<std::uint8_t>;
using Frames = std::vector<Bytes>;

/// A virtual RM830 in range of a recorded central: connected, discovered and notifying, on a virtual clock.
struct RM830Bench : SerialDeviceBench<VirtualRM830> {
    static inline const std::string kIdentifier = "B8300000-0000-4000-8000-000000000830";
    /// Enough for a write to reach the bracelet and its answers to come back, well inside a stream's second.
    static constexpr auto kRoundTrip = std::chrono::milliseconds(100);

    explicit RM830Bench(const RM830Script& script = {}, std::uint64_t seed = 1,
                        const std::string& name = VirtualRM830::kName)
        : SerialDeviceBench(scripted(script, name), kIdentifier, seed) {
        startNotifications();
        lab.settle();
        log->take();
    }

    static std::shared_ptr<VirtualRM830> scripted(const RM830Script& script, const std::string& name) {
        auto bracelet = VirtualRM830::make(kIdentifier, -60, name);
        bracelet->setScript(script);
        return bracelet;
    }

    /// Writes `frame` as the phone does and returns what came back within a round trip.
    Frames ask(const Bytes& frame) {
        peripheral->writeValue(frame, write, WriteType::WithoutResponse);
        lab.executor->advance(kRoundTrip);
        return log->take();
    }
    /// The same for a frame given as hex ("01 18 07 ...").
    Frames ask(const std::string& hexFrame) { return ask(halvora::test::bytes(hexFrame)); }
    /// Lets `time` pass and returns what the bracelet sent meanwhile.
    Frames after(Duration time) {
        lab.executor->advance(time);
        return log->take();
    }

    /// A command frame: `code`, then `parameters`, zeros up to byte 14 and the checksum in byte 15.
    static Bytes command(std::uint8_t code, const Bytes& parameters = {}) {
        Bytes frame(16, 0);
        frame[0] = code;
        for (std::size_t i = 0; i < parameters.size() && i < 14; ++i) frame[1 + i] = parameters[i];
        unsigned sum = 0;
        for (std::size_t i = 0; i < 15; ++i) sum += frame[i];
        frame[15] = static_cast<std::uint8_t>(sum);
        return frame;
    }
    /// Whether the last byte of `frame` is the low byte of the sum of the others.
    static bool checksumHolds(const Bytes& frame) {
        if (frame.size() < 2) return false;
        unsigned sum = 0;
        for (std::size_t i = 0; i + 1 < frame.size(); ++i) sum += frame[i];
        return static_cast<std::uint8_t>(sum) == frame.back();
    }
    /// Frames as hex, one per line, for comparisons that print well.
    static std::string hex(const Frames& frames) {
        std::string text;
        for (const auto& frame : frames) text += halvora::test::hex(frame) + "\n";
        return text;
    }
    /// Sets the bracelet's clock, as the phone does, to yy-MM-dd HH:mm:ss given as BCD bytes.
    void setClock(const Bytes& bcd) { ask(command(0x01, {bcd[0], bcd[1], bcd[2], bcd[3], bcd[4], bcd[5], 0x01})); }

    std::shared_ptr<VirtualRM830> bracelet = device;
};

/// A time given as "yyyy-MM-dd HH:mm[:ss]".
inline BraceletTime timeAt(const char* text) {
    return BraceletTime::parse(text).value();
}

}  // namespace halvora::lab::test
