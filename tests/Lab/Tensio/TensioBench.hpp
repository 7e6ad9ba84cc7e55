#pragma once

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "../SerialDeviceBench.hpp"
#include "lab/Devices/Tensio/VirtualTensioBracelet.hpp"
#include "support/Hex.hpp"

namespace halvora::lab::test {

using Bytes = std::vector<std::uint8_t>;
using Frames = std::vector<Bytes>;

/// A virtual blood-pressure bracelet in range of a recorded central: connected, discovered and notifying, on a
/// virtual clock.
struct TensioBench : SerialDeviceBench<VirtualTensioBracelet> {
    static inline const std::string kIdentifier = "B9700000-0000-4000-8000-0000000000B5";
    /// Enough for a write to reach the bracelet and its answers to come back, well inside a pressure interval.
    static constexpr auto kRoundTrip = std::chrono::milliseconds(100);

    explicit TensioBench(const TensioScript& script = {}, std::uint64_t seed = 1)
        : SerialDeviceBench(scripted(script), kIdentifier, seed) {
        startNotifications();
        lab.settle();
        log->take();
    }

    static std::shared_ptr<VirtualTensioBracelet> scripted(const TensioScript& script) {
        auto bracelet = VirtualTensioBracelet::make(kIdentifier);
        bracelet->setScript(script);
        return bracelet;
    }

    /// Writes `frame` as the phone does and returns what came back within a round trip.
    Frames ask(const Bytes& frame) {
        peripheral->writeValue(frame, write, WriteType::WithoutResponse);
        lab.executor->advance(kRoundTrip);
        return log->take();
    }
    /// The same for a frame given as hex ("5A 00 02 04 00 06").
    Frames ask(const std::string& hexFrame) { return ask(halvora::test::bytes(hexFrame)); }
    /// Lets `time` pass and returns what the bracelet sent meanwhile.
    Frames after(Duration time) {
        lab.executor->advance(time);
        return log->take();
    }

    /// The phone's six-byte command 5A 00 02 c p k, k = 02 ^ c ^ p.
    static Bytes command(std::uint8_t code, std::uint8_t parameter) {
        return {0x5A, 0x00, 0x02, code, parameter, static_cast<std::uint8_t>(0x02 ^ code ^ parameter)};
    }
    /// The phone's eleven-byte frame 5A 00 07 c v0..v5 k, k = v0 ^ ... ^ v5 ^ 07.
    static Bytes setting(std::uint8_t code, const std::array<std::uint8_t, 6>& values) {
        Bytes frame{0x5A, 0x00, 0x07, code};
        std::uint8_t check = 0x07;
        for (auto v : values) {
            frame.push_back(v);
            check ^= v;
        }
        frame.push_back(check);
        return frame;
    }
    /// Whether `frame` is 5A 00 LEN ... of LEN + 4 bytes whose last byte is the XOR of the bytes from LEN on.
    static bool wellFormed(const Bytes& frame) {
        if (frame.size() < 4 || frame[0] != 0x5A || frame[1] != 0x00 || frame.size() != frame[2] + 4U) return false;
        std::uint8_t check = 0;
        for (std::size_t i = 2; i + 1 < frame.size(); ++i) check ^= frame[i];
        return check == frame.back();
    }
    /// Frames as hex, one per line, for comparisons that print well.
    static std::string hex(const Frames& frames) {
        std::string text;
        for (const auto& frame : frames) text += halvora::test::hex(frame) + "\n";
        return text;
    }

    std::shared_ptr<VirtualTensioBracelet> bracelet = device;
};

/// A time given as "yyyy-MM-dd HH:mm[:ss]".
inline BraceletTime tensioTime(const char* text) {
    return BraceletTime::parse(text).value();
}

/// The acknowledgement, as hex.
inline constexpr const char* kAck = "5A 00 02 40 00 42";

}  // namespace halvora::lab::test
