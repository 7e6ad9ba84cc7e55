#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// Puts the phone's writes together into frames AA 55 len code ... checksum, as the box's receiver does: a
/// frame longer than one write arrives in pieces, and one write may end a frame and begin the next.
///
/// Caps: the receiver holds at most kMaxFrameSize bytes of one frame; a length byte asking for more (or less
/// than a code and a checksum) makes the frame a BadLength and everything held is dropped. A frame left
/// unfinished for kPieceTimeout is dropped when the next write comes (an Unfinished result).
class PillBoxFrameReader {
public:
    /// The longest frame the box takes (its longest command is 20 bytes).
    static constexpr std::size_t kMaxFrameSize = 32;
    /// How long the receiver waits for the rest of a frame.
    static constexpr Duration kPieceTimeout = std::chrono::seconds(1);

    /// What came out of a write.
    struct Result {
        /// What the bytes are.
        enum class Kind {
            Frame,        ///< a whole frame whose checksum is right
            BadChecksum,  ///< a whole frame whose checksum is wrong
            BadLength,    ///< a header with an impossible length byte
            NotAFrame,    ///< bytes that do not begin with AA 55
            Unfinished,   ///< the start of a frame whose rest never came
        };
        Kind kind = Kind::Frame;          ///< what the bytes are
        std::vector<std::uint8_t> bytes;  ///< the frame (or the bytes dropped)
    };

    /// Takes one write received at `now`; returns the frames (and failures) it completes, in order.
    std::vector<Result> take(const std::vector<std::uint8_t>& write, MonotonicTime now);
    /// Forgets a frame under way (the link ended).
    void reset();

private:
    std::vector<Result> drain();
    Result dropAll(Result::Kind kind);

    std::vector<std::uint8_t> pending_;
    MonotonicTime pendingSince_{};
};

}  // namespace halvora::lab
