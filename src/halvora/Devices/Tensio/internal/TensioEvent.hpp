#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "halvora/Core/DeviceReport.hpp"

namespace halvora {

/// A six-byte frame of the wrist blood-pressure bracelet, 5A 00 02 b3 b4 b5: an acknowledgement, an error, a
/// count or a live cuff pressure, told apart by b3.
class TensioEvent {
public:
    /// Bytes of an event.
    static constexpr std::size_t kLength = 6;
    /// b3 of an acknowledgement.
    static constexpr std::uint8_t kAcknowledgement = 0x40;
    /// b5 of the plain acknowledgement 40 00 42.
    static constexpr std::uint8_t kAcknowledgementEnd = 0x42;
    /// b3 of a measurement error (sub-code in b4).
    static constexpr std::uint8_t kMeasurementError = 0x50;
    /// b3 of an error without a code.
    static constexpr std::uint8_t kPlainError = 0x51;
    /// b3 of a device error (sub-code in b4).
    static constexpr std::uint8_t kDeviceError = 0x52;
    /// b3 of a count (in b4).
    static constexpr std::uint8_t kCount = 0x60;

    /// What the event is, by b3.
    enum class Kind {
        Acknowledgement,  ///< 40
        Error,            ///< 50, 51, 52
        Count,            ///< 60
        Pressure,         ///< anything else: a cuff pressure b3 x 256 + b4
    };

    /// The event of a frame of at least six bytes; nothing for a shorter one.
    static std::optional<TensioEvent> fromFrame(std::span<const std::uint8_t> frame);

    /// Whether it answers the request in progress: b3 is 40, b4 is 0 or b5 is 42.
    bool answersRequest() const;
    /// Exactly 40 00 42.
    bool isPlainAcknowledgement() const;
    /// The kind, by b3.
    Kind kind() const;
    /// For an error: the code its sub-code maps to, or no code.
    DeviceError error() const;
    /// For a count: b4.
    std::int32_t count() const { return b4_; }
    /// For a pressure: b3 x 256 + b4.
    std::int32_t pressure() const;

private:
    TensioEvent(std::uint8_t b3, std::uint8_t b4, std::uint8_t b5) : b3_(b3), b4_(b4), b5_(b5) {}

    std::uint8_t b3_;
    std::uint8_t b4_;
    std::uint8_t b5_;
};

}  // namespace halvora
