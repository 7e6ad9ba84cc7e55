#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "../SerialDeviceBench.hpp"
#include "lab/Devices/Bracelet/VirtualBracelet.hpp"

namespace halvora::lab::test {

/// A virtual bracelet in range of a recorded central: connected, discovered and, unless asked otherwise,
/// notifying, on a virtual clock.
struct BraceletBench : SerialDeviceBench<VirtualBracelet> {
    static inline const std::string kIdentifier = "B5210000-0000-4000-8000-00000000B521";

    explicit BraceletBench(const BraceletScript& script = {}, std::uint64_t seed = 1, bool notifying = true)
        : SerialDeviceBench(scripted(script), kIdentifier, seed) {
        if (notifying) startNotifications();
    }

    static std::shared_ptr<VirtualBracelet> scripted(const BraceletScript& script) {
        auto bracelet = VirtualBracelet::make(kIdentifier);
        bracelet->setScript(script);
        return bracelet;
    }

    /// Writes `text` as the phone does, in writes of at most `writeSize` bytes, and lets a second pass.
    void send(const std::string& text, std::size_t writeSize = 20) {
        for (std::size_t at = 0; at < text.size(); at += writeSize) {
            const std::string part = text.substr(at, writeSize);
            peripheral->writeValue({part.begin(), part.end()}, write, WriteType::WithoutResponse);
        }
        lab.settle();
    }
    /// Sends one command line and returns what came back, as text.
    std::string ask(const std::string& command) {
        send(command + "\r\n");
        return text(log->take());
    }
    std::vector<std::vector<std::uint8_t>> received() { return log->take(); }

    static std::string text(const std::vector<std::vector<std::uint8_t>>& values) {
        std::string joined;
        for (const auto& v : values) joined.append(v.begin(), v.end());
        return joined;
    }
    static std::string text(const std::vector<std::uint8_t>& value) { return {value.begin(), value.end()}; }

    std::shared_ptr<VirtualBracelet> bracelet = device;
};

}  // namespace halvora::lab::test
