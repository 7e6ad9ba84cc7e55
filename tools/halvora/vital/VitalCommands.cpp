// The Vital bracelet's commands: connect, ask, wait for the answer, print it.
#include "VitalCommands.hpp"

#include <functional>
#include <map>

#include "CliError.hpp"
#include "VitalRecords.hpp"
#include "bracelet/BraceletSettingsText.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

using C = VitalCommand;
using M = HalvoraSDKManager;

/// The sport-mode switch's texts.
constexpr const char* kStarted = "started";
constexpr const char* kStopped = "stopped";

template <typename T>
T valueOf(const HalvoraSDKResponse& response) {
    const auto* value = std::get_if<T>(&response.data);
    if (!value)
        throw CliError(ExitDeviceError, format("command %d did not carry the value expected", response.command));
    return *value;
}

int withBracelet(Session& session, double timeout, const std::function<void(VitalSession&)>& work) {
    VitalSession bracelet(session);
    bracelet.connect(timeout);
    work(bracelet);
    return ExitOk;
}

void acknowledge(VitalSession& bracelet, std::int32_t command, const std::function<bool(M&)>& call,
                 const std::string& text) {
    bracelet.ask(command, call);
    bracelet.session().printer().event({{"event", "done"}, {"command", command}}, text);
}

std::int32_t readGoal(VitalSession& bracelet) {
    return valueOf<std::int32_t>(bracelet.ask(C::kGetStepGoal, [](M& m) { return m.getVitalStepsGoal(); }));
}

HalvoraSDKUser readUser(VitalSession& bracelet) {
    return valueOf<HalvoraSDKUser>(bracelet.ask(C::kGetUser, [](M& m) { return m.getVitalUserInformation(); }));
}

HalvoraSDKVitalActivityPeriod readActivity(VitalSession& bracelet) {
    return valueOf<HalvoraSDKVitalActivityPeriod>(
        bracelet.ask(C::kGetActivity, [](M& m) { return m.getVitalActivityPeriod(); }));
}

HalvoraSDKVitalPeriod readDetection(VitalSession& bracelet, int type) {
    return valueOf<HalvoraSDKVitalPeriod>(
        bracelet.ask(C::kGetDetection, [type](M& m) { return m.getVitalPeriodicConfiguration(type); }));
}

void printTime(Printer& printer, Date date) {
    const auto text = Calendar::formatDateTime(date);
    printer.event({{"time", text}}, "bracelet clock: " + text);
}

void printGoal(Printer& printer, std::int32_t goal) {
    printer.event({{"goal", goal}}, format("step goal: %d", goal));
}

void printParameters(Printer& printer, const HalvoraSDKVitalParams& parameters) {
    printer.event(toJson(parameters), "parameters: " + parametersText(parameters));
}

bool isParameterKey(const std::string& key) {
    return key != "time" && key != "goal";
}

}  // namespace

int detectionType(const std::string& name) {
    static const std::map<std::string, int> types = {{"heart-rate", 0}, {"oxygen", 1}, {"temperature", 2}};
    const auto it = types.find(name);
    if (it == types.end()) {
        throw CliError(ExitBadArguments, "unknown quantity \"" + name + "\" (heart-rate, oxygen, temperature)");
    }
    return it->second;
}

void applyParameterSettings(HalvoraSDKVitalParams& p, const std::vector<VitalSettingPair>& settings) {
    const std::map<std::string, std::int32_t*> numbers = {{"brightness", &p.screenBrightness},
                                                          {"dial", &p.dialInterface},
                                                          {"base", &p.basicHeartRateSetting},
                                                          {"language", &p.language}};
    const std::map<std::string, bool*> switches = {
        {"km", &p.distanceUnitKm},       {"24h", &p.hourDisplay24h},
        {"wrist", &p.wristSenseEnabled}, {"celsius", &p.temperatureUnitCelsius},
        {"night", &p.nightMode},         {"ancs", &p.ANCSEnabled}};
    for (const auto& [key, value] : settings) {
        if (const auto n = numbers.find(key); n != numbers.end()) *n->second = parseNumber(value, key);
        if (const auto s = switches.find(key); s != switches.end()) *s->second = parseOnOff(value, key);
    }
}

Date readVitalTime(VitalSession& bracelet) {
    return valueOf<Date>(bracelet.ask(C::kGetTime, [](M& m) { return m.getBraceletTime(); }));
}

