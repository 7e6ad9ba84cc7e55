#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "halvora/Core/BLEDevice.hpp"
#include "halvora/Devices/Measurement/BodyComposition.hpp"
#include "halvora/Devices/Measurement/HalvoraSDKWeightScaleData.hpp"
#include "halvora/Devices/Measurement/HalvoraWeightScaleDelegate.hpp"

namespace halvora {

class PreferenceUtils;

/// The body-composition bathroom scale "Chipsea-BLE" (device kind 4).
///
/// Connection: every discovered service has all its characteristics discovered; the notifying 0xFFF1 and,
/// on scales that measure impedance, the notifying body characteristic 0x2A9C are switched on, and commands
/// go to 0xFFF2. After each characteristic the application hears `weightscaleOnTypeDetected` (2 once the
/// body characteristic is known, else 1). At the end of each characteristic discovery the driver reports
/// ready and sends the user-parameter frame; the frame is sent again every two seconds while no two-part
/// result has been seen in this process and the peripheral is connected.
///
/// Results: the four notification families (A: 06 impedance results on the body characteristic; B: 06
/// weights while weighing; C: CA 11 two-part results; D: CA 10 one-frame results) become
/// `HalvoraSDKWeightScaleData` records, delivered straight to the manager's `weightscaleDelegate` as it is
/// at the moment of delivery (dropped when there is none). Impedance results (family A) take every figure
/// from the body-composition formulas; the scale's own results (families C and D) bring their figures and
/// the kit adds the body-mass index, protein, ideal weight, obesity and body age. Family D's scale-bits
/// multiplier applies to every figure it decodes but the metabolic rate, percentages included, and a weight
/// in "lb" is used by the formulas as if it were kilograms. Frames shorter than the bytes their family
/// reads are ignored.
///
/// Process-wide state: the first half of the latest two-part result (`lastWeight`, `lastFat`,
/// `dateWeight`, `userID`) is shared by every scale driver of the process, for the life of the process; a
/// second half is completed with whatever first half came last, on any connection. Only `userID` is
/// cleared, at each connection. The state is guarded by one mutex.
///
/// Threads: peripheral events (and so every delegate callback) arrive on "halvora.cb"; the two-second
/// repeat runs on the executor's main queue and only reads the shared state and writes the frame. The
/// characteristics are guarded by a mutex so that both may use them. A driver made without an executor
/// never repeats the frame. Drivers must be owned by a std::shared_ptr.
class HalvoraSDKWeightScale : public BLEDevice {
public:
    /// Seconds between the user-parameter frame and the check that may send it again.
    static constexpr double kRepeatInterval = 2.0;
    /// The type reported to `weightscaleOnTypeDetected`.
    static constexpr std::int32_t kTypeWeightOnly = 1;
    /// The type reported to `weightscaleOnTypeDetected` once the body (impedance) characteristic is known.
    static constexpr std::int32_t kTypeWithImpedance = 2;

    /// The advertised name (or part of it) this class serves.
    static std::string getName() { return "Chipsea-BLE"; }
    /// True when `name` contains "Chipsea-BLE" anywhere (case-sensitive).
    static bool isNameValid(const std::string& name);
    /// False for a peripheral without a name, else isNameValid() of its name.
    static bool matchDevice(const std::shared_ptr<Peripheral>& peripheral);
    /// The protocol service, 0xFFF0.
    static BLEUUID rsServiceUUID() { return BLEUUID("0000fff0-0000-1000-8000-00805f9b34fb"); }
    /// The notifying characteristic of weights and the scale's own results, 0xFFF1.
    static BLEUUID readCharacteristicUUID() { return BLEUUID("0000fff1-0000-1000-8000-00805f9b34fb"); }
    /// The command characteristic, 0xFFF2.
    static BLEUUID sendCharacteristicUUID() { return BLEUUID("0000fff2-0000-1000-8000-00805f9b34fb"); }
    /// The notifying body-composition characteristic of impedance scales, 0x2A9C.
    static BLEUUID bodyCharacteristicUUID() { return BLEUUID("00002a9c-0000-1000-8000-00805f9b34fb"); }
    /// "cccc<text>-93d4-4c06-bcba-e719578f1408": a 128-bit identifier text from a four-character fragment.
    static std::string format(const std::string& text);
    /// True when byte 0 is CA (the scale's own frames); no checksum is verified.
    static bool checkValue(std::span<const std::uint8_t> value);

    // The process-wide first half of the latest two-part result (0 until one arrives).
    /// The first half's weight, kilograms; 0 until a two-part result arrives.
    static double lastWeight();
    /// The first half's fat, per cent; 0 until a two-part result arrives.
    static double lastFat();
    /// The first half's date field, as the scale sent it; kept, not used.
    static std::int32_t dateWeight();
    /// The first half's user number, as the scale sent it; cleared at each connection.
    static std::int32_t userID();

    /// The driver base's constructors.
    using BLEDevice::BLEDevice;

    DeviceKind getType() const override { return DeviceTypeWeightScale; }
    std::string className() const override { return "HalvoraSDKWeightScale"; }
    /// Reports connected, discovers all services and clears the process-wide `userID`.
    void didConnect() override;

