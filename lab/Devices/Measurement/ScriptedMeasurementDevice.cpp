#include "lab/Devices/Measurement/ScriptedMeasurementDevice.hpp"

namespace halvora::lab {

int ScriptedMeasurementDevice::playbacksStarted() const {
    std::lock_guard lock(mutex_);
    return started_;
}

std::size_t ScriptedMeasurementDevice::stepsPlayed() const {
    std::lock_guard lock(mutex_);
    return played_;
}

void ScriptedMeasurementDevice::startPlayback(Duration firstDelay, Duration interval, std::size_t count,
                                              std::function<void(std::size_t)> step) {
    int playback = 0;
    {
        std::lock_guard lock(mutex_);
        playback = ++generation_;
        ++started_;
        interval_ = interval;
        count_ = count;
        step_ = std::move(step);
    }
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    schedule(firstDelay, [weak, playback] {
        if (auto self = std::static_pointer_cast<ScriptedMeasurementDevice>(weak.lock())) self->playStep(playback, 0);
    });
}

void ScriptedMeasurementDevice::stopPlayback() {
    std::lock_guard lock(mutex_);
    ++generation_;
    step_ = nullptr;
}

void ScriptedMeasurementDevice::playStep(int playback, std::size_t index) {
    std::function<void(std::size_t)> step;
    Duration interval{};
    bool last = false;
    if (!isConnected()) return;
    {
        std::lock_guard lock(mutex_);
        if (playback != generation_ || !step_) return;
        step = step_;
        interval = interval_;
        last = count_ != 0 && index + 1 >= count_;
        ++played_;
    }
    step(index);
    if (last) return;
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    schedule(interval, [weak, playback, index] {
        if (auto self = std::static_pointer_cast<ScriptedMeasurementDevice>(weak.lock())) {
            self->playStep(playback, index + 1);
        }
    });
}

}  // namespace halvora::lab
