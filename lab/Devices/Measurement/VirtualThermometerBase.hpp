#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "lab/Devices/Measurement/ScriptedMeasurementDevice.hpp"
#include "lab/Devices/Measurement/ThermometerScript.hpp"

namespace halvora::lab {

/// What the three virtual thermometer generations share: the 0xFFF0 service with a notifying and a
/// writable characteristic, and the playback of the script's readings (then its error frames). Each
/// generation writes its own frames and decides when it measures.
class VirtualThermometerBase : public ScriptedMeasurementDevice {
public:
    /// Replaces the script; it applies from the next measurement.
    void setScript(const ThermometerScript& script);
    /// The current script.
    ThermometerScript script() const;
    /// Starts playing the script now (as when the thermometer's button is pressed).
    void measure();

protected:
    /// A thermometer with this identity that notifies on `notifyUUID` and takes commands on `writeUUID`, both
    /// in the 0xFFF0 service.
    VirtualThermometerBase(VirtualPeripheralConfig config, const BLEUUID& notifyUUID, const BLEUUID& writeUUID);

    /// The characteristic the thermometer notifies on.
    const BLEUUID& notifyUUID() const { return notifyUUID_; }
    /// The characteristic commands are written to.
    const BLEUUID& writeUUID() const { return writeUUID_; }
    /// Notifies `frame` on the notifying characteristic.
    void send(const std::vector<std::uint8_t>& frame) { notify(notifyUUID_, frame); }

    /// The generation's frame for one reading in degrees Celsius.
    virtual std::vector<std::uint8_t> readingFrame(double celsius, const ThermometerScript& script) const = 0;
    /// The generation's frame for a device error byte; empty when the generation has none.
    virtual std::vector<std::uint8_t> errorFrame(std::uint8_t /*error*/) const { return {}; }

    /// The 0xFFF0 service.
    static BLEUUID serviceUUID() { return BLEUUID("FFF0"); }

private:
    void playStep(const ThermometerScript& script, std::size_t index);

    BLEUUID notifyUUID_;
    BLEUUID writeUUID_;
    mutable std::mutex mutex_;
    ThermometerScript script_;
};

}  // namespace halvora::lab
