#pragma once

#include <array>
#include <cstdint>

namespace halvora {

/// Which message notifications the Vital bracelet shows. The flags travel as two bytes (`getDataFromNotifications`):
/// the first byte holds, from bit 0 up, `call`, `sms`, `email`, `wechat`, `qq`, `facebook`, `twitter` and
/// `whatsapp`; the second byte, from bit 0 up, `skype`, `line`, `linkedin`, `instagram`, `messenger`,
/// `snapchat`, `telegram` and `other`. Every flag is off in a new record.
struct HalvoraSDKVitalNotification {
    /// Incoming calls.
    bool call = false;
    /// Text messages.
    bool sms = false;
    /// E-mail.
    bool email = false;
    /// WeChat.
    bool wechat = false;
    /// QQ.
    bool qq = false;
    /// Facebook.
    bool facebook = false;
    /// Twitter.
    bool twitter = false;
    /// WhatsApp.
    bool whatsapp = false;
    /// Skype.
    bool skype = false;
    /// LINE.
    bool line = false;
    /// LinkedIn.
    bool linkedin = false;
    /// Instagram.
    bool instagram = false;
    /// Messenger.
    bool messenger = false;
    /// Snapchat.
    bool snapchat = false;
    /// Telegram.
    bool telegram = false;
    /// Any other application.
    bool other = false;

    /// The two bytes of the flags, first byte first (see the struct comment).
    std::array<std::uint8_t, 2> getDataFromNotifications() const;
    /// The flags of two bytes in the order `getDataFromNotifications` gives them.
    static HalvoraSDKVitalNotification fromBytes(std::uint8_t first, std::uint8_t second);

    /// Field-wise equality.
    bool operator==(const HalvoraSDKVitalNotification&) const = default;
};

}  // namespace halvora
