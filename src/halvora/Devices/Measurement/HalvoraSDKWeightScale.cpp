#include "halvora/Devices/Measurement/HalvoraSDKWeightScale.hpp"

#include "halvora/Core/PreferenceUtils.hpp"
#include "halvora/Devices/Measurement/internal/WeightScaleFrames.hpp"

namespace halvora {

namespace {

constexpr const char* kKilograms = "kg";
constexpr double kPerCent = 100.0;

/// The figures a scale computed itself (families C and D); masses in the record's unit.
struct ScaleFigures {
    double weight = 0;
    double fat = 0;       ///< per cent
    double water = 0;     ///< per cent
    double muscle = 0;    ///< mass
    double visceral = 0;  ///< figure
    double bone = 0;      ///< mass
    double bmr = 0;
};

/// A record with a weight, its unit and the body-mass index of the weight (taken as kilograms).
HalvoraSDKWeightScaleData weightRecord(double weight, const std::string& unit, const BodyComposition& body) {
    HalvoraSDKWeightScaleData data;
    data.weight = weight;
    data.unit = unit;
    data.imc = body.getBMIWithWeight(weight);
    return data;
}

/// The figures the kit adds to every full result: ideal weight, obesity and body age; protein too unless
/// `withProtein` is false.
void addKitEstimates(HalvoraSDKWeightScaleData& data, double weight, const BodyComposition& body, bool withProtein) {
    if (withProtein) data.proteinPercentage = BodyComposition::getProteinWith(data.musclePercentage.value_or(0));
    data.obesityPercentage = body.getObesityPercentage(weight);
    data.idealWeight = body.getIdealBodyWeight();
    data.bodyAge = body.getBodyAge(data.imc.value_or(0));
}

/// A full result from the scale's own figures.
HalvoraSDKWeightScaleData scaleResult(const ScaleFigures& f, const std::string& unit, const BodyComposition& body) {
    HalvoraSDKWeightScaleData data = weightRecord(f.weight, unit, body);
    data.fatPercentage = f.fat;
    data.fatRawValue = f.weight * f.fat / kPerCent;
    data.waterPercentage = f.water;
    data.waterRawValue = f.weight * f.water / kPerCent;
    data.muscleRawValue = f.muscle;
    data.musclePercentage = f.muscle / f.weight * kPerCent;
    data.visceralPercentage = f.visceral;
    data.visceralRawValue = f.weight * f.visceral / kPerCent;
    data.boneRawValue = f.bone;
    data.bonePercentage = f.bone / f.weight * kPerCent;
    data.bmr = f.bmr;
    addKitEstimates(data, f.weight, body, true);
    return data;
}

/// A full result estimated by the formulas from a weight and an impedance (family A).
HalvoraSDKWeightScaleData estimatedResult(double weight, double bia, const BodyComposition& body) {
    HalvoraSDKWeightScaleData data = weightRecord(weight, kKilograms, body);
    const double fat = body.getPercentageFatWithWeight(weight, bia);
    data.fatPercentage = fat;
    data.fatRawValue = weight * fat / kPerCent;
    const double water = body.getPercentageWaterWithWeight(weight, bia);
    data.waterPercentage = water;
    data.waterRawValue = weight * water / kPerCent;
    const double muscle = body.getPercentageMuscleWithWeight(weight, bia);
    data.musclePercentage = muscle;
    data.muscleRawValue = weight * muscle / kPerCent;
    const double visceral = body.getVisceralWithWeight(weight, bia);
    data.visceralPercentage = visceral;
    data.visceralRawValue = weight * visceral / kPerCent;
    const double bone = body.getBoneWithWeight(weight, bia);
    data.boneRawValue = bone;
    data.bonePercentage = bone / weight * kPerCent;
    data.bmr = body.getBMRWithWeight(weight, bia);
    // The impedance and the protein figure derived from the muscle estimate only mean something when the
    // scale measured an impedance.
    if (bia > 0) data.bia = bia;
    addKitEstimates(data, weight, body, bia > 0);
    return data;
}

}  // namespace

// ------------------------------------------------------------------------------------ class operations

bool HalvoraSDKWeightScale::isNameValid(const std::string& name) {
    return name.find(getName()) != std::string::npos;
}

bool HalvoraSDKWeightScale::matchDevice(const std::shared_ptr<Peripheral>& peripheral) {
    if (!peripheral) return false;
    const auto name = peripheral->name();
    return name && isNameValid(*name);
}

std::string HalvoraSDKWeightScale::format(const std::string& text) {
    return "cccc" + text + "-93d4-4c06-bcba-e719578f1408";
}

bool HalvoraSDKWeightScale::checkValue(std::span<const std::uint8_t> value) {
    return WeightScaleFrames::hasScaleMarker(value);
}

// ------------------------------------------------------------------------------------ process-wide state

HalvoraSDKWeightScale::ProcessState& HalvoraSDKWeightScale::processState() {
    static ProcessState state;
    return state;
}

std::mutex& HalvoraSDKWeightScale::processStateMutex() {
    static std::mutex mutex;
    return mutex;
}

HalvoraSDKWeightScale::ProcessState HalvoraSDKWeightScale::processStateSnapshot() {
    std::lock_guard lock(processStateMutex());
    return processState();
}

double HalvoraSDKWeightScale::lastWeight() {
    return processStateSnapshot().lastWeight;
}
double HalvoraSDKWeightScale::lastFat() {
    return processStateSnapshot().lastFat;
}
std::int32_t HalvoraSDKWeightScale::dateWeight() {
    return processStateSnapshot().dateWeight;
}
std::int32_t HalvoraSDKWeightScale::userID() {
    return processStateSnapshot().userID;
}

// ------------------------------------------------------------------------------------ context

std::shared_ptr<PreferenceUtils> HalvoraSDKWeightScale::preferences() const {
    return context().preferences ? context().preferences : PreferenceUtils::shared();
}

BodyComposition HalvoraSDKWeightScale::bodyComposition() const {
    return BodyComposition::fromPreferences(*preferences(), log());
}

std::shared_ptr<HalvoraWeightScaleDelegate> HalvoraSDKWeightScale::applicationDelegate() const {
    if (auto delegates = context().delegates.lock()) return delegates->weightscaleDelegate();
    return nullptr;
}

// ------------------------------------------------------------------------------------ formulas

double HalvoraSDKWeightScale::getPercentageFatWithWeight(double weight, double bia) const {
    return bodyComposition().getPercentageFatWithWeight(weight, bia);
}
double HalvoraSDKWeightScale::getPercentageWaterWithWeight(double weight, double bia) const {
    return bodyComposition().getPercentageWaterWithWeight(weight, bia);
}
double HalvoraSDKWeightScale::getPercentageMuscleWithWeight(double weight, double bia) const {
    return bodyComposition().getPercentageMuscleWithWeight(weight, bia);
}
double HalvoraSDKWeightScale::getBMRWithWeight(double weight, double bia) const {
    return bodyComposition().getBMRWithWeight(weight, bia);
}
double HalvoraSDKWeightScale::getBoneWithWeight(double weight, double bia) const {
    return bodyComposition().getBoneWithWeight(weight, bia);
}
double HalvoraSDKWeightScale::getVisceralWithWeight(double weight, double bia) const {
    return bodyComposition().getVisceralWithWeight(weight, bia);
}
double HalvoraSDKWeightScale::getBMIWithWeight(double weight) const {
    return bodyComposition().getBMIWithWeight(weight);
}
double HalvoraSDKWeightScale::getProteinWith(double musclePercentage) const {
    return BodyComposition::getProteinWith(musclePercentage);
}
double HalvoraSDKWeightScale::getIdealBodyWeight() const {
    return bodyComposition().getIdealBodyWeight();
}
double HalvoraSDKWeightScale::getObesityPercentage(double weight) const {
    return bodyComposition().getObesityPercentage(weight);
}
double HalvoraSDKWeightScale::getBodyAge(double bmi) const {
    return bodyComposition().getBodyAge(bmi);
}

// ------------------------------------------------------------------------------------ GATT

std::shared_ptr<Service> HalvoraSDKWeightScale::rs232Service() const {
    std::lock_guard lock(gattMutex_);
    return rs232Service_;
}

std::shared_ptr<Characteristic> HalvoraSDKWeightScale::bodyCharacteristic() const {
    std::lock_guard lock(gattMutex_);
    return bodyCharacteristic_;
}

std::shared_ptr<Characteristic> HalvoraSDKWeightScale::readCharacteristic() const {
    std::lock_guard lock(gattMutex_);
    return readCharacteristic_;
}

std::shared_ptr<Characteristic> HalvoraSDKWeightScale::sendCharacteristic() const {
    std::lock_guard lock(gattMutex_);
    return sendCharacteristic_;
}

void HalvoraSDKWeightScale::didConnect() {
    BLEDevice::didConnect();
    std::lock_guard lock(processStateMutex());
    processState().userID = 0;
}

void HalvoraSDKWeightScale::peripheralDidDiscoverServices(const std::shared_ptr<Peripheral>& peripheral,
                                                          const OptionalError& error) {
    if (error || !peripheral) return;
    // The scale's services are not told apart: each one is explored in full.
    for (const auto& service : peripheral->services()) {
        {
            std::lock_guard lock(gattMutex_);
            rs232Service_ = service;
        }
        peripheral->discoverCharacteristics({}, service);
    }
}

void HalvoraSDKWeightScale::peripheralDidDiscoverCharacteristicsForService(
    const std::shared_ptr<Peripheral>& peripheral, const std::shared_ptr<Service>& service,
    const OptionalError& error) {
    if (error || !peripheral || !service) return;
    for (const auto& characteristic : service->characteristics()) {
        const BLEUUID& uuid = characteristic->uuid();
        if (uuid == readCharacteristicUUID()) {
            {
                std::lock_guard lock(gattMutex_);
                readCharacteristic_ = characteristic;
            }
            peripheral->setNotifyValue(true, characteristic);
        } else if (uuid == bodyCharacteristicUUID()) {
            {
                std::lock_guard lock(gattMutex_);
                bodyCharacteristic_ = characteristic;
            }
            peripheral->setNotifyValue(true, characteristic);
        } else if (uuid == sendCharacteristicUUID()) {
            std::lock_guard lock(gattMutex_);
            sendCharacteristic_ = characteristic;
        }
        reportType();
    }
    if (!delegate()) return;
    reportReady();
    startMeasurement();
}

void HalvoraSDKWeightScale::peripheralDidWriteValueForDescriptor(const std::shared_ptr<Peripheral>& /*peripheral*/,
                                                                 const std::shared_ptr<Characteristic>& /*c*/,
                                                                 const OptionalError& /*error*/) {
    reportReady();
}

void HalvoraSDKWeightScale::reportType() {
    const std::int32_t type = bodyCharacteristic() ? kTypeWithImpedance : kTypeWeightOnly;
    if (auto receiver = applicationDelegate()) receiver->weightscaleOnTypeDetected(type);
}

// ------------------------------------------------------------------------------------ user parameters

void HalvoraSDKWeightScale::writeRawData(const std::vector<std::uint8_t>& data) {
    writeInPieces(data, sendCharacteristic());
}

void HalvoraSDKWeightScale::startMeasurement(const std::optional<std::string>& unit, std::int32_t gender,
                                             std::int32_t age, std::int32_t height) {
    writeRawData(WeightScaleFrames::userParameterFrame(unit, gender, age, height));
}

void HalvoraSDKWeightScale::startMeasurement() {
    const PreferenceUtils::WeightProfile user = preferences()->getWeightProfile();
    // Only the low 8 bits of the height go into the frame.
    startMeasurement(user.unit, user.gender, user.age, static_cast<std::int32_t>(user.height));
    armRepeat();
}

// The scale asks for the parameters again with every weighing frame, and a scale streams live weights
// several times a second. Each frame still sends the parameters at once, but only one check that repeats
// them is kept pending: one per frame would leave a chain of checks per frame streamed, each sending the
// frame every two seconds, without bound.
void HalvoraSDKWeightScale::armRepeat() {
    const auto& executor = context().executor;
    if (!executor) return;
    if (repeatPending_.exchange(true)) return;
    std::weak_ptr<BLEDevice> weak = weak_from_this();
    executor->mainQueue()->asyncAfter(seconds(kRepeatInterval), [weak] {
        auto self = std::static_pointer_cast<HalvoraSDKWeightScale>(weak.lock());
        if (!self) return;
        self->repeatPending_ = false;
        self->repeatIfNoResultYet();
    });
}

void HalvoraSDKWeightScale::repeatIfNoResultYet() {
    // Once any two-part result has been seen in this process the frame is no longer repeated.
    if (lastWeight() > 0) return;
    const auto peripheral = device();
    if (!peripheral || peripheral->state() != PeripheralState::Connected) return;
    startMeasurement();
}

// ------------------------------------------------------------------------------------ notifications

void HalvoraSDKWeightScale::peripheralDidUpdateValueForCharacteristic(
    const std::shared_ptr<Peripheral>& /*peripheral*/, const std::shared_ptr<Characteristic>& characteristic,
    const std::vector<std::uint8_t>& value, const OptionalError& error) {
    if (error || !characteristic || isReleased()) return;
    if (characteristic == bodyCharacteristic()) parseImpedanceResult(value);
    if (characteristic != readCharacteristic()) return;
    parseReadValue(value);
}

void HalvoraSDKWeightScale::parseReadValue(std::span<const std::uint8_t> value) {
    if (!value.empty() && value[0] == WeightScaleFrames::kImpedanceMarker) {
        parseWeighing(value);
        return;
    }
    if (!checkValue(value)) return;
    const auto family = WeightScaleFrames::familyByte(value);
    if (!family) return;
    if (*family == WeightScaleFrames::kTwoPartResult) {
        parseTwoPartResult(value);
    } else if (*family == WeightScaleFrames::kOneFrameResult) {
        parseOneFrameResult(value);
    }
}

// Family A: a weight and an impedance; the formulas estimate everything else.
void HalvoraSDKWeightScale::parseImpedanceResult(std::span<const std::uint8_t> value) {
    const auto reading = WeightScaleFrames::impedance(value);
    if (!reading) return;
    deliverResult(estimatedResult(reading->weight, reading->bia, bodyComposition()));
}

// Family B: the weight while the user stands on the scale.
void HalvoraSDKWeightScale::parseWeighing(std::span<const std::uint8_t> value) {
    const auto reading = WeightScaleFrames::impedance(value);
    if (!reading) return;
    HalvoraSDKWeightScaleData data;
    data.weight = reading->weight;
    data.unit = kKilograms;
    deliverMeasurementResult(data);
}

// Family C: a weighing weight, or one half of a result whose figures the scale computed.
void HalvoraSDKWeightScale::parseTwoPartResult(std::span<const std::uint8_t> value) {
    const auto shape = WeightScaleFrames::twoPartShape(value);
    if (!shape) return;
    switch (*shape) {
        case WeightScaleFrames::TwoPartShape::Weighing: {
            const auto weight = WeightScaleFrames::weighingWeight(value);
            if (!weight) return;
            deliverMeasurementResult(weightRecord(*weight, kKilograms, bodyComposition()));
            // The scale expects the user's parameters again after each weighing frame.
            startMeasurement();
            return;
        }
        case WeightScaleFrames::TwoPartShape::FirstHalf: {
            const auto half = WeightScaleFrames::firstHalf(value);
            if (!half) return;
            std::lock_guard lock(processStateMutex());
            auto& state = processState();
            state.dateWeight = half->dateWeight;
            state.userID = half->userID;
            state.lastWeight = half->weight;
            state.lastFat = half->fat;
            return;
        }
        case WeightScaleFrames::TwoPartShape::SecondHalf: {
            const auto half = WeightScaleFrames::secondHalf(value);
            if (!half) return;
            // Completed with whatever first half came last, on any connection: there is no pairing check.
            const ProcessState first = processStateSnapshot();
            const ScaleFigures figures{first.lastWeight, first.lastFat, half->water, half->muscle,
                                       half->visceral,   half->bone,    half->bmr};
            deliverResult(scaleResult(figures, kKilograms, bodyComposition()));
            return;
        }
    }
}

// Family D: a whole result in one frame, scaled by the scale bits' factor.
void HalvoraSDKWeightScale::parseOneFrameResult(std::span<const std::uint8_t> value) {
    const auto result = WeightScaleFrames::oneFrameResult(value);
    if (!result) return;
    const BodyComposition body = bodyComposition();
    const bool anyFigure = result->fat != 0 || result->water != 0 || result->muscle != 0 || result->visceral != 0 ||
                           result->bone != 0 || result->bmr != 0;
    if (result->status && anyFigure) {
        const ScaleFigures figures{result->weight,   result->fat,  result->water, result->muscle,
                                   result->visceral, result->bone, result->bmr};
        deliverResult(scaleResult(figures, result->unit, body));
    } else {
        deliverResult(weightRecord(result->weight, result->unit, body));
    }
}

void HalvoraSDKWeightScale::deliverMeasurementResult(const HalvoraSDKWeightScaleData& data) {
    if (auto receiver = applicationDelegate()) receiver->weightscaleOnMeasurementResult(data);
}

void HalvoraSDKWeightScale::deliverResult(const HalvoraSDKWeightScaleData& data) {
    if (auto receiver = applicationDelegate()) receiver->weightscaleOnResult(data);
}

}  // namespace halvora
