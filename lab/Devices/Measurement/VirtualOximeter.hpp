#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "lab/Devices/Measurement/OximeterScript.hpp"
#include "lab/Devices/Measurement/ScriptedMeasurementDevice.hpp"

namespace halvora::lab {

/// The finger pulse oximeter "BLT_M70C". One characteristic (0xFFE1 in service 0xFFE0) notifies; it also
/// accepts writes, which the device ignores. Once notifications are on it streams cycles of four 20-byte
/// notifications:
///   marker: AA 55 41, then zeros;
///   values: zeros, Pi at 15, SpO2 at 16, lpm at 17, rpm at 18, a running counter at 19;
///   wave 1: 12 samples at bytes 7 to 18 (bytes 0 to 6 and 19 zero);
///   wave 2: 20 samples at bytes 0 to 19.
/// It also offers the device-information service with a hardware revision string.
class VirtualOximeter : public ScriptedMeasurementDevice {
public:
    /// An oximeter with this identity and the default script.
    explicit VirtualOximeter(VirtualPeripheralConfig config);
    /// An oximeter named "BLT_M70C" with the given identifier.
    static std::shared_ptr<VirtualOximeter> make(const std::string& identifier, int rssi = -60);

    /// Replaces the script; it applies from the next cycle.
    void setScript(const OximeterScript& script);
    /// The current script.
    OximeterScript script() const;
    /// The four notifications of one cycle, as sent.
    std::vector<std::vector<std::uint8_t>> cycleFrames(int cycle) const;

protected:
    void onNotifyChanged(const BLEUUID& characteristic, bool enabled) override;

private:
    void playCycle(int cycle);

    mutable std::mutex mutex_;
    OximeterScript script_;
};

}  // namespace halvora::lab
