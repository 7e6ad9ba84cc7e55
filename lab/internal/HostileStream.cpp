#include "lab/internal/HostileStream.hpp"

#include <algorithm>
#include <utility>

namespace halvora::lab {

namespace {

/// A number in [0, 1) from 53 random bits, the same on every platform.
double unitInterval(std::mt19937_64& random) {
    return static_cast<double>(random() >> 11) * 0x1.0p-53;
}

/// Whether something with chance `probability` happens. A chance of 0 (or less) draws nothing, so that a
/// mode left at zero does not move the generator the other faults draw on.
bool happens(double probability, std::mt19937_64& random) {
    return probability > 0.0 && unitInterval(random) < probability;
}

/// A whole number from `lowest` to `highest` (inclusive). Modulo rather than a standard distribution, whose
/// results differ between standard libraries: a seed gives the same run everywhere.
std::size_t between(std::size_t lowest, std::size_t highest, std::mt19937_64& random) {
    if (highest <= lowest) return lowest;
    return lowest + static_cast<std::size_t>(random() % (highest - lowest + 1));
}

void appendRandomBytes(std::vector<std::uint8_t>& bytes, std::size_t count, std::mt19937_64& random) {
    for (std::size_t i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(random() & 0xFF));
}

std::size_t maxLengthOf(const HostileMode& mode) {
    return std::clamp<std::size_t>(mode.maxLength, 1, HostileMode::kMaxLengthCap);
}

/// 1 to maxLength random bytes.
std::vector<std::uint8_t> garbage(const HostileMode& mode, std::mt19937_64& random) {
    std::vector<std::uint8_t> bytes;
    appendRandomBytes(bytes, between(1, maxLengthOf(mode), random), random);
    return bytes;
}

/// The draws that change a notification's bytes: replaced, else cut short, else made oversized.
void mangleValue(std::vector<std::uint8_t>& value, const HostileMode& mode, std::mt19937_64& random) {
    if (happens(mode.random, random)) {
        value = garbage(mode, random);
    } else if (happens(mode.cutShort, random)) {
        value.resize(value.empty() ? 0 : between(0, value.size() - 1, random));
    } else if (happens(mode.oversized, random)) {
        const std::size_t longest = std::max(maxLengthOf(mode), value.size() + 1);
        const std::size_t length = between(value.size() + 1, longest, random);
        appendRandomBytes(value, length - value.size(), random);
    }
}

void appendFlood(std::vector<HostileStream::Notification>& out, const BLEUUID& characteristic, const HostileMode& mode,
                 std::mt19937_64& random) {
    const std::size_t count = std::min(mode.floodCount, HostileMode::kFloodCountCap);
    for (std::size_t i = 0; i < count; ++i) out.push_back({characteristic, garbage(mode, random)});
}

}  // namespace

HostileStream::Outcome HostileStream::mangle(Notification notification, const HostileMode& mode,
                                             std::mt19937_64& random) {
    Outcome outcome;
    if (linkDropping_) return outcome;
    const BLEUUID characteristic = notification.characteristic;
    std::optional<Held> released = std::exchange(held_, std::nullopt);
    if (!happens(mode.drop, random)) {
        mangleValue(notification.value, mode, random);
        Held current{std::move(notification), happens(mode.duplicate, random) ? 2U : 1U};
        if (!released && happens(mode.reorder, random)) {
            held_ = std::move(current);
        } else {
            outcome.notifications.insert(outcome.notifications.end(), current.copies, current.notification);
        }
    }
    if (released) outcome.notifications.insert(outcome.notifications.end(), released->copies, released->notification);
    if (happens(mode.flood, random)) appendFlood(outcome.notifications, characteristic, mode, random);
    if (happens(mode.disconnect, random)) {
        outcome.dropLink = true;
        linkDropping_ = true;
    }
    return outcome;
}

std::vector<HostileStream::Notification> HostileStream::unsolicited(const std::vector<BLEUUID>& switchedOn,
                                                                    const HostileMode& mode,
                                                                    std::mt19937_64& random) const {
    std::vector<Notification> out;
    if (linkDropping_) return out;
    for (const auto& characteristic : switchedOn) out.push_back({characteristic, garbage(mode, random)});
    return out;
}

bool HostileStream::endLink() {
    const bool wasHolding = held_.has_value();
    held_.reset();
    linkDropping_ = false;
    return wasHolding;
}

}  // namespace halvora::lab
