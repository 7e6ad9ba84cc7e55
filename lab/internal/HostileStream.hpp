#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"
#include "lab/HostileMode.hpp"

namespace halvora::lab {

/// Turns what a device sends into what a hostile device sends (HostileMode says how): one outgoing
/// notification becomes zero or more, possibly with the link dropped after them. One stream per device,
/// for its current link; lab queue only.
///
/// Cap: at most one notification is held back for reordering (its copies, when it is also duplicated).
/// A notification that comes while one is held is not held itself; endLink() drops the held one.
class HostileStream {
public:
    /// One value on one characteristic.
    struct Notification {
        BLEUUID characteristic;
        std::vector<std::uint8_t> value;
    };

    /// What one outgoing notification became.
    struct Outcome {
        std::vector<Notification> notifications;  ///< in sending order
        bool dropLink = false;                    ///< the device drops the link after sending them
    };

    /// Mangles `notification` as `mode` says, drawing on `random`. Once a link drop has been decided,
    /// everything is lost until endLink().
    Outcome mangle(Notification notification, const HostileMode& mode, std::mt19937_64& random);
    /// The unsolicited notifications of one tick: 1 to maxLength random bytes on each of `switchedOn`
    /// (nothing once a link drop has been decided).
    std::vector<Notification> unsolicited(const std::vector<BLEUUID>& switchedOn, const HostileMode& mode,
                                          std::mt19937_64& random) const;
    /// The link ended: the held notification (if any) is dropped and the next link starts clean. Returns
    /// whether one was held.
    bool endLink();

private:
    /// A notification held back, and how many times it goes out.
    struct Held {
        Notification notification;
        std::size_t copies = 1;
    };

    std::optional<Held> held_;
    bool linkDropping_ = false;
};

}  // namespace halvora::lab
