#include "lab/Devices/Tensio/internal/TensioAnswers.hpp"

#include <algorithm>
#include <span>

#include "lab/Devices/Tensio/internal/TensioProtocol.hpp"

namespace halvora::lab {

namespace {

constexpr int kMaxByte = 0xFF;
constexpr int kMaxTwoBytes = 0xFFFF;
constexpr int kMaxNibble = 0x0F;
constexpr int kYearsPerCentury = 100;
/// The check byte of an acknowledgement; a cuff pressure frame must not carry it.
constexpr std::uint8_t kAcknowledgementCheck = 0x42;

std::uint8_t byteOf(long long value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0LL, static_cast<long long>(kMaxByte)));
}

std::uint8_t high(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, kMaxTwoBytes) >> 8);
}

std::uint8_t low(int value) {
    return static_cast<std::uint8_t>(std::clamp(value, 0, kMaxTwoBytes) & kMaxByte);
}

std::uint8_t twoDigitYear(int year) {
    return static_cast<std::uint8_t>(((year % kYearsPerCentury) + kYearsPerCentury) % kYearsPerCentury);
}

std::uint8_t nibbles(int highNibble, int lowNibble) {
    return static_cast<std::uint8_t>(std::clamp(highNibble, 0, kMaxNibble) << 4 | std::clamp(lowNibble, 0, kMaxNibble));
}

bool passesForAcknowledgement(int pressure) {
    return low(pressure) == 0 || tensio::shortCheck(high(pressure), low(pressure)) == kAcknowledgementCheck;
}

}  // namespace

TensioAnswers::Frame TensioAnswers::frame(const std::vector<std::uint8_t>& payload) {
    Frame bytes(payload.size() + tensio::kFrameOverhead, 0);
    bytes[0] = tensio::kHeader0;
    bytes[1] = tensio::kHeader1;
    bytes[tensio::kLengthIndex] = static_cast<std::uint8_t>(payload.size());
    std::copy(payload.begin(), payload.end(), bytes.begin() + tensio::kCodeIndex);
    const std::span<const std::uint8_t> all(bytes);
    bytes.back() = tensio::answerCheck(all.subspan(tensio::kLengthIndex, payload.size() + 1));
    return bytes;
}

TensioAnswers::Frame TensioAnswers::acknowledgement() {
    return frame({tensio::kAcknowledgement, 0x00});
}

TensioAnswers::Frame TensioAnswers::error(const TensioError& error) {
    return frame({static_cast<std::uint8_t>(error.kind), error.code});
}

TensioAnswers::Frame TensioAnswers::count(std::size_t stored) {
    return frame({tensio::kCount, byteOf(static_cast<long long>(stored))});
}

TensioAnswers::Frame TensioAnswers::cuffPressure(int pressure) {
    int sent = std::clamp(pressure, 1, TensioScript::kMaxCuffPressure);
    if (passesForAcknowledgement(sent)) ++sent;
    return frame({high(sent), low(sent)});
}

TensioAnswers::Frame TensioAnswers::result(const TensioReading& reading) {
    const BraceletTime& date = reading.date;
    return frame({twoDigitYear(date.year), byteOf(date.month), byteOf(date.day), byteOf(date.hour), byteOf(date.minute),
                  high(reading.systolic), low(reading.systolic), byteOf(reading.diastolic), byteOf(reading.pulse),
                  byteOf(reading.irregular)});
}

TensioAnswers::Frame TensioAnswers::record(std::size_t number, const TensioReading& reading) {
    return frame({byteOf(static_cast<long long>(number)), high(reading.systolic), low(reading.systolic),
                  byteOf(reading.diastolic), byteOf(reading.pulse), byteOf(reading.irregular)});
}

TensioAnswers::Frame TensioAnswers::clock(const BraceletTime& time) {
    return frame({twoDigitYear(time.year), byteOf(time.month), byteOf(time.day), byteOf(time.hour), byteOf(time.minute),
                  byteOf(time.second)});
}

TensioAnswers::Frame TensioAnswers::window(const TensioWindow& window, std::size_t number, std::size_t total) {
    return frame({byteOf(window.startHour), byteOf(window.startMinute), byteOf(window.endHour),
                  byteOf(window.endMinute), byteOf(window.periodMinutes),
                  nibbles(static_cast<int>(number), static_cast<int>(total))});
}

TensioAnswers::Frame TensioAnswers::basicInfo(int battery, bool ambulatory, TensioScript::Unit unit, int hold,
                                              std::size_t stored) {
    return frame({byteOf(battery), nibbles(ambulatory ? 1 : 0, 0), nibbles(static_cast<int>(unit), hold), 0x00,
                  byteOf(static_cast<long long>(stored)), 0x00});
}

}  // namespace halvora::lab
