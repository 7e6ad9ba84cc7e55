#include "lab/Devices/Measurement/VirtualWeightScale.hpp"

#include <algorithm>
#include <cmath>

namespace halvora::lab {

namespace {

const BLEUUID kScaleService("FFF0");
const BLEUUID kNotifying("FFF1");
const BLEUUID kWritable("FFF2");
const BLEUUID kBodyService("181B");
const BLEUUID kBody("2A9C");

// Frames of the scale.
constexpr std::uint8_t kScaleFrame = 0xCA;
constexpr std::uint8_t kImpedanceFrame = 0x06;
constexpr std::uint8_t kParameters = 0x0A;
constexpr std::uint8_t kOneFrame = 0x10;
constexpr std::uint8_t kTwoPart = 0x11;
constexpr std::size_t kParameterFrameLength = 13;
constexpr std::uint8_t kMaleByte = 0x80;
constexpr std::uint8_t kStatusStable = 0x01;
constexpr std::uint8_t kUnitPounds = 0x08;
constexpr std::uint8_t kSettled = 0x01;    // byte 3 of a two-part half (00 while weighing)
constexpr std::uint8_t kFirstHalf = 0x10;  // byte 4, high nibble
constexpr std::uint8_t kSecondHalf = 0x20;
constexpr std::size_t kImpedanceOffset = 9;  // then the weight at 11
constexpr double kPoundsPerKilogram = 2.20462;

/// Tenths of a value on 16 bits (rounded, clamped to what the field holds).
std::uint16_t tenths16(double value) {
    return static_cast<std::uint16_t>(std::clamp(std::lround(value * 10.0), 0L, 65535L));
}
std::uint8_t tenths8(double value) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(value * 10.0), 0L, 255L));
}
std::uint16_t whole16(int value) {
    return static_cast<std::uint16_t>(std::clamp(value, 0, 65535));
}

void putBig16(std::vector<std::uint8_t>& frame, std::uint16_t value) {
    frame.push_back(static_cast<std::uint8_t>(value >> 8));
    frame.push_back(static_cast<std::uint8_t>(value & 0xFF));
}
void putBig32(std::vector<std::uint8_t>& frame, std::uint32_t value) {
    putBig16(frame, static_cast<std::uint16_t>(value >> 16));
    putBig16(frame, static_cast<std::uint16_t>(value & 0xFFFF));
}
void putLittle16(std::vector<std::uint8_t>& frame, std::uint16_t value) {
    frame.push_back(static_cast<std::uint8_t>(value & 0xFF));
    frame.push_back(static_cast<std::uint8_t>(value >> 8));
}

std::uint8_t xorOf(const std::vector<std::uint8_t>& bytes, std::size_t count) {
    std::uint8_t check = 0;
    for (std::size_t i = 0; i < count && i < bytes.size(); ++i) check ^= bytes[i];
    return check;
}

/// A CA frame: header, body, then the XOR of everything before.
std::vector<std::uint8_t> scaleFrame(std::uint8_t kind, const std::vector<std::uint8_t>& body) {
    std::vector<std::uint8_t> frame;
    frame.reserve(body.size() + 3);
    frame.push_back(kScaleFrame);
    frame.push_back(kind);
    for (std::uint8_t byte : body) frame.push_back(byte);
    frame.push_back(xorOf(frame, frame.size()));
    return frame;
}

/// CA 10: flags, then weight, fat, water, muscle, metabolic rate, visceral (16 bits) and bone (8 bits).
std::vector<std::uint8_t> oneFrame(std::uint8_t flags, double weight, const WeightScaleScript* figures) {
    std::vector<std::uint8_t> body = {0x00, 0x00, flags};
    putBig16(body, tenths16(weight));
    putBig16(body, figures ? tenths16(figures->fat) : 0);
    putBig16(body, figures ? tenths16(figures->water) : 0);
    putBig16(body, figures ? tenths16(figures->muscle) : 0);
    putBig16(body, figures ? whole16(figures->bmr) : 0);
    putBig16(body, figures ? tenths16(figures->visceral) : 0);
    body.push_back(figures ? tenths8(figures->bone) : 0);
    return scaleFrame(kOneFrame, body);
}

