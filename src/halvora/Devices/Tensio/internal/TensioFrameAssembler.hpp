#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace halvora {

/// Puts the wrist blood-pressure bracelet's frames together from its notifications: bytes are appended until
/// the buffer is as long as its byte 2 + 4 announces, and then the frame is complete.
///
/// Cap: a frame is at most 255 + 4 bytes (kCap). Bytes that cannot make a frame are dropped whole, the
/// buffer and the notification that overflowed it: a buffer that grows past the length its byte 2 announces
/// (a frame that runs on, or two frames in one notification), or that would grow past the cap. The
/// bracelet's next notification then starts a new frame.
class TensioFrameAssembler {
public:
    /// The most bytes the buffer holds.
    static constexpr std::size_t kCap = 255 + 4;

    /// What an append did.
    enum class Status {
        Waiting,   ///< the frame is not complete yet (or the notification was empty)
        Complete,  ///< the frame is complete: take() it
        Dropped,   ///< the bytes could not make a frame and were dropped, buffer included
    };

    /// Appends a notification's bytes.
    Status append(std::span<const std::uint8_t> bytes);
    /// The complete frame; the buffer is empty afterwards.
    std::vector<std::uint8_t> take();
    /// Empties the buffer.
    void clear() { buffer_.clear(); }
    /// Bytes waiting in the buffer.
    std::size_t size() const { return buffer_.size(); }

private:
    std::vector<std::uint8_t> buffer_;
};

}  // namespace halvora
