#include "halvora/Devices/RM830/internal/RM830FirmwareVersion.hpp"

#include "halvora/Core/Format.hpp"

namespace halvora {

namespace {

constexpr std::size_t kFirstIndex = 1;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The run of digits starting at `from` (which is a digit), its leading zeros left out; `from` moves past it.
std::string_view digitRun(std::string_view text, std::size_t& from) {
    const std::size_t start = from;
    while (from < text.size() && isDigit(text[from])) ++from;
    std::string_view run = text.substr(start, from - start);
    const std::size_t firstSignificant = run.find_first_not_of('0');
    return firstSignificant == std::string_view::npos ? std::string_view{} : run.substr(firstSignificant);
}

int sign(bool less) {
    return less ? -1 : 1;
}

/// Two runs of significant digits as numbers: the longer is the greater, else the first differing digit.
int compareRuns(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return sign(a.size() < b.size());
    const int order = a.compare(b);
    return order == 0 ? 0 : sign(order < 0);
}

}  // namespace

std::optional<std::string> RM830FirmwareVersion::fromAnswer(std::span<const std::uint8_t> answer) {
    if (answer.size() < kMinLength) return std::nullopt;
    const auto part = [&](std::size_t i) {
        return static_cast<int>(static_cast<std::int8_t>(answer[kFirstIndex + i]));
    };
    return format("%d.%d.%d.%d", part(0), part(1), part(2), part(3));
}

int RM830FirmwareVersion::compareNumerically(std::string_view a, std::string_view b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            if (const int order = compareRuns(digitRun(a, i), digitRun(b, j))) return order;
            continue;
        }
        const auto ca = static_cast<unsigned char>(a[i]);
        const auto cb = static_cast<unsigned char>(b[j]);
        if (ca != cb) return sign(ca < cb);
        ++i;
        ++j;
    }
    if (i < a.size()) return 1;
    if (j < b.size()) return -1;
    return 0;
}

bool RM830FirmwareVersion::isOlderThanKit(std::string_view version) {
    return compareNumerically(kKitVersion, version) > 0;
}

}  // namespace halvora
