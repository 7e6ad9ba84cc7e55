#pragma once

#include <cstdint>

namespace halvora {

/// The bootloader's control-point protocol: request opcodes the phone writes, the codes of its notifications
/// and the status values of its responses.
class DFUOpcodes {
public:
    DFUOpcodes() = delete;

    /// Start an update; followed by the image type (new procedure) or alone (old procedure).
    static constexpr std::uint8_t kStartDFU = 0x01;
    /// Init packet; followed by kInitPacketStart or kInitPacketEnd.
    static constexpr std::uint8_t kInitDFUParameters = 0x02;
    /// From now on packet writes are image data.
    static constexpr std::uint8_t kReceiveFirmwareImage = 0x03;
    /// Check the image received.
    static constexpr std::uint8_t kValidateFirmware = 0x04;
    /// Start the new image and restart.
    static constexpr std::uint8_t kActivateAndReset = 0x05;
    /// Restart, dropping the update.
    static constexpr std::uint8_t kResetSystem = 0x06;
    /// Ask for a receipt notification every N packets; followed by N, 16 bits little-endian.
    static constexpr std::uint8_t kPacketReceiptNotificationRequest = 0x08;

    /// Image type of the start request: the application.
    static constexpr std::uint8_t kImageTypeApplication = 0x04;
    /// Init packet: data follows on the packet characteristic.
    static constexpr std::uint8_t kInitPacketStart = 0x00;
    /// Init packet: data complete.
    static constexpr std::uint8_t kInitPacketEnd = 0x01;

    /// Notification code: a response to a request (byte 1 the request's opcode, byte 2 the status).
    static constexpr std::uint8_t kResponseCode = 0x10;
    /// Notification code: a packet receipt.
    static constexpr std::uint8_t kPacketReceiptNotification = 0x11;

    /// Response status: success.
    static constexpr std::uint8_t kStatusSuccess = 1;
    /// Response status: invalid state.
    static constexpr std::uint8_t kStatusInvalidState = 2;
    /// Response status: the request is not supported (an old bootloader's answer to the new start).
    static constexpr std::uint8_t kStatusNotSupported = 3;
    /// Response status: more data than announced.
    static constexpr std::uint8_t kStatusDataSizeExceeds = 4;
    /// Response status: the image failed its check.
    static constexpr std::uint8_t kStatusCRCError = 5;
    /// Response status: the operation failed.
    static constexpr std::uint8_t kStatusOperationFailed = 6;
};

}  // namespace halvora
