#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/Devices/Bracelet/BraceletFaults.hpp"
#include "lab/Devices/Bracelet/BraceletHistory.hpp"

namespace halvora::lab {

/// The notifications that answer the phone's history requests ("AT+DATA=n"): a header line
/// "AT+DATA:<type>,<infoLength>,<totalLength>,<package>,<packages>,<crc>,<encrypted>\r\n" and then the
/// package's bytes, each cut into notifications of at most 20 bytes; the two never share a notification.
/// The crc field is the sum of the item bytes modulo 256; encrypted is always 0. The protocol faults
/// (cut package, six-field header, trailing bytes, hostile headers) are applied here.
class HistoryAnswers {
public:
    HistoryAnswers() = delete;

    /// Package `number` of `total`.
    static std::vector<std::vector<std::uint8_t>> package(const BraceletHistory::Package& package, int number,
                                                          int total, const BraceletFaults& faults);
    /// Nothing left to send: a header of zeros ("AT+DATA:0,0,0,0,0,0,0\r\n").
    static std::vector<std::vector<std::uint8_t>> nothingToSend(const BraceletFaults& faults);
    /// The hostile answer that starts a header line and never ends it: "AT+DATA:" followed by digits and
    /// commas, `faults.hostileBytes` bytes in all.
    static std::vector<std::vector<std::uint8_t>> endlessHeader(const BraceletFaults& faults);

private:
    static std::string headerLine(const std::vector<long long>& fields, const BraceletFaults& faults);
};

}  // namespace halvora::lab
