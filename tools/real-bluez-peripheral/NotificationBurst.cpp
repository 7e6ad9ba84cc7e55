#include "NotificationBurst.hpp"

#include <time.h>

#include <algorithm>

namespace halvora::realbluez {

namespace {

constexpr std::size_t kNumberOffset = 1;
constexpr std::size_t kSentOffset = 5;

template <typename Integer>
void putLittleEndian(std::vector<std::uint8_t>& out, std::size_t offset, Integer value) {
    for (std::size_t i = 0; i < sizeof(Integer); ++i) out[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

template <typename Integer>
Integer getLittleEndian(const std::vector<std::uint8_t>& in, std::size_t offset) {
    Integer value = 0;
    for (std::size_t i = 0; i < sizeof(Integer); ++i) value |= static_cast<Integer>(in[offset + i]) << (8 * i);
    return value;
}

}  // namespace

NotificationBurst::NotificationBurst(bluez::BusLoop& loop, std::uint32_t count, std::chrono::microseconds interval,
                                     Send send)
    : loop_(loop), count_(count), interval_(interval), send_(std::move(send)) {}

void NotificationBurst::start() {
    if (started_) return;
    started_ = true;
    sendFrom(0);
}

void NotificationBurst::sendFrom(std::uint32_t number) {
    const std::uint32_t batch = interval_.count() == 0 ? kFramesPerTurn : 1;
    const std::uint32_t end = std::min(count_, number + batch);
    for (; number < end; ++number) send_(encode(Frame{number, nowNs()}));
    if (number >= count_) return;
    loop_.postAfter(interval_, [this, number] { sendFrom(number); });
}

std::vector<std::uint8_t> NotificationBurst::encode(const Frame& frame) {
    std::vector<std::uint8_t> value(kFrameSize, 0);
    value[0] = kMarker;
    putLittleEndian(value, kNumberOffset, frame.number);
    putLittleEndian(value, kSentOffset, frame.sentNs);
    return value;
}

std::optional<NotificationBurst::Frame> NotificationBurst::decode(const std::vector<std::uint8_t>& value) {
    if (value.size() != kFrameSize || value[0] != kMarker) return std::nullopt;
    return Frame{getLittleEndian<std::uint32_t>(value, kNumberOffset),
                 getLittleEndian<std::uint64_t>(value, kSentOffset)};
}

std::uint64_t NotificationBurst::nowNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000ULL + static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace halvora::realbluez
