#include "lab/LinkModel.hpp"

#include <algorithm>

namespace halvora::lab {

LinkModel LinkModel::normalized() const {
    LinkModel out = *this;
    out.connectionInterval = std::clamp(connectionInterval, kMinConnectionInterval, kMaxConnectionInterval);
    out.packetsPerEvent = std::max(packetsPerEvent, 1);
    out.notificationLatency = std::max(notificationLatency, Duration::zero());
    return out;
}

std::int64_t LinkModel::eventAfter(MonotonicTime start, MonotonicTime time) const {
    const Duration interval = normalized().connectionInterval;
    if (time < start) return 1;
    return (time - start) / interval + 1;
}

MonotonicTime LinkModel::eventTime(MonotonicTime start, std::int64_t index) const {
    return start + normalized().connectionInterval * index;
}

MonotonicTime LinkModel::deliveryTime(MonotonicTime start, MonotonicTime sent) const {
    return eventTime(start, eventAfter(start, sent)) + normalized().notificationLatency;
}

double LinkModel::uploadLimit(int packetsPerReceipt, int packetBytes) const {
    if (packetsPerReceipt <= 0 || packetBytes <= 0) return 0.0;
    const LinkModel model = normalized();
    const std::int64_t burstEvents = (packetsPerReceipt + model.packetsPerEvent - 1) / model.packetsPerEvent;
    const std::int64_t latencyEvents = model.notificationLatency / model.connectionInterval;
    const std::int64_t cycleEvents = burstEvents + 1 + latencyEvents;
    const double cycleSeconds =
        std::chrono::duration<double>(model.connectionInterval).count() * static_cast<double>(cycleEvents);
    return static_cast<double>(packetsPerReceipt) * packetBytes / cycleSeconds;
}

}  // namespace halvora::lab
