#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "../SerialDeviceBench.hpp"
#include "lab/Devices/PillReminder/VirtualPillBox.hpp"
#include "support/Hex.hpp"

namespace halvora::lab::test {

using Bytes = std::vector<std::uint8_t>;
using Frames = std::vector<Bytes>;

/// A virtual pill box in range of a recorded central: connected, discovered and notifying on cd01, on a
/// virtual clock.
struct PillBoxBench : SerialDeviceBench<VirtualPillBox> {
    static inline const std::string kIdentifier = "9111B0C5-0000-4000-8000-0000000000D4";
    /// Enough for a write to reach the box and its replies to come back.
    static constexpr auto kRoundTrip = std::chrono::milliseconds(100);

    explicit PillBoxBench(const PillBoxScript& script = {}, std::uint64_t seed = 1)
        : SerialDeviceBench(scripted(script), kIdentifier, seed) {
        startNotifications();
        lab.settle();
        log->take();
        box->setScript(script);  // the scripted clock starts now, not when the bench connected
    }

    static std::shared_ptr<VirtualPillBox> scripted(const PillBoxScript& script) {
        auto box = VirtualPillBox::make(kIdentifier);
        box->setScript(script);
        return box;
    }

    /// Writes `frame` (at most 20 bytes) as the phone does and returns the notifications that came back.
    Frames ask(const Bytes& frame) {
        peripheral->writeValue(frame, write, WriteType::WithoutResponse);
        lab.executor->advance(kRoundTrip);
        return log->take();
    }
    /// The same for a frame given as hex ("AA 55 02 CE D0").
    Frames ask(const std::string& hexFrame) { return ask(halvora::test::bytes(hexFrame)); }

    /// Notifications as hex, one per line, for comparisons that print well.
    static std::string hex(const Frames& frames) {
        std::string text;
        for (const auto& frame : frames) text += halvora::test::hex(frame) + "\n";
        return text;
    }

    /// The replies in `notifications`, put together as the phone does: a reply is AA 55 len and len more
    /// bytes. Fails the test on bytes that make no reply.
    static Frames replies(const Frames& notifications) {
        Bytes all;
        for (const auto& n : notifications) all.insert(all.end(), n.begin(), n.end());
        Frames out;
        std::size_t at = 0;
        while (at + 3 <= all.size() && all[at] == 0xAA && all[at + 1] == 0x55 && at + 3 + all[at + 2] <= all.size()) {
            const std::size_t size = 3U + all[at + 2];
            out.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(at),
                             all.begin() + static_cast<std::ptrdiff_t>(at + size));
            at += size;
        }
        EXPECT_EQ(at, all.size()) << "bytes left over: " << halvora::test::hex(all);
        return out;
    }

    std::shared_ptr<VirtualPillBox> box = device;
};

/// A time given as "yyyy-MM-dd HH:mm[:ss]".
inline BraceletTime boxTime(const char* text) {
    return BraceletTime::parse(text).value();
}

inline constexpr const char* kBoxAck = "AA 55 02 F0 F2";
inline constexpr const char* kBoxRefusal = "AA 55 02 F1 F3";
inline constexpr const char* kBoxScheduleRefusal = "AA 55 02 FE 00";

}  // namespace halvora::lab::test
