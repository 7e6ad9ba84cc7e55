#pragma once

#include <cstdint>
#include <span>

namespace halvora {

/// The bootloader's last control-point notification: bytes 0, 1 and 2.
struct DFUResponse {
    /// Byte 0: 0x10 a response to a request, 0x11 a packet receipt.
    std::uint8_t responseCode = 0;
    /// Byte 1: the opcode of the request answered (responses).
    std::uint8_t requestedCode = 0;
    /// Byte 2: the status, 1 for success (responses).
    std::uint8_t responseStatus = 0;

    /// The first three bytes of `notification`; bytes it does not have read as 0.
    static DFUResponse from(std::span<const std::uint8_t> notification) {
        DFUResponse response;
        if (notification.size() > 0) response.responseCode = notification[0];
        if (notification.size() > 1) response.requestedCode = notification[1];
        if (notification.size() > 2) response.responseStatus = notification[2];
        return response;
    }
};

}  // namespace halvora
