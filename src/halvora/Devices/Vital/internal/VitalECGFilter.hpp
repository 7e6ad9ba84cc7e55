#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace halvora {

/// The band-pass filter every raw ECG sample of the Vital bracelet goes through before it reaches the
/// application: a fourth-order section with numerator (b0, 0, -b2, 0, b4) and denominator (1, -a1, a2, -a3,
/// a4), run over the sample scaled by 18.3/128 and offset by 0.06, and handed on with its sign inverted
/// (on purpose: applications expect the trace that way). Its two five-slot histories hold the last inputs
/// and outputs; slot 4 takes the new value and, after each sample, both shift down by one so that slot 4 is
/// free again. The arithmetic, including the order of the terms, is kept as it stands: other
/// implementations of this filter are compared with it to the last bits.
class VitalECGFilter {
public:
    /// Slots of each history.
    static constexpr std::size_t kTaps = 5;
    /// The raw sample's scale: 18.3 ...
    static constexpr double kGain = 18.3;
    /// ... over 128.
    static constexpr double kGainStep = 0.0078125;
    /// The offset added after scaling.
    static constexpr double kOffset = 0.06;
    /// Numerator: the weight of the newest and of the oldest input.
    static constexpr double kB0 = 0.012493658738073;
    /// Numerator: the weight (subtracted) of the input two samples back.
    static constexpr double kB2 = 0.024987317476146;
    /// Numerator: the weight of the input four samples back (equal to kB0).
    static constexpr double kB4 = 0.012493658738073;
    /// Feedback weight of the output one sample back (added).
    static constexpr double kA1 = 3.658469528008591;
    /// Feedback weight of the output two samples back (subtracted).
    static constexpr double kA2 = 5.026987876570873;
    /// Feedback weight of the output three samples back (added).
    static constexpr double kA3 = 3.078346646055655;
    /// Feedback weight of the output four samples back (subtracted).
    static constexpr double kA4 = 0.709828779797188;

    /// Both histories set to zeros (the start of an upload or of a waveform download).
    void reset();

    /// Runs one raw sample through the filter and gives the value handed on (the output, sign inverted).
    double filter(std::int16_t raw) {
        input_[4] = static_cast<double>(raw) * kGain * kGainStep + kOffset;
        output_[4] = kB0 * input_[4] - kB2 * input_[2] + kB4 * input_[0] + kA1 * output_[3] - kA2 * output_[2] +
                     kA3 * output_[1] - kA4 * output_[0];
        const double result = output_[4];
        shift(input_);
        shift(output_);
        return -result;
    }

private:
    using History = std::array<double, kTaps>;

    /// Drops slot 0 and frees slot 4.
    static void shift(History& history) {
        for (std::size_t slot = 0; slot + 1 < kTaps; ++slot) history[slot] = history[slot + 1];
        history[kTaps - 1] = 0;
    }

    History input_{};
    History output_{};
};

}  // namespace halvora