int readVitalBattery(VitalSession& bracelet) {
    // The manager's battery request reaches every connected bracelet; the Vital one answers as command 14.
    const auto levels = valueOf<std::map<std::string, std::int32_t>>(bracelet.ask(C::kBattery, [](M& m) {
        m.getBraceletBattery();
        return true;
    }));
    const auto it = levels.find("batteryLevel");
    if (it == levels.end()) throw CliError(ExitDeviceError, "the battery answer had no level");
    return it->second;
}

HalvoraSDKVitalParams readVitalParameters(VitalSession& bracelet) {
    return valueOf<HalvoraSDKVitalParams>(bracelet.ask(C::kGetParameters, [](M& m) { return m.getVitalParameters(); }));
}

int runVitalTime(Session& session, double timeout) {
    return withBracelet(session, timeout, [](VitalSession& b) { printTime(b.session().printer(), readVitalTime(b)); });
}

int runVitalGoal(Session& session, double timeout) {
    return withBracelet(session, timeout, [](VitalSession& b) { printGoal(b.session().printer(), readGoal(b)); });
}

int runVitalUser(Session& session, double timeout) {
    return withBracelet(session, timeout, [](VitalSession& b) {
        const auto user = readUser(b);
        b.session().printer().event(toJson(user), "wearer: " + userText(user));
    });
}

int runVitalUserSet(Session& session, const VitalUserOptions& o, double timeout) {
    return withBracelet(session, timeout, [&o](VitalSession& b) {
        auto user = readUser(b);
        user.sex = o.sex.value_or(user.sex);
        user.age = o.age.value_or(user.age);
        user.height = o.height.value_or(user.height);
        user.weight = o.weight.value_or(user.weight);
        user.extra = o.extra.value_or(user.extra);
        b.ask(C::kSetUser, [&user](M& m) { return m.setVitalUserInformation(user); });
        const auto back = readUser(b);
        b.session().printer().event(toJson(back), "wearer set, read back: " + userText(back));
    });
}

int runVitalParams(Session& session, double timeout) {
    return withBracelet(session, timeout,
                        [](VitalSession& b) { printParameters(b.session().printer(), readVitalParameters(b)); });
}

int runVitalActivity(Session& session, double timeout) {
    return withBracelet(session, timeout, [](VitalSession& b) {
        const auto period = readActivity(b);
        b.session().printer().event(toJson(period), "exercise reminder: " + activityText(period));
    });
}

int runVitalActivitySet(Session& session, const VitalActivityOptions& o, double timeout) {
    auto changes = HalvoraSDKVitalActivityPeriod{};
    // Read the texts before connecting: a bad one ends the command before anything is sent.
    if (o.window) parseWindow(*o.window, changes);
    if (o.days) parseDays(*o.days, changes);
    const auto motion = o.motion ? std::optional<bool>(parseOnOff(*o.motion, "--motion")) : std::nullopt;
    return withBracelet(session, timeout, [&](VitalSession& b) {
        auto period = readActivity(b);
        auto& window = static_cast<HalvoraSDKPeriod&>(period);
        const auto& newWindow = static_cast<const HalvoraSDKPeriod&>(changes);
        if (o.window) {
            window.startHour = newWindow.startHour;
            window.startMinute = newWindow.startMinute;
            window.endHour = newWindow.endHour;
            window.endMinute = newWindow.endMinute;
        }
        if (o.days) parseDays(*o.days, window);
        period.exerciseReminderPeriod = o.period.value_or(period.exerciseReminderPeriod);
        period.minimumNumberSteps = o.steps.value_or(period.minimumNumberSteps);
        period.motionEnabled = motion.value_or(period.motionEnabled);
        b.ask(C::kSetActivity, [&period](M& m) { return m.setVitalActivityPeriod(period); });
        const auto back = readActivity(b);
        b.session().printer().event(toJson(back), "exercise reminder set, read back: " + activityText(back));
    });
}

int runVitalDetection(Session& session, const std::string& type, double timeout) {
    const int quantity = detectionType(type);
    return withBracelet(session, timeout, [quantity, &type](VitalSession& b) {
        const auto period = readDetection(b, quantity);
        b.session().printer().event(toJson(period), type + " detection: " + detectionText(period));
    });
}

int runVitalDetectionSet(Session& session, const std::string& type, const VitalDetectionOptions& o, double timeout) {
    const int quantity = detectionType(type);
    HalvoraSDKVitalPeriod changes;
    if (o.window) parseWindow(*o.window, changes);
    if (o.days) parseDays(*o.days, changes);
    return withBracelet(session, timeout, [&](VitalSession& b) {
        auto period = readDetection(b, quantity);
        period.type = quantity;
        if (o.window) {
            period.startHour = changes.startHour;
            period.startMinute = changes.startMinute;
            period.endHour = changes.endHour;
            period.endMinute = changes.endMinute;
        }
        if (o.days) parseDays(*o.days, period);
        period.workingMode = o.mode.value_or(period.workingMode);
        period.intervalTime = o.interval.value_or(period.intervalTime);
        b.ask(C::kSetDetection, [&period](M& m) { return m.setVitalPeriodicConfiguration(period); });
        const auto back = readDetection(b, quantity);
        b.session().printer().event(toJson(back), type + " detection set, read back: " + detectionText(back));
    });
}