    /// Writes to the send characteristic in 20-byte pieces (dropped while there is none).
    void writeRawData(const std::vector<std::uint8_t>& data);
    /// Sends the user-parameter frame built from the stored preferences (unit, gender, age, height) and
    /// arms the two-second check that sends it again while `lastWeight` is not above 0 and the peripheral
    /// is connected.
    void startMeasurement();
    /// Builds and writes the user-parameter frame; an absent unit counts as not "kg".
    void startMeasurement(const std::optional<std::string>& unit, std::int32_t gender, std::int32_t age,
                          std::int32_t height);

    // The body-composition formulas for the stored user (read from the preferences at each call).
    /// BodyComposition::getPercentageFatWithWeight() for the stored user.
    double getPercentageFatWithWeight(double weight, double bia) const;
    /// BodyComposition::getPercentageWaterWithWeight() for the stored user.
    double getPercentageWaterWithWeight(double weight, double bia) const;
    /// BodyComposition::getPercentageMuscleWithWeight() for the stored user.
    double getPercentageMuscleWithWeight(double weight, double bia) const;
    /// BodyComposition::getBMRWithWeight() for the stored user.
    double getBMRWithWeight(double weight, double bia) const;
    /// BodyComposition::getBoneWithWeight() for the stored user.
    double getBoneWithWeight(double weight, double bia) const;
    /// BodyComposition::getVisceralWithWeight() for the stored user.
    double getVisceralWithWeight(double weight, double bia) const;
    /// BodyComposition::getBMIWithWeight() for the stored user's height.
    double getBMIWithWeight(double weight) const;
    /// BodyComposition::getProteinWith(); it does not depend on the user.
    double getProteinWith(double musclePercentage) const;
    /// BodyComposition::getIdealBodyWeight() for the stored user's height.
    double getIdealBodyWeight() const;
    /// BodyComposition::getObesityPercentage() for the stored user's height.
    double getObesityPercentage(double weight) const;
    /// BodyComposition::getBodyAge() for the stored user's age.
    double getBodyAge(double bmi) const;

    /// The last service explored; nothing before service discovery.
    std::shared_ptr<Service> rs232Service() const;
    /// The body characteristic; nothing on a scale without one (or before discovery).
    std::shared_ptr<Characteristic> bodyCharacteristic() const;
    /// The notifying characteristic; nothing before discovery.
    std::shared_ptr<Characteristic> readCharacteristic() const;
    /// The command characteristic; nothing before discovery (writes are dropped then).
    std::shared_ptr<Characteristic> sendCharacteristic() const;

    /// Asks for all the characteristics of every discovered service; an error stops here.
    void peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                       const OptionalError& error) override;
    /// Keeps the three characteristics, switches notifications on, reports the type after each characteristic,
    /// then (when the manager is there to hear it) reports ready and sends the user-parameter frame. An error
    /// stops here.
    void peripheralDidDiscoverCharacteristicsForService(const std::shared_ptr<Peripheral>& peripheral,
                                                        const std::shared_ptr<Service>& service,
                                                        const OptionalError& error) override;
    /// A notification descriptor write ended: reports ready again, whatever its outcome.
    void peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& peripheral,
                                              const std::shared_ptr<Characteristic>& characteristic,
                                              const OptionalError& error) override;
    /// Parses a value of the body characteristic (impedance results) or of the notifying one (weights and the
    /// scale's results); values with an error, and of other characteristics, are dropped.
    void peripheralDidUpdateValueForCharacteristic(const std::shared_ptr<Peripheral>& peripheral,
                                                   const std::shared_ptr<Characteristic>& characteristic,
                                                   const std::vector<std::uint8_t>& value,
                                                   const OptionalError& error) override;

private:
    /// The first half of the latest two-part result, shared by the whole process.
    struct ProcessState {
        double lastWeight = 0;
        double lastFat = 0;
        std::int32_t dateWeight = 0;  ///< stored, never used
        std::int32_t userID = 0;      ///< stored, never used; cleared at each connection
    };
    /// The one ProcessState and the mutex that guards it.
    static ProcessState& processState();
    static std::mutex& processStateMutex();
    static ProcessState processStateSnapshot();

    /// The manager's preferences store, or the process-wide one for a driver made without one.
    std::shared_ptr<PreferenceUtils> preferences() const;
    BodyComposition bodyComposition() const;
    std::shared_ptr<HalvoraWeightScaleDelegate> applicationDelegate() const;
    void reportType();
    void armRepeat();
    void repeatIfNoResultYet();

    // Notification families.
    void parseReadValue(std::span<const std::uint8_t> value);
    void parseImpedanceResult(std::span<const std::uint8_t> value);
    void parseWeighing(std::span<const std::uint8_t> value);
    void parseTwoPartResult(std::span<const std::uint8_t> value);
    void parseOneFrameResult(std::span<const std::uint8_t> value);
    void deliverMeasurementResult(const HalvoraSDKWeightScaleData& data);
    void deliverResult(const HalvoraSDKWeightScaleData& data);

    mutable std::mutex gattMutex_;
    /// A check that may repeat the parameter frame is waiting on the main queue (at most one at a time).
    std::atomic<bool> repeatPending_{false};
    std::shared_ptr<Service> rs232Service_;
    std::shared_ptr<Characteristic> bodyCharacteristic_;
    std::shared_ptr<Characteristic> readCharacteristic_;
    std::shared_ptr<Characteristic> sendCharacteristic_;
};

}  // namespace halvora