/// CA 11 00 00 00: a weight while weighing.
std::vector<std::uint8_t> twoPartWeighing(double weight) {
    std::vector<std::uint8_t> body = {0x00, 0x00, 0x00};
    putBig16(body, tenths16(weight));
    return scaleFrame(kTwoPart, body);
}

/// CA 11, first half: time stamp, user number, weight, fat.
std::vector<std::uint8_t> twoPartFirst(const WeightScaleScript& s) {
    std::vector<std::uint8_t> body = {0x00, kSettled, kFirstHalf};
    putBig32(body, s.timestamp);
    putBig16(body, 0x0000);
    putBig32(body, s.userNumber);
    putBig16(body, tenths16(s.weight));
    putBig16(body, tenths16(s.fat));
    return scaleFrame(kTwoPart, body);
}

/// CA 11, second half: water, muscle, metabolic rate, visceral, bone.
std::vector<std::uint8_t> twoPartSecond(const WeightScaleScript& s) {
    std::vector<std::uint8_t> body = {0x00, kSettled, kSecondHalf};
    putBig16(body, tenths16(s.water));
    putBig16(body, tenths16(s.muscle));
    putBig16(body, whole16(s.bmr));
    putBig16(body, tenths16(s.visceral));
    body.push_back(tenths8(s.bone));
    return scaleFrame(kTwoPart, body);
}

/// 06 frame: impedance and weight, little-endian tenths, at bytes 9 and 11.
std::vector<std::uint8_t> impedanceFrame(double impedance, double weight) {
    std::vector<std::uint8_t> frame(kImpedanceOffset, 0x00);
    frame[0] = kImpedanceFrame;
    putLittle16(frame, tenths16(impedance));
    putLittle16(frame, tenths16(weight));
    return frame;
}

}  // namespace

VirtualWeightScale::VirtualWeightScale(VirtualPeripheralConfig config, bool impedanceSensor)
    : VirtualPeripheral(std::move(config)), impedanceSensor_(impedanceSensor) {
    addService(kScaleService);
    addCharacteristic(kScaleService, kNotifying, CharacteristicPropertyNotify);
    addCharacteristic(kScaleService, kWritable,
                      CharacteristicPropertyWrite | CharacteristicPropertyWriteWithoutResponse);
    if (impedanceSensor_) {
        addService(kBodyService);
        addCharacteristic(kBodyService, kBody, CharacteristicPropertyNotify);
    }
}

std::shared_ptr<VirtualWeightScale> VirtualWeightScale::make(const std::string& identifier, int rssi,
                                                             bool impedanceSensor) {
    VirtualPeripheralConfig config;
    config.identifier = identifier;
    config.name = "Chipsea-BLE";
    config.localName = "Chipsea-BLE";
    config.rssi = rssi;
    return std::make_shared<VirtualWeightScale>(config, impedanceSensor);
}

void VirtualWeightScale::setScript(const WeightScaleScript& script) {
    std::lock_guard lock(mutex_);
    script_ = script;
}

WeightScaleScript VirtualWeightScale::script() const {
    std::lock_guard lock(mutex_);
    return script_;
}

std::optional<VirtualWeightScale::UserParameters> VirtualWeightScale::userParameters() const {
    std::lock_guard lock(mutex_);
    return user_;
}

int VirtualWeightScale::parameterFrames() const {
    std::lock_guard lock(mutex_);
    return parameterFrames_;
}

int VirtualWeightScale::badParameterFrames() const {
    std::lock_guard lock(mutex_);
    return badParameterFrames_;
}

int VirtualWeightScale::measurementsStarted() const {
    std::lock_guard lock(mutex_);
    return measurements_;
}

void VirtualWeightScale::onConnected() {
    std::lock_guard lock(mutex_);
    autoStarted_ = false;
}