int runVitalAlarmsSet(Session& session, const std::vector<std::string>& texts, double timeout) {
    std::vector<HalvoraSDKVitalAlarm> alarms;
    for (const auto& text : texts) alarms.push_back(parseVitalAlarm(text));
    return withBracelet(session, timeout, [&alarms](VitalSession& b) {
        acknowledge(
            b, C::kSetAlarms, [&alarms](M& m) { return m.setVitalAlarms(alarms); },
            format("%zu alarms set", alarms.size()));
    });
}

int runVitalWeatherSet(Session& session, const HalvoraSDKVitalWeather& weather, double timeout) {
    return withBracelet(session, timeout, [&weather](VitalSession& b) {
        acknowledge(
            b, C::kSetWeather, [&weather](M& m) { return m.setVitalWeather(weather); },
            format("weather set: %s, %d degrees", weather.location.c_str(), weather.temperature));
    });
}

int runVitalBattery(Session& session, double timeout) {
    return withBracelet(session, timeout, [](VitalSession& b) {
        const int level = readVitalBattery(b);
        b.session().printer().event({{"batteryLevel", level}}, format("battery: %d %%", level));
    });
}

int runVitalMac(Session& session, double timeout) {
    return withBracelet(session, timeout, [](VitalSession& b) {
        const auto mac = valueOf<std::string>(b.ask(C::kGetMac, [](M& m) { return m.getVitalMACAddress(); }));
        b.session().printer().event({{"macAddress", mac}}, "MAC address: " + mac);
    });
}

int runVitalQR(Session& session, bool show, double timeout) {
    return withBracelet(session, timeout, [show](VitalSession& b) {
        acknowledge(
            b, C::kShowQR, [show](M& m) { return m.showVitalQR(show); }, show ? "QR screen shown" : "QR screen hidden");
    });
}

int runVitalSport(Session& session, bool start, const VitalSportOptions& o, double timeout) {
    return withBracelet(session, timeout, [start, &o](VitalSession& b) {
        acknowledge(
            b, C::kSportMode,
            [start, &o](M& m) {
                return start ? m.startVitalSportMode(o.mode, o.level, o.period) : m.stopVitalSportMode();
            },
            std::string("sport mode ") + (start ? kStarted : kStopped));
    });
}

int runVitalMeasure(Session& session, bool start, int quantity, double timeout) {
    return withBracelet(session, timeout, [start, quantity](VitalSession& b) {
        acknowledge(
            b, C::kMeasurement,
            [start, quantity](M& m) {
                return start ? m.startVitalMeasurement(quantity) : m.stopVitalMeasurement(quantity);
            },
            format("measurement of quantity %d %s", quantity, start ? kStarted : kStopped));
    });
}

int runVitalSettings(Session& session, const std::vector<VitalSettingPair>& settings, double timeout) {
    // Everything is read before connecting: a value that does not read ends the command before anything is sent.
    std::optional<Date> time;
    std::optional<std::uint32_t> goal;
    std::vector<VitalSettingPair> parameters;
    for (const auto& setting : settings) {
        if (setting.key == "time") time = parseBraceletDate(setting.value, session);
        if (setting.key == "goal") goal = static_cast<std::uint32_t>(parseNumber(setting.value, "goal"));
        if (isParameterKey(setting.key)) parameters.push_back(setting);
    }
    HalvoraSDKVitalParams check;
    applyParameterSettings(check, parameters);
    return withBracelet(session, timeout, [&](VitalSession& b) {
        auto& printer = b.session().printer();
        if (time) {
            b.ask(C::kSetTime, [&](M& m) { return m.setBraceletTime(*time); });
            printTime(printer, readVitalTime(b));
        }
        if (goal) {
            b.ask(C::kSetStepGoal, [&](M& m) { return m.setVitalStepsGoal(*goal); });
            printGoal(printer, readGoal(b));
        }
        if (!parameters.empty()) {
            auto current = readVitalParameters(b);
            applyParameterSettings(current, parameters);
            b.ask(C::kSetParameters, [&](M& m) { return m.setVitalParameters(current); });
            printParameters(printer, readVitalParameters(b));
        }
    });
}

}  // namespace halvora::cli
