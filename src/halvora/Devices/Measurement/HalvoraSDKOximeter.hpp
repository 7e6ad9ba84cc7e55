#pragma once

#include <cstdint>
#include <memory>

#include "halvora/Devices/Measurement/HalvoraOximeterDelegate.hpp"
#include "halvora/Devices/Measurement/SingleServiceDevice.hpp"
#include "halvora/Records/HalvoraSDKOximeterData.hpp"

namespace halvora {

/// The finger pulse oximeter "BLT_M70C". It never receives commands; it streams 20-byte notifications in
/// cycles of four: a marker (AA at byte 0, 41 at byte 2), the measured values (Pi at byte 15, SpO2 at 16,
/// lpm at 17, rpm at 18), then two notifications of wave samples (bytes 7 to 18 of the first, 0 to 19 of
/// the second; samples outside 1 to 99 are skipped). Further notifications before the next marker are
/// ignored.
///
/// Bytes read "signed" (SpO2 and the wave samples) are widened as signed bytes and masked to 24 bits, so a
/// byte of 80 to FF becomes 16,777,088 to 16,777,215, as the device family has always reported them.
/// A notification shorter than the bytes its place in the cycle reads is ignored and does not advance the
/// cycle. Results go straight to the manager's `oximeterDelegate`; without one they are dropped.
class HalvoraSDKOximeter : public SingleServiceDevice {
public:
    /// The advertised name this class serves.
    static std::string getName() { return "BLT_M70C"; }
    /// The protocol service, 0xFFE0.
    static BLEUUID rsServiceUUID() { return BLEUUID("0000ffe0-0000-1000-8000-00805f9b34fb"); }
    /// The notifying characteristic, 0xFFE1.
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000ffe1-0000-1000-8000-00805f9b34fb"); }
    /// The same characteristic, 0xFFE1: the oximeter has one, and nothing is written to it.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000ffe1-0000-1000-8000-00805f9b34fb"); }
    /// The standard Device Information service, 0x180A.
    static BLEUUID deviceInformationServiceUUID() { return BLEUUID("180A"); }
    /// The hardware revision string, 0x2A27; read on connection, its value unused.
    static BLEUUID hardwareRevisionStringUUID() { return BLEUUID("2A27"); }
    /// The name equals "BLT_M70C" exactly.
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);

    /// The single-service device's constructors.
    using SingleServiceDevice::SingleServiceDevice;

    DeviceKind getType() const override { return DeviceTypeOximeter; }
    std::string className() const override { return "HalvoraSDKOximeter"; }
    /// Position in the cycle: notifications since the last marker (the first after connecting counts as
    /// the values, as if a marker had come before it).
    std::int32_t counter() const { return counter_; }

protected:
    BLEUUID serviceUUID() const override { return rsServiceUUID(); }
    BLEUUID readUUID() const override { return readCharacteristicUUID(); }
    BLEUUID sendUUID() const override { return sendCharacteristicUUID(); }
    bool readsHardwareRevision() const override { return true; }
    void parseFrame(std::span<const std::uint8_t> frame) override;

private:
    std::shared_ptr<HalvoraOximeterDelegate> applicationDelegate() const;
    void deliverValues(std::span<const std::uint8_t> frame);
    void deliverWaveSamples(std::span<const std::uint8_t> samples);

    std::int32_t counter_ = 0;
};

}  // namespace halvora
