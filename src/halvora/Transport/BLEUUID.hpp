#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halvora {

/// A Bluetooth UUID. 16- and 32-bit forms expand with the Bluetooth base UUID
/// (0000xxxx-0000-1000-8000-00805f9b34fb), so "FFF0" equals "0000fff0-0000-1000-8000-00805f9b34fb".
/// Comparison ignores the letter case of the text it came from.
class BLEUUID {
public:
    BLEUUID() = default;  ///< the nil UUID (all zero), also what an unparsable text gives
    /// Parses "FFF0", "0000FFF0" or the 36-character form; anything else gives the nil UUID.
    BLEUUID(std::string_view text);  // NOLINT(google-explicit-constructor): UUIDs are written as text
    /// As the text constructor, for string literals.
    BLEUUID(const char* text) : BLEUUID(std::string_view(text)) {}  // NOLINT(google-explicit-constructor)

    /// Parses, reporting failure instead of giving the nil UUID.
    static std::optional<BLEUUID> parse(std::string_view text);
    /// The UUID with these 16 bytes, most significant first (as in the 36-character text).
    static BLEUUID fromBytes(const std::array<std::uint8_t, 16>& bytes);

    /// The 16 bytes, most significant first.
    const std::array<std::uint8_t, 16>& bytes() const { return bytes_; }
    /// True for the all-zero UUID (the default, and what an unparsable text gives).
    bool isNil() const;
    /// True when the UUID lies in the Bluetooth base range (a 16- or 32-bit UUID).
    bool isShort() const;
    /// Upper-case text: "FFF0" for a 16-bit UUID of the base range, "0000FFF0-0000-..." for a 32-bit one
    /// written long, and the 36-character form otherwise.
    std::string toString() const;
    /// The 36-character upper-case form.
    std::string toLongString() const;

    /// Equal when the 16 bytes are equal, whatever the letter case or form (short or long) of the source texts.
    friend bool operator==(const BLEUUID&, const BLEUUID&) = default;
    /// Byte-wise order, so UUIDs can key ordered maps.
    friend auto operator<=>(const BLEUUID&, const BLEUUID&) = default;

private:
    std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace halvora
