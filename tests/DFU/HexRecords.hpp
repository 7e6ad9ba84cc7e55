#pragma once

// Small Intel HEX texts for the firmware tests: records with correct checksums (the converter does not check
// them, but the texts stay what a real tool would write).
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace halvora::test {

/// ":LLAAAATT<data>CC" with the two's-complement checksum.
inline std::string hexRecord(std::uint8_t type, std::uint16_t address, const std::vector<std::uint8_t>& data) {
    std::vector<std::uint8_t> fields = {static_cast<std::uint8_t>(data.size()), static_cast<std::uint8_t>(address >> 8),
                                        static_cast<std::uint8_t>(address & 0xFF), type};
    fields.insert(fields.end(), data.begin(), data.end());
    unsigned sum = 0;
    for (auto b : fields) sum += b;
    fields.push_back(static_cast<std::uint8_t>(-sum & 0xFF));
    std::string text = ":";
    char digits[3];
    for (auto b : fields) {
        std::snprintf(digits, sizeof digits, "%02X", b);
        text += digits;
    }
    return text;
}

inline std::string dataRecord(std::uint16_t address, const std::vector<std::uint8_t>& data) {
    return hexRecord(0x00, address, data);
}
inline std::string segmentRecord(std::uint16_t segment) {
    return hexRecord(0x02, 0, {static_cast<std::uint8_t>(segment >> 8), static_cast<std::uint8_t>(segment & 0xFF)});
}
inline std::string linearRecord(std::uint16_t upper) {
    return hexRecord(0x04, 0, {static_cast<std::uint8_t>(upper >> 8), static_cast<std::uint8_t>(upper & 0xFF)});
}
inline std::string endRecord() {
    return hexRecord(0x01, 0, {});
}

/// The records, each followed by `lineEnd`.
inline std::string hexText(const std::vector<std::string>& records, const std::string& lineEnd = "\n") {
    std::string text;
    for (const auto& record : records) text += record + lineEnd;
    return text;
}

/// `count` bytes counting up from `first` (wrapping).
inline std::vector<std::uint8_t> pattern(std::size_t count, std::uint8_t first = 0) {
    std::vector<std::uint8_t> out(count);
    for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<std::uint8_t>(first + i);
    return out;
}

/// An image file's text: `image` in data records of 16 bytes from 0x1000, then the end record.
inline std::string imageText(const std::vector<std::uint8_t>& image) {
    std::vector<std::string> records = {linearRecord(0)};
    for (std::size_t offset = 0; offset < image.size(); offset += 16) {
        const auto end = std::min(image.size(), offset + 16);
        records.push_back(dataRecord(static_cast<std::uint16_t>(0x1000 + offset),
                                     std::vector<std::uint8_t>(image.begin() + static_cast<std::ptrdiff_t>(offset),
                                                               image.begin() + static_cast<std::ptrdiff_t>(end))));
    }
    records.push_back(endRecord());
    return hexText(records);
}

inline std::vector<std::uint8_t> textBytes(const std::string& text) {
    return std::vector<std::uint8_t>(text.begin(), text.end());
}

}  // namespace halvora::test