void VirtualWeightScale::onWrite(const BLEUUID& characteristic, const std::vector<std::uint8_t>& value, WriteType) {
    if (characteristic != kWritable) return;
    if (value.size() >= 2 && value[0] == kScaleFrame && value[1] == kParameters) takeParameters(value);
}

void VirtualWeightScale::takeParameters(const std::vector<std::uint8_t>& value) {
    const bool good = value.size() == kParameterFrameLength && xorOf(value, 12) == value[12];
    std::optional<Duration> startAfter;
    bool echo = false;
    {
        std::lock_guard lock(mutex_);
        if (!good) {
            ++badParameterFrames_;
            return;
        }
        ++parameterFrames_;
        user_ = UserParameters{value[8] == kMaleByte, value[9], value[10], value[11] == 0x00};
        echo = script_.echoParameters;
        if (!autoStarted_ && script_.autoStartAfter) {
            autoStarted_ = true;
            startAfter = script_.autoStartAfter;
        }
    }
    if (echo) notify(kNotifying, value);
    if (!startAfter) return;
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    schedule(*startAfter, [weak] {
        if (auto self = std::static_pointer_cast<VirtualWeightScale>(weak.lock())) self->stepOn();
    });
}

void VirtualWeightScale::stepOn() {
    WeightScaleScript s;
    bool pounds = false;
    int generation = 0;
    {
        std::lock_guard lock(mutex_);
        s = script_;
        pounds = s.pounds.value_or(user_ && !user_->kilograms);
        generation = ++measurements_;
    }
    playStep(0, measurementFrames(s, pounds), generation);
}

std::vector<VirtualWeightScale::Frame> VirtualWeightScale::measurementFrames(const WeightScaleScript& s,
                                                                             bool pounds) const {
    std::vector<Frame> frames;
    switch (s.family) {
        case WeightScaleScript::Family::OneFrame: {
            const double factor = pounds ? kPoundsPerKilogram : 1.0;
            const std::uint8_t flags = static_cast<std::uint8_t>((s.scaleBits & 0x06) | (pounds ? kUnitPounds : 0));
            for (double w : s.weighingWeights) frames.push_back({kNotifying, oneFrame(flags, w * factor, nullptr)});
            const std::uint8_t last = static_cast<std::uint8_t>(flags | (s.stable ? kStatusStable : 0));
            WeightScaleScript figures = s;
            figures.muscle = s.muscle * factor;
            figures.bone = s.bone * factor;
            frames.push_back({kNotifying, oneFrame(last, s.weight * factor, &figures)});
            break;
        }
        case WeightScaleScript::Family::TwoPart:
            for (double w : s.weighingWeights) frames.push_back({kNotifying, twoPartWeighing(w)});
            frames.push_back({kNotifying, twoPartWeighing(s.weight)});
            frames.push_back({kNotifying, twoPartFirst(s)});
            frames.push_back({kNotifying, twoPartSecond(s)});
            break;
        case WeightScaleScript::Family::Impedance:
            for (double w : s.weighingWeights) frames.push_back({kNotifying, impedanceFrame(0, w)});
            frames.push_back({kNotifying, impedanceFrame(0, s.weight)});
            if (impedanceSensor_) frames.push_back({kBody, impedanceFrame(s.impedance, s.weight)});
            break;
    }
    return frames;
}

void VirtualWeightScale::playStep(std::size_t step, std::vector<Frame> frames, int generation) {
    if (step >= frames.size() || !isConnected()) return;
    Duration interval;
    {
        // A newer measurement replaces this one.
        std::lock_guard lock(mutex_);
        if (generation != measurements_) return;
        interval = script_.stepInterval;
    }
    notify(frames[step].characteristic, frames[step].bytes);
    if (step + 1 >= frames.size()) return;
    std::weak_ptr<VirtualPeripheral> weak = weak_from_this();
    schedule(interval, [weak, step, frames = std::move(frames), generation]() mutable {
        if (auto self = std::static_pointer_cast<VirtualWeightScale>(weak.lock())) {
            self->playStep(step + 1, std::move(frames), generation);
        }
    });
}

}  // namespace halvora::lab
