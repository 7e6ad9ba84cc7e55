#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace halvora {

/// The quarter-hour frames of the history day being received (the driver's `receivedData`). A day is 96
/// frames; the buffer never holds more: a frame that arrives when it is full is dropped, until the next day
/// request empties it.
class RM830DayFrames {
public:
    /// Frames in a day, and the most the buffer holds.
    static constexpr std::size_t kFramesPerDay = 96;

    /// What adding a frame did.
    enum class Outcome {
        Added,        ///< kept; the day is not complete yet
        DayComplete,  ///< kept, and it was the day's last frame
        Dropped,      ///< the buffer already held a whole day
    };

    /// Keeps a copy of `frame`.
    Outcome add(std::span<const std::uint8_t> frame);
    /// Empties the buffer (a new day request).
    void clear() { frames_.clear(); }
    /// The frames, in arrival order.
    const std::vector<std::vector<std::uint8_t>>& frames() const { return frames_; }

private:
    std::vector<std::vector<std::uint8_t>> frames_;
};

}  // namespace halvora
