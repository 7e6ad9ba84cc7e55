#pragma once

#include <cstdint>
#include <vector>

// The event script a driver's fuzz target runs. An input is a sequence of events, each an operation byte
// (taken modulo kOperationCount) followed by its operands:
//
//   Notify      characteristic index (modulo the peripheral's characteristics), length, bytes
//   Command     command index (modulo the target's commands), then whatever the command reads
//   Advance     n: virtual time moves on n * n * 4 ms (0 to 260 s, so that 60 s time-outs are crossed)
//   Disconnect  the link drops (the driver is told, the peripheral is disconnected)
//   Reconnect   the link comes back and the driver discovers its services again
//   Settle      everything due now runs
//
// The seed generator writes the same script from the frames the lab's devices send.
namespace halvora::fuzz {

enum class Operation : std::uint8_t { Notify, Command, Advance, Disconnect, Reconnect, Settle };
inline constexpr std::uint8_t kOperationCount = 6;

/// Appends a notification event.
inline void appendNotify(std::vector<std::uint8_t>& script, std::uint8_t characteristic,
                         const std::vector<std::uint8_t>& value) {
    script.push_back(static_cast<std::uint8_t>(Operation::Notify));
    script.push_back(characteristic);
    const std::size_t length = value.size() > 255 ? 255 : value.size();
    script.push_back(static_cast<std::uint8_t>(length));
    script.insert(script.end(), value.begin(), value.begin() + static_cast<std::ptrdiff_t>(length));
}

/// Appends a command event with its operand bytes.
inline void appendCommand(std::vector<std::uint8_t>& script, std::uint8_t command,
                          const std::vector<std::uint8_t>& operands = {}) {
    script.push_back(static_cast<std::uint8_t>(Operation::Command));
    script.push_back(command);
    script.insert(script.end(), operands.begin(), operands.end());
}

/// Appends a step of virtual time of about `milliseconds` (rounded to the script's steps).
inline void appendAdvance(std::vector<std::uint8_t>& script, int milliseconds) {
    int n = 0;
    while (n < 255 && (n + 1) * (n + 1) * 4 <= milliseconds) ++n;
    script.push_back(static_cast<std::uint8_t>(Operation::Advance));
    script.push_back(static_cast<std::uint8_t>(n));
}

}  // namespace halvora::fuzz
