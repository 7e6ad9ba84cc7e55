#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// The RM830 bootloader's update protocol, from the bracelet's side. The lab reads and writes these bytes
// with its own helpers, never with the kit's, so that a misunderstanding cannot hide on both sides.
namespace halvora::lab::rm830updater {

// Control-point requests from the phone (byte 0).
constexpr std::uint8_t kStart = 0x01;             ///< 01 04 (new procedure, image type) or 01 alone (old)
constexpr std::uint8_t kInitPacket = 0x02;        ///< 02 00 start, 02 01 end
constexpr std::uint8_t kReceiveImage = 0x03;      ///< packets are image data from now on
constexpr std::uint8_t kValidate = 0x04;          ///< check the image received
constexpr std::uint8_t kActivateAndReset = 0x05;  ///< run the new image
constexpr std::uint8_t kReset = 0x06;             ///< back to the old firmware
constexpr std::uint8_t kReceiptInterval = 0x08;   ///< 08 NN NN: a receipt every NN packets (little-endian)

// Request parameters.
constexpr std::uint8_t kApplicationImage = 0x04;
constexpr std::uint8_t kInitPacketStart = 0x00;
constexpr std::uint8_t kInitPacketEnd = 0x01;
/// The lengths of the requests (with their opcode) the bootloader takes; another length is not supported.
constexpr std::size_t kSimpleRequestLength = 1;
constexpr std::size_t kNewStartLength = 2;
constexpr std::size_t kInitPacketLength = 2;
constexpr std::size_t kReceiptIntervalLength = 3;

// Control-point notifications: 10 OP ST answers request OP with status ST; 11 and the bytes received so far
// (32-bit little-endian) is a packet receipt.
constexpr std::uint8_t kResponse = 0x10;
constexpr std::uint8_t kReceipt = 0x11;

// Statuses of a response.
constexpr std::uint8_t kSuccess = 1;
constexpr std::uint8_t kInvalidState = 2;
constexpr std::uint8_t kNotSupported = 3;
constexpr std::uint8_t kDataSizeExceeds = 4;
constexpr std::uint8_t kCrcError = 5;
constexpr std::uint8_t kOperationFailed = 6;

// What the packet characteristic carries after a start request: the new procedure's three sizes (soft
// device, boot loader, application, 32-bit little-endian each) or the old procedure's one size.
constexpr std::size_t kSizesLength = 12;
constexpr std::size_t kOldSizeLength = 4;
constexpr std::size_t kApplicationSizeOffset = 8;

// The kit's firmware image starts with "J055" and the four version bytes (signed).
constexpr std::string_view kImageMagic = "J055";
constexpr std::size_t kImageHeaderLength = 8;

/// The three sizes of the new procedure's start.
struct ImageSizes {
    std::uint32_t softDevice = 0;
    std::uint32_t bootloader = 0;
    std::uint32_t application = 0;
};

/// 10, `opcode`, `status`.
std::vector<std::uint8_t> response(std::uint8_t opcode, std::uint8_t status);
/// 11 and the low 32 bits of `bytes` little-endian.
std::vector<std::uint8_t> receipt(std::uint64_t bytes);
/// The 32-bit little-endian number at `offset`; nothing when `bytes` is too short.
std::optional<std::uint32_t> littleEndian32(std::span<const std::uint8_t> bytes, std::size_t offset);
/// The new procedure's sizes from a packet of exactly kSizesLength bytes; nothing for another length.
std::optional<ImageSizes> newProcedureSizes(std::span<const std::uint8_t> packet);
/// The old procedure's application size from a packet of exactly kOldSizeLength bytes.
std::optional<std::uint32_t> oldProcedureSize(std::span<const std::uint8_t> packet);
/// The version an image carries in its header ("J055" and four signed bytes, as "54.51.56.1"); nothing
/// for an image without that header.
std::optional<std::string> imageVersion(std::span<const std::uint8_t> image);

}  // namespace halvora::lab::rm830updater
