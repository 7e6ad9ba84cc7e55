#pragma once

#include <cstddef>
#include <functional>
#include <mutex>

#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

/// A virtual measuring device that plays its readings on a timer: the thermometers, the pulse oximeter
/// and the baby thermometer. A playback runs step after step while a central is connected; a new playback
/// replaces a running one, and a disconnection ends it.
class ScriptedMeasurementDevice : public VirtualPeripheral {
public:
    /// Playbacks started so far.
    int playbacksStarted() const;
    /// Steps played so far, over all playbacks.
    std::size_t stepsPlayed() const;

protected:
    /// The virtual device's constructor.
    using VirtualPeripheral::VirtualPeripheral;

    /// Plays `count` steps (0: until the link ends), the first after `firstDelay`, then one every
    /// `interval`. `step` runs on the lab queue with the step's index.
    void startPlayback(Duration firstDelay, Duration interval, std::size_t count,
                       std::function<void(std::size_t step)> step);
    /// Ends the running playback, if any.
    void stopPlayback();

    void onDisconnected() override { stopPlayback(); }

private:
    void playStep(int playback, std::size_t index);

    mutable std::mutex mutex_;
    int generation_ = 0;  // a playback runs only while it is the current generation
    int started_ = 0;
    std::size_t played_ = 0;
    Duration interval_{};
    std::size_t count_ = 0;
    std::function<void(std::size_t)> step_;
};

}  // namespace halvora::lab
