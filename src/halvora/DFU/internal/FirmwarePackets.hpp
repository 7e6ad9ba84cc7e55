#pragma once

#include <cstddef>

#include "halvora/DFU/FileOperations.hpp"

namespace halvora {

/// The packet arithmetic of an image sent to the bootloader: 20-byte packets, the last one holding the rest.
class FirmwarePackets {
public:
    FirmwarePackets() = delete;

    /// Bytes in every packet but the last.
    static constexpr std::size_t kPacketSize = FileOperations::kPacketSize;

    /// size / 20, rounded up.
    static constexpr std::size_t packetCount(std::size_t size) { return (size + kPacketSize - 1) / kPacketSize; }
    /// size mod 20, or 20 when that is 0 (also for an empty image, which has no packet at all).
    static constexpr std::size_t bytesInLastPacket(std::size_t size) {
        return size % kPacketSize == 0 ? kPacketSize : size % kPacketSize;
    }
};

}  // namespace halvora
