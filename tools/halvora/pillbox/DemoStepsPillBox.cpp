// The demo's main operation for the pill box: a schedule written and read back, then the taken/missed history
// the box made of it.
#include <ctime>
#include <variant>

#include "CliError.hpp"
#include "DemoSteps.hpp"
#include "PillBoxCommands.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Devices/PillReminder/PillReminderRequest.hpp"

namespace halvora::cli {

namespace {

/// The demo's schedule: three alarms the day before the box's clock (their doses are in the history by now)
/// and one the day after (still to come), as {days from the clock's day, hour, colour}.
struct DemoAlarm {
    int dayOffset;
    int hour;
    int color;
};
constexpr DemoAlarm kDemoAlarms[] = {{-1, 8, 1}, {-1, 13, 2}, {-1, 20, 3}, {1, 8, 1}};

std::vector<HalvoraSDKPillReminderAlarmData> demoSchedule(Date clock) {
    const std::tm today = Calendar::toLocal(clock);
    std::vector<HalvoraSDKPillReminderAlarmData> alarms;
    for (const auto& a : kDemoAlarms) {
        std::tm local{};
        local.tm_year = today.tm_year;
        local.tm_mon = today.tm_mon;
        local.tm_mday = today.tm_mday + a.dayOffset;
        local.tm_hour = a.hour;
        local.tm_isdst = -1;
        HalvoraSDKPillReminderAlarmData alarm;
        alarm.date = Calendar::fromLocal(local);
        alarm.color = a.color;
        alarms.push_back(alarm);
    }
    return alarms;
}

}  // namespace

void addPillBoxDemoSteps(std::map<std::string, DemoStep>& steps) {
    steps["HalvoraSDKPillReminder"] = [](Session& session, const LabDevice&) {
        // The demo has already connected the box; its answers come to a listener of its own once the opening
        // exchange (zone, then clock) is over.
        PillBoxSession box(session);
        box.settle();
        const auto clock = box.ask(PillReminderRequest::kGetDeviceTime, "clock request",
                                   [](HalvoraSDKManager& m) { return m.prGetDeviceTime(); });
        const auto alarms = demoSchedule(std::visit([](const auto& record) { return record.date; }, clock));
        writePillSchedule(box, alarms);
        const auto held = readPillSchedule(box);
        if (held.size() != alarms.size()) {
            throw CliError(ExitDeviceError,
                           format("the box holds %zu of the %zu alarms written", held.size(), alarms.size()));
        }
        const auto doses = readPillHistory(box);
        return format("%zu alarms set and read back; ", held.size()) + doseSummary(doses);
    };
}

}  // namespace halvora::cli
