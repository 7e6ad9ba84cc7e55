#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace halvora::lab {

/// Assembles the phone's command text, which may come cut into several writes, into lines ending in
/// "\r\n" (the lines come out without it). Several lines may come in one write.
///
/// Cap: text waiting for its "\r\n" is held up to kMaxLineLength bytes. Past that the line is dropped:
/// feed() counts one overflow and everything up to the next "\r\n" is skipped.
class LineAssembler {
public:
    /// The longest line the bracelet waits for.
    static constexpr std::size_t kMaxLineLength = 512;

    /// What one write completed.
    struct Result {
        std::vector<std::string> lines;  ///< complete lines, in order, without "\r\n"
        int overflows = 0;               ///< lines dropped for length
    };

    /// Takes the bytes of one write.
    Result feed(const std::vector<std::uint8_t>& bytes);
    /// Forgets any partial line (a new link starts clean).
    void reset();

private:
    std::string pending_;
    bool skipping_ = false;  // dropping an overlong line up to its "\r\n"
};

}  // namespace halvora::lab
