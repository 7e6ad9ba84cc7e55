#include "lab/Devices/Measurement/VirtualThermometerV2.hpp"

#include <algorithm>
#include <cmath>
#include <optional>

namespace halvora::lab {

namespace {

constexpr std::size_t kFrameLength = 14;
constexpr std::size_t kHeaderLength = 4;
constexpr std::uint8_t kReading = 0xAA;
constexpr std::uint8_t kAcknowledgement = 0xDD;
constexpr std::uint8_t kError = 0xEE;
constexpr std::uint8_t kFlagFahrenheit = 0x01;
constexpr std::uint8_t kFlagModeThree = 0x02;
constexpr int kReadingAcknowledged = 0x29;

/// 02 20 DD 02 FD <command> <XOR of bytes 1 to 5>, or nothing.
std::optional<int> commandOf(const std::vector<std::uint8_t>& value) {
    if (value.size() != 7 || value[0] != 0x02 || value[1] != 0x20 || value[2] != 0xDD || value[3] != 0x02 ||
        value[4] != 0xFD) {
        return std::nullopt;
    }
    const std::uint8_t check = value[1] ^ value[2] ^ value[3] ^ value[4] ^ value[5];
    if (check != value[6]) return std::nullopt;
    return value[5];
}

}  // namespace

VirtualThermometerV2::VirtualThermometerV2(VirtualPeripheralConfig config)
    : VirtualThermometerBase(std::move(config), BLEUUID("FFF4"), BLEUUID("FFF3")) {}

std::shared_ptr<VirtualThermometerV2> VirtualThermometerV2::make(const std::string& identifier, int rssi) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = "e-Thermometer";
    config.localName = config.name;
    config.rssi = rssi;
    return std::make_shared<VirtualThermometerV2>(config);
}

void VirtualThermometerV2::onNotifyChanged(const BLEUUID& characteristic, bool enabled) {
    if (enabled && characteristic == notifyUUID()) measure();
}

void VirtualThermometerV2::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != writeUUID()) return;
    const auto command = commandOf(value);
    if (!command) return;
    if (*command == kReadingAcknowledged) {
        ++acknowledged_;
        return;
    }
    ++commands_;
    const ThermometerScript s = script();
    if (auto refused = s.commandErrors.find(*command); refused != s.commandErrors.end()) {
        send(errorFrame(static_cast<std::uint8_t>(refused->second)));
        return;
    }
    const auto data = s.commandData.find(*command);
    send(frame(kAcknowledgement, static_cast<std::uint8_t>(*command),
               static_cast<std::uint8_t>(data == s.commandData.end() ? 0 : data->second), 0x00));
}

std::vector<std::uint8_t> VirtualThermometerV2::readingFrame(double celsius, const ThermometerScript& s) const {
    const auto hundredths = static_cast<std::uint16_t>(std::clamp(std::lround(celsius * 100.0), 0L, 0xFFFFL));
    std::uint8_t flags = 0;
    if (s.fahrenheit) flags |= kFlagFahrenheit;
    if (s.modeThree) flags |= kFlagModeThree;
    auto full = frame(kReading, flags, static_cast<std::uint8_t>(hundredths >> 8),
                      static_cast<std::uint8_t>(hundredths & 0xFF));
    if (!s.headerless) return full;
    return {full.begin() + kHeaderLength, full.end()};
}

std::vector<std::uint8_t> VirtualThermometerV2::errorFrame(std::uint8_t error) const {
    return frame(kError, error, 0x00, 0x00);
}

std::vector<std::uint8_t> VirtualThermometerV2::frame(std::uint8_t type, std::uint8_t a, std::uint8_t b,
                                                      std::uint8_t c) const {
    // Made at its length and filled in: growing the short list with resize() trips GCC 12's -Warray-bounds
    // at -O3 (a false positive).
    std::vector<std::uint8_t> out(kFrameLength - 1, 0x00);
    const std::uint8_t head[] = {0x02, 0x20, 0xDD, 0x0A, type, a, b, c};
    std::copy(std::begin(head), std::end(head), out.begin());
    std::uint8_t check = 0;
    for (std::size_t i = 1; i < out.size(); ++i) check ^= out[i];
    out.push_back(check);
    return out;
}

}  // namespace halvora::lab
