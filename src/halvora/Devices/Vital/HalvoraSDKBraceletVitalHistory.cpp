// The history downloads: requests, and the gathering of their pages until the bracelet's end mark.
#include <span>
#include <utility>

#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "halvora/Devices/Vital/internal/VitalCodes.hpp"
#include "halvora/Devices/Vital/internal/VitalCommandNumber.hpp"
#include "halvora/Devices/Vital/internal/VitalHistoryPages.hpp"
#include "halvora/Devices/Vital/internal/VitalHistoryParser.hpp"
#include "halvora/Devices/Vital/internal/VitalRequests.hpp"
#include "halvora/Devices/Vital/internal/VitalSleepSegmenter.hpp"

namespace halvora {

namespace {

using C = VitalCodes;
using N = VitalCommandNumber;
using H = VitalHistoryParser;
using Pages = VitalHistoryPages;

constexpr std::int32_t kNoType = -1;
constexpr bool kRelease = true;
constexpr std::int32_t kDayStepsArgument = 0;
constexpr std::size_t kSleepMarkIndex = 1;

constexpr const char* kTotalStepsAccepted = "getTotalStepCount accepted";
constexpr const char* kHeartRate = "getHeartRateData";
constexpr const char* kAutomaticHeartRate = "getAutomaticHeartRateData";
constexpr const char* kTemperature = "getTemperatureData";
constexpr const char* kAutomaticTemperature = "getAutomaticTemperatureData";
constexpr const char* kAcceptedFormat = "%s accepted";
constexpr const char* kFinishedFormat = "%s response - FINISHED";
constexpr const char* kRecordFormat = "%s response - %s";
constexpr const char* kSingleHeartRate = "getSingleHeartRateData";

}  // namespace

// ------------------------------------------------------------------------------------ requests

void HalvoraSDKBraceletVital::requestHistory(std::vector<std::uint8_t> frame,
                                             void (HalvoraSDKBraceletVital::*clear)()) {
    request([frame = std::move(frame), clear](HalvoraSDKBraceletVital& self) {
        (self.*clear)();
        self.writeRawData(frame);
    });
}

void HalvoraSDKBraceletVital::getTotalStepCount(std::int32_t first) {
    requestHistory(VitalRequests::history(C::kTotalSteps, first), &HalvoraSDKBraceletVital::clearSteps);
}

void HalvoraSDKBraceletVital::getDaySteps() {
    getTotalStepCount(kDayStepsArgument);
}

void HalvoraSDKBraceletVital::getDetailedStepData(std::int32_t first, std::int32_t /*record*/) {
    requestHistory(VitalRequests::history(C::kDetailedSteps, first), &HalvoraSDKBraceletVital::clearSteps);
}

void HalvoraSDKBraceletVital::getDetailedSleepData(std::int32_t first, std::int32_t /*record*/) {
    requestHistory(VitalRequests::history(C::kDetailedSleep, first), &HalvoraSDKBraceletVital::clearSleep);
}

void HalvoraSDKBraceletVital::getAutomaticHeartRateData(std::int32_t first, std::optional<std::int32_t> record) {
    requestHistory(VitalRequests::automaticHeartRate(first, record), &HalvoraSDKBraceletVital::clearHeartRates);
}

void HalvoraSDKBraceletVital::getHeartRateData(std::int32_t first, std::int32_t /*record*/) {
    requestHistory(VitalRequests::history(C::kHeartRate, first), &HalvoraSDKBraceletVital::clearHeartRates);
}

void HalvoraSDKBraceletVital::getHRVData(std::int32_t first, std::int32_t /*record*/) {
    requestHistory(VitalRequests::history(C::kHRV, first), &HalvoraSDKBraceletVital::clearHeartRates);
}

void HalvoraSDKBraceletVital::getSportData(std::int32_t first, std::int32_t /*record*/) {
    requestHistory(VitalRequests::history(C::kSport, first), &HalvoraSDKBraceletVital::clearSports);
}

void HalvoraSDKBraceletVital::getBloodOxygenData(std::int32_t first, std::int32_t /*record*/) {
    requestHistory(VitalRequests::history(C::kBloodOxygen, first), &HalvoraSDKBraceletVital::clearBloodOxygen);
}

void HalvoraSDKBraceletVital::getTemperatureData(std::int32_t first, std::int32_t /*record*/) {
    requestHistory(VitalRequests::history(C::kTemperature, first), &HalvoraSDKBraceletVital::clearTemperatures);
}

void HalvoraSDKBraceletVital::getAutomaticTemperatureData(std::int32_t first, std::int32_t /*record*/) {
    requestHistory(VitalRequests::history(C::kAutomaticTemperature, first),
                   &HalvoraSDKBraceletVital::clearTemperatures);
}

void HalvoraSDKBraceletVital::getAutomaticBloodOxygenData(std::int32_t first, std::int32_t /*record*/) {
    requestHistory(VitalRequests::history(C::kAutomaticBloodOxygen, first), &HalvoraSDKBraceletVital::clearBloodOxygen);
}

void HalvoraSDKBraceletVital::clearSteps() {
    stepSummaries_.clear();
    detailedSteps_.clear();
}

void HalvoraSDKBraceletVital::clearSleep() {
    sleepSegments_.clear();
}

void HalvoraSDKBraceletVital::clearHeartRates() {
    heartRates_.clear();
    hrvRecords_.clear();
}

void HalvoraSDKBraceletVital::clearBloodOxygen() {
    bloodOxygen_.clear();
}

void HalvoraSDKBraceletVital::clearTemperatures() {
    temperatures_.clear();
}

void HalvoraSDKBraceletVital::clearSports() {
    sports_.clear();
}

// ------------------------------------------------------------------------------------ replies

bool HalvoraSDKBraceletVital::handleHistory(std::span<const std::uint8_t> reply) {
    switch (reply[0]) {
        case C::kTotalSteps:
            handleTotalsPage(reply);
            return true;
        case C::kDetailedSteps:
            handleDetailedStepsPage(reply);
            return true;
        case C::kDetailedSleep:
            handleSleepPage(reply);
            return true;
        case C::kAutomaticHeartRate:
            handleAutomaticHeartRatePage(reply);
            return true;
        case C::kHeartRate:
            handleHeartRatePage(reply);
            return true;
        case C::kHRV:
            handleHRVPage(reply);
            return true;
        case C::kSport:
            handleSportPage(reply);
            return true;
        case C::kBloodOxygen:
            handleBloodOxygenPage(reply, N::kGetBloodOxygen);
            return true;
        case C::kAutomaticBloodOxygen:
            handleBloodOxygenPage(reply, N::kGetAutomaticBloodOxygen);
            return true;
        case C::kTemperature:
            handleTemperaturePage(reply, kTemperature, N::kGetTemperature);
            return true;
        case C::kAutomaticTemperature:
            handleTemperaturePage(reply, kAutomaticTemperature, N::kGetAutomaticTemperature);
            return true;
        default:
            return false;
    }
}

void HalvoraSDKBraceletVital::handleTotalsPage(std::span<const std::uint8_t> reply) {
    log().write(kTotalStepsAccepted);
    const bool end = Pages::walk(reply, H::kTotalsStride, [this](auto slot) {
        if (auto record = H::totals(slot)) Pages::append(stepSummaries_, *record);
    });
    if (end) sendSuccessfulCommand(N::kGetTotalSteps, kNoType, stepSummaries_, kRelease);
}

void HalvoraSDKBraceletVital::handleDetailedStepsPage(std::span<const std::uint8_t> reply) {
    const bool end = Pages::walk(reply, H::kDetailedStepsStride, [this](auto slot) {
        if (auto record = H::detailedSteps(slot)) Pages::append(detailedSteps_, *record);
    });
    if (end) sendSuccessfulCommand(N::kGetDetailedSteps, kNoType, detailedSteps_, kRelease);
}

void HalvoraSDKBraceletVital::handleSleepPage(std::span<const std::uint8_t> reply) {
    if (reply.size() <= kSleepMarkIndex) return;  // no index byte: nothing to read
    if (reply[kSleepMarkIndex] == Pages::kEndMark) {
        return sendSuccessfulCommand(N::kGetDetailedSleep, kNoType, sleepSegments_, kRelease);
    }
    for (auto& segment : VitalSleepSegmenter::segments(reply)) Pages::append(sleepSegments_, std::move(segment));
}

void HalvoraSDKBraceletVital::handleAutomaticHeartRatePage(std::span<const std::uint8_t> reply) {
    log().writef(kAcceptedFormat, kAutomaticHeartRate);
    const bool end = Pages::walk(reply, H::kAutomaticHeartRateStride, [this](auto slot) {
        for (auto& record : H::automaticHeartRate(slot)) {
            log().writef(kRecordFormat, kAutomaticHeartRate, record.description().c_str());
            Pages::append(heartRates_, std::move(record));
        }
    });
    if (!end) return;
    log().writef(kFinishedFormat, kAutomaticHeartRate);
    sendSuccessfulCommand(N::kGetAutomaticHeartRate, kNoType, heartRates_, kRelease);
}

void HalvoraSDKBraceletVital::handleHeartRatePage(std::span<const std::uint8_t> reply) {
    log().writef(kAcceptedFormat, kHeartRate);
    const bool end = Pages::walk(reply, H::kSampleStride, [this](auto slot) {
        if (auto record = H::heartRate(slot)) {
            log().writef(kRecordFormat, kSingleHeartRate, record->description().c_str());
            Pages::append(heartRates_, *record);
        }
    });
    if (!end) return;
    log().writef(kFinishedFormat, kHeartRate);
    sendSuccessfulCommand(N::kGetHeartRate, kNoType, heartRates_, kRelease);
}

void HalvoraSDKBraceletVital::handleHRVPage(std::span<const std::uint8_t> reply) {
    const bool end = Pages::walk(reply, H::kHRVStride, [this](auto slot) {
        if (auto record = H::hrv(slot)) Pages::append(hrvRecords_, *record);
    });
    if (end) sendSuccessfulCommand(N::kGetHRV, kNoType, hrvRecords_, kRelease);
}

void HalvoraSDKBraceletVital::handleSportPage(std::span<const std::uint8_t> reply) {
    const bool end = Pages::walk(reply, H::kSportStride, [this](auto slot) {
        if (auto record = H::sport(slot)) Pages::append(sports_, *record);
    });
    if (end) sendSuccessfulCommand(N::kGetSport, kNoType, sports_, kRelease);
}

void HalvoraSDKBraceletVital::handleBloodOxygenPage(std::span<const std::uint8_t> reply, std::int32_t command) {
    const bool end = Pages::walk(reply, H::kSampleStride, [this](auto slot) {
        if (auto record = H::bloodOxygen(slot)) Pages::append(bloodOxygen_, *record);
    });
    if (end) sendSuccessfulCommand(command, kNoType, bloodOxygen_, kRelease);
}

void HalvoraSDKBraceletVital::handleTemperaturePage(std::span<const std::uint8_t> reply, const char* request,
                                                    std::int32_t command) {
    log().writef(kAcceptedFormat, request);
    const bool end = Pages::walk(reply, H::kTemperatureStride, [this, request](auto slot) {
        if (auto record = H::temperature(slot)) {
            log().writef(kRecordFormat, request, record->description().c_str());
            Pages::append(temperatures_, *record);
        }
    });
    if (!end) return;
    log().writef(kFinishedFormat, request);
    sendSuccessfulCommand(command, kNoType, temperatures_, kRelease);
}

}  // namespace halvora
