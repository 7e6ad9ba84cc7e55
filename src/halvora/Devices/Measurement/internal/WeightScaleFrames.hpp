#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace halvora {

/// The body-composition scale's frames: the user-parameter frame the kit writes and the four notification
/// families the scale sends. Each decoder checks the frame's marker bytes and its length and gives nothing
/// for a frame that is not of its family or too short for the bytes it reads. No received frame carries a
/// checksum that is checked.
///
/// Notification families:
/// - A, impedance result on the body characteristic: 06 at byte 0; impedance (tenths) little-endian at
///   9-10, weight (tenths) little-endian at 11-12.
/// - B, weight while weighing on the read characteristic: 06 at byte 0; weight (tenths) little-endian at
///   11-12.
/// - C, two-part result: CA 11 at bytes 0-1, all values big-endian. Byte 3 = 00: weighing, weight at 5-6.
///   Byte 3 not 00 with 1 in the high nibble of byte 4: first half (time stamp 5-8, user 11-14, weight
///   15-16, fat 17-18). Any other high nibble: second half (water 5-6, muscle 7-8, metabolic rate 9-10,
///   visceral 11-12, bone 13, all in tenths except the metabolic rate).
/// - D, one-frame result: CA 10 at bytes 0-1; flags at byte 4 (status bit 0, scale bits 1-2, unit bits
///   3-4), then weight 5-6, fat 7-8, water 9-10, muscle 11-12, metabolic rate 13-14, visceral 15-16 and
///   bone 17, big-endian, in tenths except the metabolic rate.
class WeightScaleFrames {
public:
    WeightScaleFrames() = delete;

    static constexpr std::uint8_t kImpedanceMarker = 0x06;  ///< byte 0 of families A and B
    static constexpr std::uint8_t kScaleMarker = 0xCA;      ///< byte 0 of families C and D
    static constexpr std::uint8_t kTwoPartResult = 0x11;    ///< byte 1 of family C
    static constexpr std::uint8_t kOneFrameResult = 0x10;   ///< byte 1 of family D
    static constexpr std::size_t kUserParameterFrameLength = 13;

    /// CA 0A 10 01 00 00 00 00, sex (80 for 0, male; 00 otherwise), age and height (low 8 bits each),
    /// unit (00 for exactly "kg", 01 otherwise, also when absent), then the XOR of the twelve bytes before.
    static std::vector<std::uint8_t> userParameterFrame(const std::optional<std::string>& unit, std::int32_t sex,
                                                        std::int32_t age, std::int32_t height);

    /// Family A (and the weight of family B).
    struct Impedance {
        double bia = 0;     ///< the frame's value / 10
        double weight = 0;  ///< kilograms
    };
    /// Family C, first half.
    struct FirstHalf {
        std::int32_t dateWeight = 0;
        std::int32_t userID = 0;
        double weight = 0;
        double fat = 0;
    };
    /// Family C, second half.
    struct SecondHalf {
        double water = 0;
        double muscle = 0;
        double bmr = 0;
        double visceral = 0;
        double bone = 0;
    };
    /// Family D, every figure already multiplied by the scale bits' factor (the metabolic rate excepted).
    struct OneFrameResult {
        bool status = false;
        const char* unit = "kg";  ///< "kg" or "lb" (static texts)
        double multiplier = 0;
        double weight = 0;
        double fat = 0;
        double water = 0;
        double muscle = 0;
        double bmr = 0;
        double visceral = 0;
        double bone = 0;
    };
    /// The three shapes of family C.
    enum class TwoPartShape { Weighing, FirstHalf, SecondHalf };

    /// Family A or B: 06 at byte 0 and at least 13 bytes.
    static std::optional<Impedance> impedance(std::span<const std::uint8_t> frame);
    /// Whether byte 0 is CA (the scale's frames); nothing else is checked.
    static bool hasScaleMarker(std::span<const std::uint8_t> frame);
    /// Byte 1 of a CA frame, or nothing for a frame of fewer than 2 bytes.
    static std::optional<std::uint8_t> familyByte(std::span<const std::uint8_t> frame);
    /// Which part of family C the frame is; nothing when it lacks byte 3 (or byte 4 for a half).
    static std::optional<TwoPartShape> twoPartShape(std::span<const std::uint8_t> frame);
    /// Family C weighing weight (7 bytes or more).
    static std::optional<double> weighingWeight(std::span<const std::uint8_t> frame);
    /// Family C first half (19 bytes or more).
    static std::optional<FirstHalf> firstHalf(std::span<const std::uint8_t> frame);
    /// Family C second half (14 bytes or more).
    static std::optional<SecondHalf> secondHalf(std::span<const std::uint8_t> frame);
    /// Family D (18 bytes or more).
    static std::optional<OneFrameResult> oneFrameResult(std::span<const std::uint8_t> frame);
    /// The factor of family D's scale bits (byte 4 AND 06): 0 gives 1, 2 gives 2, 4 and 6 give 0.
    static double multiplierForScaleBits(std::uint8_t scaleBits);
};

}  // namespace halvora
