// The ECG: starting an upload, polling the measurement status, live sample frames and stored waveforms, every
// sample through the driver's band-pass filter.
#include "halvora/Devices/Vital/HalvoraSDKBraceletVital.hpp"
#include "halvora/Devices/Vital/HalvoraSDKVitalECGStatus.hpp"
#include "halvora/Devices/Vital/internal/VitalCodes.hpp"
#include "halvora/Devices/Vital/internal/VitalCommandNumber.hpp"
#include "halvora/Devices/Vital/internal/VitalECGFilter.hpp"
#include "halvora/Devices/Vital/internal/VitalECGParser.hpp"
#include "halvora/Devices/Vital/internal/VitalErrorNumber.hpp"
#include "halvora/Devices/Vital/internal/VitalRequests.hpp"

namespace halvora {

namespace {

using C = VitalCodes;
using N = VitalCommandNumber;
using E = VitalECGParser;

constexpr std::int32_t kNoType = -1;
constexpr bool kRelease = true;
constexpr bool kKeep = false;
constexpr std::int32_t kFirstRecord = 0;

constexpr const char* kSamplesDropped =
    "HalvoraSDKBraceletVital: ECG waveform record full, further samples are dropped";
constexpr const char* kDroppedCountFormat = "HalvoraSDKBraceletVital: ECG waveform record %d: %zu samples dropped";
constexpr const char* kShortHeader = "HalvoraSDKBraceletVital: ECG waveform page too short for its header, ignored";
constexpr const char* kWrongRecord = "HalvoraSDKBraceletVital: ECG waveform record must be 0 to 255";

}  // namespace

// ------------------------------------------------------------------------------------ requests

void HalvoraSDKBraceletVital::getECGStartDataUploading() {
    request([](HalvoraSDKBraceletVital& self) {
        self.ecgFilter_->reset();
        self.writeRawData(VitalRequests::plain(C::kECGStartUploading));
        self.waitingECG_ = true;
    });
}

void HalvoraSDKBraceletVital::getECGMeasurementStatus() {
    request([](HalvoraSDKBraceletVital& self) {
        self.writeRawData(VitalRequests::plain(C::kECGStatus));
        self.releaseSemaphore();  // the answer comes without holding up other requests
    });
}

void HalvoraSDKBraceletVital::getECGWaveform(std::int32_t record) {
    request([record](HalvoraSDKBraceletVital& self) {
        if (record < kFirstRecord || record > kMaxECGRecord) {
            self.log().write(kWrongRecord);
            self.sendError(VitalErrorNumber::kOutOfRange, N::kECGWaveform, kRelease);
            return;
        }
        self.ecgFilter_->reset();
        self.writeRawData(VitalRequests::history(C::kECGWaveform, record));
        self.ecgRecord_.reset();
        self.ecgSamplesDropped_ = 0;
    });
}

// ------------------------------------------------------------------------------------ replies

void HalvoraSDKBraceletVital::handleECGStarted(std::span<const std::uint8_t> reply) {
    const auto status = E::status(reply);
    if (!status) return releaseSemaphore();  // no status to report; the request still ends
    if (*status > E::kLastUploadingStatus) waitingECG_ = false;
    sendSuccessfulCommand(N::kECGStartUploading, kNoType, HalvoraSDKVitalECGStatus{*status, std::nullopt}, kRelease);
}

void HalvoraSDKBraceletVital::handleECGStatus(std::span<const std::uint8_t> reply) {
    const auto status = E::status(reply);
    if (!status) return;
    HalvoraSDKVitalECGStatus report{*status, std::nullopt};
    if (*status == E::kFinishedStatus) {
        waitingECG_ = false;
        report.data = E::finishedMeasurement(reply);
        if (report.data) sendSuccessfulCommand(N::kECGMeasurementFinished, kNoType, *report.data, kKeep);
    }
    sendSuccessfulCommand(N::kECGMeasurementStatus, kNoType, std::move(report), kKeep);
}

void HalvoraSDKBraceletVital::handleHeartRateStatus(std::span<const std::uint8_t> reply) {
    if (syncParams_) return sendError(VitalErrorNumber::kRefused, N::kSetDeviceParameters, kRelease);
    if (auto status = E::heartRateStatus(reply)) sendSuccessfulCommand(N::kECGValues, kNoType, *status, kKeep);
}

void HalvoraSDKBraceletVital::handleECGValues(std::span<const std::uint8_t> reply) {
    if (!waitingECG_) return;  // no ECG upload under way: dropped, the permit stays as it is
    HalvoraSDKVitalECGData record;
    record.date = now();
    E::forEachSample(reply, E::kLiveSamplesStart,
                     [&](std::int16_t raw) { record.ecgData.push_back(ecgFilter_->filter(raw)); });
    sendSuccessfulCommand(N::kECGValues, kNoType, std::move(record), kKeep);
}

void HalvoraSDKBraceletVital::handleECGWaveformPage(std::span<const std::uint8_t> reply) {
    if (E::isEndPage(reply)) {
        if (ecgRecord_) {
            if (ecgSamplesDropped_ > 0) log().writef(kDroppedCountFormat, ecgRecord_->identifier, ecgSamplesDropped_);
            HalvoraSDKVitalECGData record = std::move(*ecgRecord_);
            ecgRecord_.reset();
            ecgSamplesDropped_ = 0;
            return sendSuccessfulCommand(N::kECGWaveform, kNoType, std::move(record), kRelease);
        }
        return releaseSemaphore();
    }
    if (!ecgRecord_) return startECGRecord(reply);
    if (reply.size() < E::kMinimumPageLength) return;  // a page without a sample
    appendECGSamples(reply, E::kPageSamplesStart);
}

void HalvoraSDKBraceletVital::startECGRecord(std::span<const std::uint8_t> header) {
    ecgRecord_ = E::waveformHeader(header);
    if (!ecgRecord_) return log().write(kShortHeader);
    ecgSamplesDropped_ = 0;
    appendECGSamples(header, E::kHeaderSamplesStart);
}

void HalvoraSDKBraceletVital::appendECGSamples(std::span<const std::uint8_t> page, std::size_t first) {
    auto& samples = ecgRecord_->ecgData;
    E::forEachSample(page, first, [&](std::int16_t raw) {
        if (samples.size() < kMaxECGSamples) return samples.push_back(ecgFilter_->filter(raw));
        if (ecgSamplesDropped_++ == 0) log().write(kSamplesDropped);
    });
}

}  // namespace halvora
