#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "lab/Devices/Measurement/BloodPressureScript.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

/// What the three generations of virtual blood-pressure monitor share: the 0xFFF0 serial service, a
/// device-information service with a hardware revision, and the playback of a scripted measurement
/// (started frame, cuff pressures up and down, then the result or an error byte). Each generation writes
/// its own frames.
class VirtualBloodPressureMonitor : public VirtualPeripheral {
public:
    /// Replaces the script; it applies from the next measurement.
    void setScript(const BloodPressureScript& script);
    /// The current script.
    BloodPressureScript script() const;
    /// Measurements started so far (by command or on its own).
    int measurementsStarted() const;
    /// Plays a measurement now (as when the button on the monitor is pressed).
    void measure();

protected:
    /// A monitor with this identity that notifies on `notifyUUID` and takes commands on `writeUUID`, both in
    /// the 0xFFF0 service.
    VirtualBloodPressureMonitor(VirtualPeripheralConfig config, const BLEUUID& notifyUUID, const BLEUUID& writeUUID);

    /// The characteristic the monitor notifies on.
    const BLEUUID& notifyUUID() const { return notifyUUID_; }

    /// The generation's frames. An empty started frame is not sent.
    virtual std::vector<std::uint8_t> startedFrame() const = 0;
    /// The frame of one cuff pressure, mmHg.
    virtual std::vector<std::uint8_t> pressureFrame(int pressure) const = 0;
    /// The frame of a result (pressures in mmHg, pulse per minute).
    virtual std::vector<std::uint8_t> resultFrame(int systolic, int diastolic, int pulse) const = 0;
    /// The frame that reports device error byte `error` instead of a result.
    virtual std::vector<std::uint8_t> errorFrame(std::uint8_t error) const = 0;

    /// Notifies `frame` on the notifying characteristic.
    void send(const std::vector<std::uint8_t>& frame) { notify(notifyUUID_, frame); }

private:
    void playStep(std::size_t step, std::vector<std::vector<std::uint8_t>> frames, int generation);

    BLEUUID notifyUUID_;
    mutable std::mutex mutex_;
    BloodPressureScript script_;
    int measurements_ = 0;
};

}  // namespace halvora::lab
