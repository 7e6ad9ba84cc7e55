#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "lab/Devices/Measurement/WeightScaleScript.hpp"
#include "lab/VirtualPeripheral.hpp"

namespace halvora::lab {

/// A body-composition bathroom scale, "Chipsea-BLE", seen from the scale's side.
///
/// GATT: service 0xFFF0 with the notifying characteristic 0xFFF1 and the writable 0xFFF2; a scale with an
/// impedance sensor also has service 0x181B with the notifying body characteristic 0x2A9C.
///
/// The phone writes the user-parameter frame (CA 0A 10 01, four zero bytes, sex 80/00, age, height, unit
/// 00 kg / 01 other, XOR of the twelve bytes before). The scale takes a frame with a good check byte as the
/// current user, counts the others as bad, and starts a measurement a little after the first good frame
/// of each connection (WeightScaleScript::autoStartAfter); stepOn() starts one at any time. A measurement
/// plays the script's weighing frames and then its result, one frame every `stepInterval`, in the
/// script's family (see WeightScaleScript). A newer measurement replaces one still playing.
///
/// The scale builds its frames itself: CA frames are big-endian and end with an XOR check byte; 06 frames
/// carry little-endian values at bytes 9-10 (impedance) and 11-12 (weight), in tenths.
class VirtualWeightScale : public VirtualPeripheral {
public:
    /// The user the phone last sent.
    struct UserParameters {
        /// Sex byte 80 (male) or 00.
        bool male = true;
        /// Years.
        int age = 0;
        /// Centimetres.
        int height = 0;
        /// Unit byte 00 (kg) or anything else.
        bool kilograms = true;
    };

    /// `impedanceSensor`: the scale has the body characteristic.
    explicit VirtualWeightScale(VirtualPeripheralConfig config, bool impedanceSensor = true);
    /// A scale named "Chipsea-BLE" with the given identifier.
    static std::shared_ptr<VirtualWeightScale> make(const std::string& identifier, int rssi = -60,
                                                    bool impedanceSensor = true);

    /// Replaces the script; it applies from the next measurement.
    void setScript(const WeightScaleScript& script);
    /// The current script.
    WeightScaleScript script() const;
    /// True when the scale offers the body characteristic 0x2A9C.
    bool hasImpedanceSensor() const { return impedanceSensor_; }

    /// The user of the last good parameter frame, or nothing before one.
    std::optional<UserParameters> userParameters() const;
    /// Good user-parameter frames received, over every connection.
    int parameterFrames() const;
    /// Bad user-parameter frames received (wrong length or check byte), over every connection.
    int badParameterFrames() const;
    /// Measurements started so far.
    int measurementsStarted() const;
    /// Someone steps on the scale: plays a measurement now.
    void stepOn();

protected:
    void onConnected() override;
    void onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType type) override;

private:
    struct Frame {
        BLEUUID characteristic;
        std::vector<std::uint8_t> bytes;
    };

    std::vector<Frame> measurementFrames(const WeightScaleScript& script, bool pounds) const;
    void playStep(std::size_t step, std::vector<Frame> frames, int generation);
    void takeParameters(const std::vector<std::uint8_t>& value);

    const bool impedanceSensor_;
    mutable std::mutex mutex_;
    WeightScaleScript script_;
    std::optional<UserParameters> user_;
    int parameterFrames_ = 0;
    int badParameterFrames_ = 0;
    int measurements_ = 0;
    bool autoStarted_ = false;  // this connection
};

}  // namespace halvora::lab
