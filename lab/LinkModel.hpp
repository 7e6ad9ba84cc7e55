#pragma once

#include <chrono>
#include <cstdint>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// How a BLE link paces its traffic, for the lab's radio (Radio::setLinkModel()). Without a model (the
/// default) the lab keeps its fixed latencies; with one, the writes and notifications of every link follow
/// the connection events of that link, so that throughput in the lab is what a real link allows.
///
/// The model, per link:
/// - Connection events come every `connectionInterval` from the moment the link came up: event 0 is the
///   connection itself, event k is at start + k × interval.
/// - A write from the phone (with or without response) travels in the first connection event strictly after
///   the moment it was made that still has room: one event carries at most `packetsPerEvent` writes, in the
///   order they were made. The device handles it at that event's time. A write made exactly at an event's
///   time misses that event: an event carries what was queued before it.
/// - What the device sends (a notification, or the response to a write with response) travels in the first
///   connection event strictly after it was sent, and reaches the phone's host `notificationLatency` later.
///   The device's packets per event are not limited (the model is one of the upload direction). The lab's
///   reply-delay fault still adds on top.
/// - Every other request (discovery, reads, notification switches) keeps the radio's GATT latency, and so
///   may overtake writes waiting for their event.
///
/// The upload limit of a firmware update (uploadLimit()). The phone writes a burst of P packets of 20 bytes
/// at once when a receipt notification arrives, and nothing more until the next one. With interval I, n
/// packets per event and latency L:
/// - a burst made at time w starts in the first event after w, e1, and fills ceil(P / n) events: its last
///   packet reaches the device at e1 + (ceil(P / n) − 1) I, and the device sends its receipt then;
/// - the receipt travels in the next event and reaches the phone at w' = e1 + ceil(P / n) I + L;
/// - the next burst starts in the first event strictly after w'. e1 + ceil(P / n) I is an event, so that is
///   e1' = e1 + (ceil(P / n) + 1 + floor(L / I)) I.
///
/// One burst of 20 P bytes therefore goes every (ceil(P / n) + 1 + floor(L / I)) I, and the upload runs at
///
///     limit = 20 P / ((ceil(P / n) + 1 + floor(L / I)) × I)   bytes per second
///
/// in the steady state (the requests before and after the image add a fixed time). With bursts of 10
/// packets, 4 packets per event and no latency, a burst takes 4 intervals:
///
///     interval  7.5 ms   15 ms   30 ms   50 ms
///     limit     6667     3333    1667    1000    bytes per second
///
/// With 10 packets per event it takes 2 intervals (13333 B/s at 7.5 ms); a latency of one interval or more
/// adds whole intervals.
struct LinkModel {
    /// The shortest connection interval BLE allows; a shorter one counts as this.
    static constexpr Duration kMinConnectionInterval = std::chrono::microseconds(7500);
    /// The longest connection interval BLE allows; a longer one counts as this.
    static constexpr Duration kMaxConnectionInterval = std::chrono::seconds(4);
    /// The bytes of one firmware-update packet.
    static constexpr int kUpdatePacketBytes = 20;

    /// Time between two connection events of a link (default 30 ms, what phones commonly grant).
    Duration connectionInterval = std::chrono::milliseconds(30);
    /// The most writes from the phone one connection event carries (default 4; at least 1).
    int packetsPerEvent = 4;
    /// From the connection event carrying the device's notification to the phone's host receiving it
    /// (default 0; a negative one counts as 0).
    Duration notificationLatency = Duration::zero();

    /// The model with every figure brought into its range (interval from 7.5 ms to 4 s, at least one
    /// packet per event, no negative latency).
    LinkModel normalized() const;
    /// The index of the first connection event strictly after `time` on a link that came up at `start`
    /// (1 for a time before the start).
    std::int64_t eventAfter(MonotonicTime start, MonotonicTime time) const;
    /// The time of connection event `index` of a link that came up at `start`.
    MonotonicTime eventTime(MonotonicTime start, std::int64_t index) const;
    /// When something the device sends at `sent` over a link that came up at `start` reaches the phone's
    /// host: the next connection event, plus the notification latency.
    MonotonicTime deliveryTime(MonotonicTime start, MonotonicTime sent) const;
    /// The firmware upload's limit under this model, bytes per second, when the phone sends bursts of
    /// `packetsPerReceipt` packets of `packetBytes` and waits for each receipt (see above); 0 when no
    /// receipts are asked for (the phone would wait for ever).
    double uploadLimit(int packetsPerReceipt, int packetBytes = kUpdatePacketBytes) const;
};

}  // namespace halvora::lab
