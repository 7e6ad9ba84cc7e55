#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "halvora/Devices/Bracelet/internal/BraceletPackageHeader.hpp"

namespace halvora {

/// The state of one history transfer: idle, then receiving (opened by an "AT+DATA:" answer) with its header
/// line being assembled, then, once the line is complete, the package bytes being collected.
///
/// Caps (bracelet input never makes it hold more):
/// - kMaxHeaderLineLength: a header line that would grow past it (counted up to the end of the
///   notification that brings its "\r\n") is refused, and the transfer returns to idle.
/// - kMaxPackageLength: a header that announces a package or an info part larger than this, or negative,
///   is refused, and the transfer returns to idle.
/// - Package bytes are kept only up to the announced total. Bytes beyond it are counted but not kept:
///   a package completes only when exactly its total has arrived, so a package that overran can no longer
///   complete, and the transfer stays open until the next "AT+DATA:" answer opens a new one.
class BraceletTransfer {
public:
    /// Longest header line accepted, bytes.
    static constexpr std::size_t kMaxHeaderLineLength = std::size_t{4} * 1024;
    /// Largest package (and info part) a header may announce, bytes.
    static constexpr std::int32_t kMaxPackageLength = 64 * 1024;

    /// What a piece of the header line did.
    enum class HeaderOutcome {
        Pending,             ///< no "\r\n" yet: the line goes on in a later notification
        Parsed,              ///< complete, with 7 fields, now in header()
        Unparsed,            ///< complete, but not 7 fields: the header fields are as they were
        RefusedLongLine,     ///< too long without its end: refused, the transfer is idle again
        RefusedPackageSize,  ///< announces a package too large or negative: refused, idle again
    };

    /// Returns to idle: no transfer, header incomplete, empty line and package, every header field 0.
    void reset();
    /// Opens a transfer with an "AT+DATA:" answer as the start of its header line (the line is parsed only
    /// when a later piece brings "\r\n"). False (and idle) when the text alone is longer than the line cap.
    bool open(std::string_view text);
    /// Adds a piece to the header line; see HeaderOutcome.
    HeaderOutcome appendHeaderPiece(std::string_view piece);
    /// Adds package bytes; true when the package now holds exactly the announced total.
    bool appendPackageBytes(std::span<const std::uint8_t> bytes);
    /// After a complete package: empty package, header incomplete, empty line (the header fields stay).
    void startNextPackage();

    bool isReceivingData() const { return isReceivingData_; }
    bool isHeaderComplete() const { return isHeaderComplete_; }
    const BraceletPackageHeader& header() const { return header_; }
    const std::string& receivedString() const { return receivedString_; }
    /// The package bytes kept (never more than the announced total).
    std::span<const std::uint8_t> byteData() const { return byteData_; }
    /// Package bytes received, kept or not.
    std::size_t receivedLength() const { return receivedLength_; }

private:
    static bool isAcceptedLength(std::int32_t length);

    bool isReceivingData_ = false;
    bool isHeaderComplete_ = false;
    std::string receivedString_;
    std::vector<std::uint8_t> byteData_;
    std::size_t receivedLength_ = 0;
    BraceletPackageHeader header_;
};

}  // namespace halvora
