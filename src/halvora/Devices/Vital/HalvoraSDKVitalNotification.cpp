#include "halvora/Devices/Vital/HalvoraSDKVitalNotification.hpp"

namespace halvora {

namespace {

constexpr int kFlagsPerByte = 8;

/// The flags of one byte, from bit 0 up.
using Flags = std::array<bool HalvoraSDKVitalNotification::*, kFlagsPerByte>;

constexpr Flags kFirstByte = {&HalvoraSDKVitalNotification::call,    &HalvoraSDKVitalNotification::sms,
                              &HalvoraSDKVitalNotification::email,   &HalvoraSDKVitalNotification::wechat,
                              &HalvoraSDKVitalNotification::qq,      &HalvoraSDKVitalNotification::facebook,
                              &HalvoraSDKVitalNotification::twitter, &HalvoraSDKVitalNotification::whatsapp};
constexpr Flags kSecondByte = {&HalvoraSDKVitalNotification::skype,     &HalvoraSDKVitalNotification::line,
                               &HalvoraSDKVitalNotification::linkedin,  &HalvoraSDKVitalNotification::instagram,
                               &HalvoraSDKVitalNotification::messenger, &HalvoraSDKVitalNotification::snapchat,
                               &HalvoraSDKVitalNotification::telegram,  &HalvoraSDKVitalNotification::other};

std::uint8_t pack(const HalvoraSDKVitalNotification& record, const Flags& flags) {
    unsigned byte = 0;
    for (int bit = 0; bit < kFlagsPerByte; ++bit) {
        if (record.*flags[static_cast<std::size_t>(bit)]) byte |= 1U << bit;
    }
    return static_cast<std::uint8_t>(byte);
}

void unpack(HalvoraSDKVitalNotification& record, const Flags& flags, std::uint8_t byte) {
    for (int bit = 0; bit < kFlagsPerByte; ++bit) record.*flags[static_cast<std::size_t>(bit)] = (byte >> bit) & 1U;
}

}  // namespace

std::array<std::uint8_t, 2> HalvoraSDKVitalNotification::getDataFromNotifications() const {
    return {pack(*this, kFirstByte), pack(*this, kSecondByte)};
}

HalvoraSDKVitalNotification HalvoraSDKVitalNotification::fromBytes(std::uint8_t first, std::uint8_t second) {
    HalvoraSDKVitalNotification record;
    unpack(record, kFirstByte, first);
    unpack(record, kSecondByte, second);
    return record;
}

}  // namespace halvora
