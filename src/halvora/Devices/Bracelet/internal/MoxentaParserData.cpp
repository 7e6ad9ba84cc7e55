#include "halvora/Devices/Bracelet/internal/MoxentaParserData.hpp"

#include <algorithm>

namespace halvora {

namespace {

constexpr std::uint8_t kUnusedByte = 0xFF;
constexpr unsigned kFlagShift = 6;
constexpr std::uint8_t kTimeHighMask = 0x3F;

std::uint32_t bigEndian16(std::span<const std::uint8_t> bytes, std::size_t at) {
    return (std::uint32_t{bytes[at]} << 8) | bytes[at + 1];
}

}  // namespace

std::optional<MoxentaParserData> MoxentaParserData::parseData(std::span<const std::uint8_t> item, bool realTime) {
    if (!realTime) {
        const bool unused = std::all_of(item.begin(), item.end(), [](std::uint8_t b) { return b == kUnusedByte; });
        if (item.empty() || unused) return std::nullopt;
    }
    if (item.size() < (realTime ? kRealTimeItemSize : kItemSize)) return std::nullopt;
    MoxentaParserData data;
    data.flag = item[0] >> kFlagShift;
    data.time = (static_cast<std::uint32_t>(item[0] & kTimeHighMask) << 24) | (std::uint32_t{item[1]} << 16) |
                (std::uint32_t{item[2]} << 8) | item[3];
    data.value = bigEndian16(item, 4);
    data.value1 = realTime ? bigEndian16(item, 6) : 0;
    return data;
}

std::vector<std::span<const std::uint8_t>> MoxentaParserData::splitData(std::span<const std::uint8_t> data,
                                                                        std::size_t size) {
    std::vector<std::span<const std::uint8_t>> items;
    if (size == 0) return items;
    items.reserve(data.size() / size);
    for (std::size_t offset = 0; size <= data.size() - offset; offset += size) {
        items.push_back(data.subspan(offset, size));
    }
    return items;
}

std::vector<MoxentaParserData> MoxentaParserData::itemsOfPackage(std::span<const std::uint8_t> package,
                                                                 std::int32_t infoLength) {
    const std::size_t length = infoLength <= 0 ? 0 : std::min(package.size(), static_cast<std::size_t>(infoLength));
    std::vector<MoxentaParserData> items;
    for (const auto& item : splitData(package.first(length), kItemSize)) {
        if (auto decoded = parseData(item, false)) items.push_back(*decoded);
    }
    return items;
}

}  // namespace halvora
