#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "../SerialDeviceBench.hpp"
#include "lab/Devices/Vital/VirtualVitalBracelet.hpp"
#include "support/Hex.hpp"

namespace halvora::lab::test {

using Bytes = std::vector<std::uint8_t>;
using Frames = std::vector<Bytes>;

/// A virtual Vital bracelet in range of a recorded central: connected, discovered and notifying, on a
/// virtual clock.
struct VitalBench : SerialDeviceBench<VirtualVitalBracelet> {
    static inline const std::string kIdentifier = "B2025E00-0000-4000-8000-00000000000A";
    /// Enough for a write to reach the bracelet and its answers to come back, well inside a stream's second.
    static constexpr auto kRoundTrip = std::chrono::milliseconds(100);

    explicit VitalBench(const VitalScript& script = {}, std::uint64_t seed = 1)
        : SerialDeviceBench(scripted(script), kIdentifier, seed) {
        startNotifications();
        lab.settle();
        log->take();
    }

    static std::shared_ptr<VirtualVitalBracelet> scripted(const VitalScript& script) {
        auto bracelet = VirtualVitalBracelet::make(kIdentifier);
        bracelet->setScript(script);
        return bracelet;
    }

    /// Writes `bytes` as the phone does (one write) and returns what came back within a round trip.
    Frames ask(const Bytes& bytes) {
        peripheral->writeValue(bytes, write, WriteType::WithoutResponse);
        lab.executor->advance(kRoundTrip);
        return log->take();
    }
    /// Writes `bytes` in pieces of 20 bytes, as the phone cuts its long writes, and returns what came back.
    Frames askInPieces(const Bytes& bytes) {
        for (std::size_t at = 0; at < bytes.size(); at += 20) {
            const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(at + 20, bytes.size()));
            peripheral->writeValue(Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(at), end), write,
                                   WriteType::WithoutResponse);
        }
        lab.executor->advance(kRoundTrip);
        return log->take();
    }
    /// Lets `time` pass and returns what the bracelet sent meanwhile.
    Frames after(Duration time) {
        lab.executor->advance(time);
        return log->take();
    }

    /// A 16-byte frame: `code`, then `payload`, zeros up to byte 14 and the low byte of the sum in byte 15
    /// (the phone's commands and the bracelet's answers share the layout).
    static Bytes frame(std::uint8_t code, const Bytes& payload = {}) {
        Bytes f(16, 0);
        f[0] = code;
        for (std::size_t i = 0; i < payload.size() && i < 14; ++i) f[1 + i] = payload[i];
        unsigned sum = 0;
        for (std::size_t i = 0; i < 15; ++i) sum += f[i];
        f[15] = static_cast<std::uint8_t>(sum);
        return f;
    }
    /// Frames as hex, one per line, for comparisons that print well.
    static std::string hex(const Frames& frames) {
        std::string text;
        for (const auto& f : frames) text += halvora::test::hex(f) + "\n";
        return text;
    }

    std::shared_ptr<VirtualVitalBracelet> bracelet = device;
};

}  // namespace halvora::lab::test
