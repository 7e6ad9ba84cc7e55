#include "halvora/Devices/RM830/internal/RM830DayFrames.hpp"

namespace halvora {

RM830DayFrames::Outcome RM830DayFrames::add(std::span<const std::uint8_t> frame) {
    if (frames_.size() >= kFramesPerDay) return Outcome::Dropped;
    frames_.emplace_back(frame.begin(), frame.end());
    return frames_.size() == kFramesPerDay ? Outcome::DayComplete : Outcome::Added;
}

}  // namespace halvora
