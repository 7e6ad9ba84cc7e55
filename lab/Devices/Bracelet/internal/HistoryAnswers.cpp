#include "lab/Devices/Bracelet/internal/HistoryAnswers.hpp"

#include <algorithm>

#include "lab/Devices/Bracelet/internal/BraceletText.hpp"

namespace halvora::lab {

namespace {

using Notifications = std::vector<std::vector<std::uint8_t>>;

constexpr const char* kHeaderPrefix = "AT+DATA:";
constexpr const char* kEndlessPattern = "1234567890,";
constexpr std::uint8_t kFillByte = 0xFF;
constexpr long long kNotEncrypted = 0;

std::uint8_t sumOf(const std::vector<std::uint8_t>& bytes) {
    unsigned sum = 0;
    for (auto b : bytes) sum += b;
    return static_cast<std::uint8_t>(sum & 0xFF);
}

void append(Notifications& to, Notifications more) {
    to.insert(to.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

std::string HistoryAnswers::headerLine(const std::vector<long long>& fields, const BraceletFaults& faults) {
    std::string line = kHeaderPrefix;
    const std::size_t count = faults.sixFieldHeader ? fields.size() - 1 : fields.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) line += ',';
        line += std::to_string(fields[i]);
    }
    return line;
}

Notifications HistoryAnswers::package(const BraceletHistory::Package& package, int number, int total,
                                      const BraceletFaults& faults) {
    std::vector<std::uint8_t> body = package.bytes;
    body.insert(body.end(), faults.trailingBytes, kFillByte);
    auto info = static_cast<long long>(package.bytes.size());
    auto length = static_cast<long long>(body.size());
    if (faults.cutPackage && *faults.cutPackage == number) {
        body.resize(body.size() - std::min(faults.cutPackageBytes, body.size()));
    }
    if (faults.hostile == BraceletFaults::Hostile::OversizedHeader) {
        info = length = faults.oversizedLength;
        const auto streamed = static_cast<std::size_t>(std::max<long long>(
            std::min<long long>(faults.oversizedLength, static_cast<long long>(faults.hostileBytes)), 0));
        if (body.size() < streamed) body.resize(streamed, kFillByte);
    }
    const std::vector<long long> fields = {
        static_cast<long long>(package.type), info, length, number, total, sumOf(package.bytes), kNotEncrypted};
    Notifications notifications = braceletNotifications(braceletLine(headerLine(fields, faults)));
    append(notifications, braceletNotifications(body));
    return notifications;
}

Notifications HistoryAnswers::nothingToSend(const BraceletFaults& faults) {
    return braceletNotifications(braceletLine(headerLine({0, 0, 0, 0, 0, 0, kNotEncrypted}, faults)));
}

Notifications HistoryAnswers::endlessHeader(const BraceletFaults& faults) {
    std::string text = kHeaderPrefix;
    const std::string pattern = kEndlessPattern;
    while (text.size() < faults.hostileBytes) text += pattern;
    text.resize(std::max(faults.hostileBytes, std::string(kHeaderPrefix).size()));
    return braceletNotifications(std::vector<std::uint8_t>(text.begin(), text.end()));
}

}  // namespace halvora::lab
