#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace halvora {

/// The paging of the Vital bracelet's history replies: byte 0 the code, then record slots of a fixed stride
/// from byte 1. A slot whose first byte is 0xFF ends the transfer; a transfer without it goes on in the next
/// notification of the same code.
class VitalHistoryPages {
public:
    VitalHistoryPages() = delete;

    /// The first byte of the slot that ends a transfer.
    static constexpr std::uint8_t kEndMark = 0xFF;
    /// Where the first slot starts.
    static constexpr std::size_t kFirstSlot = 1;
    /// Records one accumulator holds at most. A bracelet keeps a few days of history, far below this; at the
    /// cap further records of the transfer are dropped and the transfer still ends with its end mark.
    static constexpr std::size_t kMaxRecords = 100000;

    /// Walks the slots of `reply` and hands each whole slot to `onSlot`; true when the end mark came (the
    /// slots after it are not read). A slot cut short by the notification's end, and a reply without a
    /// slot, give nothing.
    template <class OnSlot>
    static bool walk(std::span<const std::uint8_t> reply, std::size_t stride, OnSlot&& onSlot) {
        for (std::size_t start = kFirstSlot; start < reply.size(); start += stride) {
            if (reply[start] == kEndMark) return true;
            if (reply.size() - start < stride) return false;
            onSlot(reply.subspan(start, stride));
        }
        return false;
    }

    /// Appends `record` unless `records` holds kMaxRecords already; false when it was dropped.
    template <class Record>
    static bool append(std::vector<Record>& records, Record record) {
        if (records.size() >= kMaxRecords) return false;
        records.push_back(std::move(record));
        return true;
    }
};

}  // namespace halvora
