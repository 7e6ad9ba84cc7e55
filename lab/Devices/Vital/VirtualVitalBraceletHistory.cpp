// The virtual Vital bracelet's stored history and electrocardiogram: the answers to the history requests,
// the measurement's live frames and the stored waveforms (the rest of the bracelet is in
// VirtualVitalBracelet.cpp).
#include "lab/Devices/Vital/VirtualVitalBracelet.hpp"
#include "lab/Devices/Vital/internal/VitalCommand.hpp"
#include "lab/Devices/Vital/internal/VitalECGRecorder.hpp"
#include "lab/Devices/Vital/internal/VitalFrameBuilder.hpp"
#include "lab/Devices/Vital/internal/VitalHistoryGenerator.hpp"
#include "lab/Devices/Vital/internal/VitalHistoryPages.hpp"
#include "lab/Devices/Vital/internal/VitalProtocol.hpp"

namespace halvora::lab {

namespace {

constexpr std::size_t kStatusByte = 1;
constexpr std::size_t kRecordByte = 1;
constexpr std::size_t kDayByte = 1;
constexpr std::size_t kFromBytes = 2;
constexpr std::uint8_t kAutomaticHeartRate = 0x54;

/// The scripted records of every kind, then the generated ones.
VitalHistory merged(const VitalHistory& scripted, VitalHistory generated) {
    VitalHistory out = scripted;
    auto add = [](auto& into, auto& from) { into.insert(into.end(), from.begin(), from.end()); };
    add(out.totals, generated.totals);
    add(out.steps, generated.steps);
    add(out.sleep, generated.sleep);
    add(out.automaticHeartRates, generated.automaticHeartRates);
    add(out.heartRates, generated.heartRates);
    add(out.hrv, generated.hrv);
    add(out.sports, generated.sports);
    add(out.bloodOxygen, generated.bloodOxygen);
    add(out.temperatures, generated.temperatures);
    add(out.automaticTemperatures, generated.automaticTemperatures);
    add(out.automaticBloodOxygen, generated.automaticBloodOxygen);
    return out;
}

}  // namespace

VitalHistory VirtualVitalBracelet::history() {
    std::lock_guard lock(mutex_);
    makeStoredRecords();
    return *history_;
}

std::vector<VitalECGRecord> VirtualVitalBracelet::ecgRecords() {
    std::lock_guard lock(mutex_);
    makeStoredRecords();
    return {ecg_->records().begin(), ecg_->records().end()};
}

void VirtualVitalBracelet::makeStoredRecords() {
    if (history_) return;
    const BraceletTime clock = clockNow();
    const auto& script = script_.history;
    history_ = merged(script.records, VitalHistoryGenerator::generate(
                                          script.seed, std::min(script.days, VitalScript::History::kMaxDays), clock));
    ecg_->load(script_.ecg, script_.ecg.storedRecords, script.seed, clock);
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onHistory(const VitalCommand& command) {
    makeStoredRecords();
    VitalHistoryPages::Request request;
    request.code = command.code();
    request.day = command.byte(kDayByte);
    if (request.code == kAutomaticHeartRate) request.from = command.littleEndian16(kFromBytes);
    return {VitalHistoryPages::answer(request, *history_, clockNow(), random()), nullptr};
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onECGStart(const VitalCommand& command) {
    makeStoredRecords();
    const std::uint8_t status = ecg_->start(script_.ecg, clockNow(), random()());
    Reply reply = answer(VitalFrameBuilder(command.code()).set(kStatusByte, status).bytes());
    if (!ecg_->measuring()) return reply;
    const int run = ++ecgRun_;
    const int generation = generation_;
    reply.then = [this, generation, run] {
        schedule(VitalECGRecorder::kFrameInterval, [this, generation, run] { tickECG(generation, run); });
    };
    return reply;
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onECGStatus(const VitalCommand&) {
    return answer(ecg_->status());
}

VirtualVitalBracelet::Reply VirtualVitalBracelet::onWaveform(const VitalCommand& command) {
    makeStoredRecords();
    return {ecg_->waveform(command.byte(kRecordByte)), nullptr};
}

void VirtualVitalBracelet::tickECG(int generation, int run) {
    Notifications notifications;
    bool more = false;
    {
        std::lock_guard lock(mutex_);
        if (generation != generation_ || run != ecgRun_ || !ecg_->measuring()) return;
        notifications.push_back(ecg_->nextLiveFrame());
        more = ecg_->measuring();
        if (more && ecg_->secondBegan()) notifications.push_back(ecg_->heartRateStatus());
    }
    send(std::move(notifications));
    if (more) schedule(VitalECGRecorder::kFrameInterval, [this, generation, run] { tickECG(generation, run); });
}

}  // namespace halvora::lab
