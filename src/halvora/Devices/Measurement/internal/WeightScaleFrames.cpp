#include "halvora/Devices/Measurement/internal/WeightScaleFrames.hpp"

#include <algorithm>

namespace halvora {

namespace {

// User-parameter frame.
constexpr std::uint8_t kParameterHeader[] = {0xCA, 0x0A, 0x10, 0x01, 0x00, 0x00, 0x00, 0x00};
constexpr std::size_t kSexOffset = 8;
constexpr std::size_t kAgeOffset = 9;
constexpr std::size_t kHeightOffset = 10;
constexpr std::size_t kUnitOffset = 11;
constexpr std::size_t kCheckOffset = 12;
constexpr std::uint8_t kMale = 0x80;
constexpr std::uint8_t kFemale = 0x00;
constexpr std::uint8_t kKilograms = 0x00;
constexpr std::uint8_t kOtherUnit = 0x01;

// Families A and B: little-endian tenths.
constexpr std::size_t kImpedanceOffset = 9;
constexpr std::size_t kImpedanceWeightOffset = 11;
constexpr std::size_t kImpedanceFrameLength = 13;

// Family C.
constexpr std::size_t kKindOffset = 1;
constexpr std::size_t kShapeOffset = 3;
constexpr std::size_t kHalfOffset = 4;
constexpr std::uint8_t kHalfMask = 0xF0;
constexpr std::uint8_t kFirstHalfNibble = 0x10;
constexpr std::size_t kWeighingWeightOffset = 5;
constexpr std::size_t kWeighingFrameLength = 7;
constexpr std::size_t kDateOffset = 5;
constexpr std::size_t kUserOffset = 11;
constexpr std::size_t kFirstWeightOffset = 15;
constexpr std::size_t kFirstFatOffset = 17;
constexpr std::size_t kFirstHalfLength = 19;
constexpr std::size_t kWaterOffset = 5;
constexpr std::size_t kMuscleOffset = 7;
constexpr std::size_t kBMROffset = 9;
constexpr std::size_t kVisceralOffset = 11;
constexpr std::size_t kBoneOffset = 13;
constexpr std::size_t kSecondHalfLength = 14;

// Family D.
constexpr std::size_t kFlagsOffset = 4;
constexpr std::uint8_t kStatusBit = 0x01;
constexpr std::uint8_t kScaleBits = 0x06;
constexpr std::uint8_t kUnitBits = 0x18;
constexpr std::size_t kResultWeightOffset = 5;
constexpr std::size_t kResultFatOffset = 7;
constexpr std::size_t kResultWaterOffset = 9;
constexpr std::size_t kResultMuscleOffset = 11;
constexpr std::size_t kResultBMROffset = 13;
constexpr std::size_t kResultVisceralOffset = 15;
constexpr std::size_t kResultBoneOffset = 17;
constexpr std::size_t kOneFrameLength = 18;

constexpr double kTenths = 10.0;

std::uint32_t littleEndian16(std::span<const std::uint8_t> frame, std::size_t offset) {
    return static_cast<std::uint32_t>(frame[offset + 1]) * 256U + frame[offset];
}

std::uint32_t bigEndian16(std::span<const std::uint8_t> frame, std::size_t offset) {
    return static_cast<std::uint32_t>(frame[offset]) * 256U + frame[offset + 1];
}

std::int32_t bigEndian32(std::span<const std::uint8_t> frame, std::size_t offset) {
    const std::uint32_t value = (static_cast<std::uint32_t>(frame[offset]) << 24) |
                                (static_cast<std::uint32_t>(frame[offset + 1]) << 16) |
                                (static_cast<std::uint32_t>(frame[offset + 2]) << 8) | frame[offset + 3];
    return static_cast<std::int32_t>(value);  // modular: a value of 2^31 or more becomes negative
}

double tenths(std::uint32_t raw) {
    return raw / kTenths;
}

}  // namespace

std::vector<std::uint8_t> WeightScaleFrames::userParameterFrame(const std::optional<std::string>& unit,
                                                                std::int32_t sex, std::int32_t age,
                                                                std::int32_t height) {
    // The frame is made at its full length and the header copied in: growing a copy of the header with
    // resize() trips GCC 12's -Warray-bounds at -O3 (a false positive in the reallocation path).
    std::vector<std::uint8_t> frame(kUserParameterFrameLength, 0);
    std::copy(std::begin(kParameterHeader), std::end(kParameterHeader), frame.begin());
    frame[kSexOffset] = sex == 0 ? kMale : kFemale;
    frame[kAgeOffset] = static_cast<std::uint8_t>(age & 0xFF);
    frame[kHeightOffset] = static_cast<std::uint8_t>(height & 0xFF);
    frame[kUnitOffset] = unit && *unit == "kg" ? kKilograms : kOtherUnit;
    std::uint8_t check = 0;
    for (std::size_t i = 0; i < kCheckOffset; ++i) check ^= frame[i];
    frame[kCheckOffset] = check;
    return frame;
}

std::optional<WeightScaleFrames::Impedance> WeightScaleFrames::impedance(std::span<const std::uint8_t> frame) {
    if (frame.size() < kImpedanceFrameLength || frame[0] != kImpedanceMarker) return std::nullopt;
    return Impedance{tenths(littleEndian16(frame, kImpedanceOffset)),
                     tenths(littleEndian16(frame, kImpedanceWeightOffset))};
}

bool WeightScaleFrames::hasScaleMarker(std::span<const std::uint8_t> frame) {
    return !frame.empty() && frame[0] == kScaleMarker;
}

std::optional<std::uint8_t> WeightScaleFrames::familyByte(std::span<const std::uint8_t> frame) {
    if (frame.size() <= kKindOffset) return std::nullopt;
    return frame[kKindOffset];
}

std::optional<WeightScaleFrames::TwoPartShape> WeightScaleFrames::twoPartShape(std::span<const std::uint8_t> frame) {
    if (frame.size() <= kShapeOffset) return std::nullopt;
    if (frame[kShapeOffset] == 0x00) return TwoPartShape::Weighing;
    if (frame.size() <= kHalfOffset) return std::nullopt;
    if ((frame[kHalfOffset] & kHalfMask) == kFirstHalfNibble) return TwoPartShape::FirstHalf;
    return TwoPartShape::SecondHalf;
}

std::optional<double> WeightScaleFrames::weighingWeight(std::span<const std::uint8_t> frame) {
    if (frame.size() < kWeighingFrameLength) return std::nullopt;
    return tenths(bigEndian16(frame, kWeighingWeightOffset));
}

std::optional<WeightScaleFrames::FirstHalf> WeightScaleFrames::firstHalf(std::span<const std::uint8_t> frame) {
    if (frame.size() < kFirstHalfLength) return std::nullopt;
    FirstHalf half;
    half.dateWeight = bigEndian32(frame, kDateOffset);
    half.userID = bigEndian32(frame, kUserOffset);
    half.weight = tenths(bigEndian16(frame, kFirstWeightOffset));
    half.fat = tenths(bigEndian16(frame, kFirstFatOffset));
    return half;
}

std::optional<WeightScaleFrames::SecondHalf> WeightScaleFrames::secondHalf(std::span<const std::uint8_t> frame) {
    if (frame.size() < kSecondHalfLength) return std::nullopt;
    SecondHalf half;
    half.water = tenths(bigEndian16(frame, kWaterOffset));
    half.muscle = tenths(bigEndian16(frame, kMuscleOffset));
    half.bmr = bigEndian16(frame, kBMROffset);
    half.visceral = tenths(bigEndian16(frame, kVisceralOffset));
    half.bone = tenths(frame[kBoneOffset]);
    return half;
}

double WeightScaleFrames::multiplierForScaleBits(std::uint8_t scaleBits) {
    switch (scaleBits & kScaleBits) {
        case 0x00:
            return 1.0;
        case 0x02:
            return 2.0;
        default:
            return 0.0;  // 4 and 6
    }
}

std::optional<WeightScaleFrames::OneFrameResult> WeightScaleFrames::oneFrameResult(
    std::span<const std::uint8_t> frame) {
    if (frame.size() < kOneFrameLength) return std::nullopt;
    const std::uint8_t flags = frame[kFlagsOffset];
    OneFrameResult result;
    result.status = (flags & kStatusBit) != 0;
    result.unit = (flags & kUnitBits) == 0 ? "kg" : "lb";
    const double m = multiplierForScaleBits(flags & kScaleBits);
    result.multiplier = m;
    result.weight = tenths(bigEndian16(frame, kResultWeightOffset)) * m;
    result.fat = tenths(bigEndian16(frame, kResultFatOffset)) * m;
    result.water = tenths(bigEndian16(frame, kResultWaterOffset)) * m;
    result.muscle = tenths(bigEndian16(frame, kResultMuscleOffset)) * m;
    result.bmr = bigEndian16(frame, kResultBMROffset);
    result.visceral = tenths(bigEndian16(frame, kResultVisceralOffset)) * m;
    result.bone = tenths(frame[kResultBoneOffset]) * m;
    return result;
}

}  // namespace halvora
