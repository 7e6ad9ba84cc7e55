// The Vital bracelet's subcommands: how they read from the command line. A record's get form is the bare
// command (`vital params`), its set form the `set` subcommand (`vital params set --brightness 12`); the set
// subcommand is registered before its parent, so that it is the one found parsed.
#include <memory>

#include "CommandSet.hpp"
#include "VitalCommands.hpp"
#include "VitalEcg.hpp"
#include "VitalHistory.hpp"

namespace halvora::cli {

namespace {

using Run = int (*)(Session&, double);
using Timeout = std::shared_ptr<double>;

/// The parameter options of `vital params set`, by setting key.
struct ParameterOption {
    const char* key;
    const char* flag;
    const char* help;
};
const ParameterOption kParameterOptions[] = {
    {"brightness", "--brightness", "screen brightness, 0 to 15"},
    {"dial", "--dial", "the dial (watch face), 0 to 9"},
    {"base", "--base",
     "the heart-rate base, 40 to 255; it is sent with its marker bit, so values of 128 and more do not read "
     "back as set: use 40 to 127"},
    {"language", "--language", "0 for the bracelet's first language, another number for the second"},
    {"km", "--km", "on: distances in km, off: miles"},
    {"24h", "--24h", "on: 24-hour clock, off: 12-hour"},
    {"wrist", "--wrist", "on: the screen lights up when the wrist is raised"},
    {"celsius", "--celsius", "on: degrees Celsius, off: Fahrenheit"},
    {"night", "--night", "night mode on or off"},
    {"ancs", "--ancs", "on: phone notifications are forwarded"},
};

void addSimple(CLI::App* parent, CommandSet& commands, const Timeout& timeout, const char* name, const char* what,
               Run run) {
    auto* command = parent->add_subcommand(name, what);
    addTimeout(command, *timeout);
    commands.add(command, [run, timeout](Session& s) { return run(s, *timeout); });
}

/// A record command: its bare form reads the record (registerGet), its `set` subcommand changes it.
CLI::App* addRecord(CLI::App* vital, const Timeout& timeout, const char* name, const char* what) {
    auto* command = vital->add_subcommand(name, what);
    command->require_subcommand(0, 1);
    command->fallthrough();
    addTimeout(command, *timeout);
    return command;
}

void registerGet(CLI::App* command, CommandSet& commands, const Timeout& timeout, Run get) {
    commands.add(command, [get, timeout](Session& s) { return get(s, *timeout); });
}

void addTime(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto* time = addRecord(vital, timeout, "time", "the bracelet's clock");
    auto when = commands.keep<std::string>("now");
    auto* set = time->add_subcommand("set", "set the clock, then read it back");
    set->add_option("WHEN", *when, "now (default) or \"yyyy-MM-dd HH:mm\", local time");
    addTimeout(set, *timeout);
    commands.add(set, [when, timeout](Session& s) { return runVitalSettings(s, {{"time", *when}}, *timeout); });
    registerGet(time, commands, timeout, runVitalTime);
}

void addGoal(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto* goal = addRecord(vital, timeout, "goal", "the daily step goal");
    auto steps = commands.keep<std::string>();
    auto* set = goal->add_subcommand("set", "set the step goal, then read it back");
    set->add_option("STEPS", *steps, "steps a day")->required();
    addTimeout(set, *timeout);
    commands.add(set, [steps, timeout](Session& s) { return runVitalSettings(s, {{"goal", *steps}}, *timeout); });
    registerGet(goal, commands, timeout, runVitalGoal);
}

void addUser(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto* user = addRecord(vital, timeout, "user", "the wearer's record");
    auto o = commands.keep<VitalUserOptions>();
    auto* set = user->add_subcommand("set", "change the wearer's record, then read it back");
    set->add_option("--sex", o->sex, "the kit's sex value (1 is the bracelet's 0, any other its 1)");
    set->add_option("--age", o->age, "years");
    set->add_option("--height", o->height, "cm (255 and more are sent as 255)");
    set->add_option("--weight", o->weight, "kg (255 and more are sent as 255)");
    set->add_option("--extra", o->extra, "the record's further byte");
    addTimeout(set, *timeout);
    commands.add(set, [o, timeout](Session& s) { return runVitalUserSet(s, *o, *timeout); });
    registerGet(user, commands, timeout, runVitalUser);
}

void addParams(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto* params = addRecord(vital, timeout, "params", "the device parameters");
    auto values = commands.keep<std::vector<std::optional<std::string>>>(
        std::vector<std::optional<std::string>>(std::size(kParameterOptions)));
    auto* set = params->add_subcommand(
        "set",
        "change the device parameters (two-step exchange), then read them back; the kit checks the values "
        "and refuses one out of range before anything is written");
    for (std::size_t i = 0; i < std::size(kParameterOptions); ++i) {
        set->add_option(kParameterOptions[i].flag, (*values)[i], kParameterOptions[i].help);
    }
    addTimeout(set, *timeout);
    commands.add(set, [values, timeout](Session& s) {
        std::vector<VitalSettingPair> settings;
        for (std::size_t i = 0; i < values->size(); ++i) {
            if ((*values)[i]) settings.push_back({kParameterOptions[i].key, *(*values)[i]});
        }
        return runVitalSettings(s, settings, *timeout);
    });
    registerGet(params, commands, timeout, runVitalParams);
}

void addActivity(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto* activity = addRecord(vital, timeout, "activity", "the exercise reminder");
    auto o = commands.keep<VitalActivityOptions>();
    auto* set = activity->add_subcommand("set", "change the exercise reminder, then read it back");
    set->add_option("--window", o->window, "HH:MM-HH:MM, start before end");
    set->add_option("--days", o->days, "daily, weekdays, weekend, none or mon+wed+...");
    set->add_option("--period", o->period, "minutes between reminders, 0 to 255");
    set->add_option("--steps", o->steps, "steps below which it reminds, 0 to 255");
    set->add_option("--motion", o->motion, "on or off");
    addTimeout(set, *timeout);
    commands.add(set, [o, timeout](Session& s) { return runVitalActivitySet(s, *o, *timeout); });
    registerGet(activity, commands, timeout, runVitalActivity);
}

void addDetection(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto type = commands.keep<std::string>();
    auto* detection = vital->add_subcommand("detection", "the automatic measurement schedule of a quantity");
    detection->add_option("TYPE", *type, "heart-rate, oxygen or temperature")
        ->required()
        ->check(CLI::IsMember({"heart-rate", "oxygen", "temperature"}));
    detection->require_subcommand(0, 1);
    detection->fallthrough();
    addTimeout(detection, *timeout);
    auto o = commands.keep<VitalDetectionOptions>();
    auto* set = detection->add_subcommand("set", "change the schedule, then read it back");
    set->add_option("--mode", o->mode, "0 off, 1 within the window, 2 within the window at --interval");
    set->add_option("--window", o->window, "HH:MM-HH:MM, start before end");
    set->add_option("--days", o->days, "daily, weekdays, weekend, none or mon+wed+...");
    set->add_option("--interval", o->interval, "minutes between measurements in mode 2, 0 to 65535");
    addTimeout(set, *timeout);
    commands.add(set, [type, o, timeout](Session& s) { return runVitalDetectionSet(s, *type, *o, *timeout); });
    commands.add(detection, [type, timeout](Session& s) { return runVitalDetection(s, *type, *timeout); });
}

void addWriteOnly(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto alarms = commands.keep<std::vector<std::string>>();
    auto* alarmsCommand = vital->add_subcommand("alarms", "the alarms (the bracelet does not read them back)");
    alarmsCommand->require_subcommand(1);
    auto* alarmsSet = alarmsCommand->add_subcommand("set", "replace the alarms, at most 10 (none clears them)");
    alarmsSet->add_option("ALARM", *alarms, "HH:MM or HH:MM/DAYS (daily, weekdays, weekend, mon+wed+...)");
    addTimeout(alarmsSet, *timeout);
    commands.add(alarmsSet, [alarms, timeout](Session& s) { return runVitalAlarmsSet(s, *alarms, *timeout); });

    auto weather = commands.keep<HalvoraSDKVitalWeather>();
    auto* weatherCommand = vital->add_subcommand("weather", "the weather shown (the bracelet does not read it back)");
    weatherCommand->require_subcommand(1);
    auto* weatherSet = weatherCommand->add_subcommand("set", "send the weather");
    weatherSet->add_option("--status", weather->status, "the weather symbol (default 4)");
    weatherSet->add_option("--temperature", weather->temperature, "degrees now (default 20)");
    weatherSet->add_option("--max", weather->maxTemperature, "the day's highest (default 24)");
    weatherSet->add_option("--min", weather->minTemperature, "the day's lowest (default 0)");
    weatherSet->add_option("--air-quality", weather->airQuality, "the air-quality index (default 90)");
    weatherSet->add_option("--location", weather->location, "the place; the bracelet shows its first 8 bytes");
    addTimeout(weatherSet, *timeout);
    commands.add(weatherSet, [weather, timeout](Session& s) { return runVitalWeatherSet(s, *weather, *timeout); });
}

void addSwitches(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto qr = commands.keep<std::string>();
    auto* qrCommand = vital->add_subcommand("qr", "show or hide the QR screen");
    qrCommand->add_option("STATE", *qr, "on or off")->required()->check(CLI::IsMember({"on", "off"}));
    addTimeout(qrCommand, *timeout);
    commands.add(qrCommand, [qr, timeout](Session& s) { return runVitalQR(s, *qr == "on", *timeout); });

    auto sportAction = commands.keep<std::string>();
    auto sport = commands.keep<VitalSportOptions>();
    auto* sportCommand = vital->add_subcommand("sport", "start or stop the sport mode");
    sportCommand->add_option("ACTION", *sportAction, "start or stop")
        ->required()
        ->check(CLI::IsMember({"start", "stop"}));
    sportCommand->add_option("--mode", sport->mode, "the sport (start; default 0)");
    sportCommand->add_option("--level", sport->level, "the level, sent for sport 6 only");
    sportCommand->add_option("--period", sport->period, "the time period, below 256");
    addTimeout(sportCommand, *timeout);
    commands.add(sportCommand, [sportAction, sport, timeout](Session& s) {
        return runVitalSport(s, *sportAction == "start", *sport, *timeout);
    });

    auto measureAction = commands.keep<std::string>();
    auto quantity = commands.keep<int>();
    auto* measure = vital->add_subcommand("measure", "start or stop measuring a quantity now");
    measure->add_option("ACTION", *measureAction, "start or stop")->required()->check(CLI::IsMember({"start", "stop"}));
    measure->add_option("QUANTITY", *quantity, "the kit's quantity: 0, 2 or 3 (sent as the bracelet's 2, 3 and 1)")
        ->required()
        ->check(CLI::IsMember({0, 2, 3}));
    addTimeout(measure, *timeout);
    commands.add(measure, [measureAction, quantity, timeout](Session& s) {
        return runVitalMeasure(s, *measureAction == "start", *quantity, *timeout);
    });
}

void addSettings(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto words = commands.keep<std::vector<std::string>>();
    auto* set = vital->add_subcommand("set", "several settings in one connection, each read back");
    set->add_option("SETTING", *words, kVitalSetKeysHelp)->required();
    addTimeout(set, *timeout);
    commands.add(
        set, [words, timeout](Session& s) { return runVitalSettings(s, parseVitalSettingPairs(*words), *timeout); });
}

void addHistory(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto o = commands.keep<VitalHistoryOptions>();
    auto* history = vital->add_subcommand("history", "download one stored history and print it");
    history->add_option("KIND", o->kind, "heart-rate, temperature, spo2, hrv, steps, sleep, sport or totals")
        ->required()
        ->check(CLI::IsMember(kVitalHistoryKinds));
    history->add_flag("--periodic", o->periodic, "the automatic series (heart-rate, temperature, spo2)");
    history->add_option("--csv", o->csv, "also write the records to this CSV file");
    history->add_option("--plot", o->plot, "also draw the series as an SVG line chart (heart-rate, temperature, spo2)");
    addTimeout(history, *timeout);
    commands.add(history, [o, timeout](Session& s) { return runVitalHistory(s, *o, *timeout); });
}

void addEcg(CLI::App* vital, CommandSet& commands, const Timeout& timeout) {
    auto live = commands.keep<VitalEcgOptions>();
    auto* ecg = vital->add_subcommand("ecg", "measure an ECG: the live trace until the bracelet has finished");
    ecg->add_option("--seconds", live->seconds, "wait at most this long for the measurement to finish (default 60)")
        ->check(CLI::PositiveNumber);
    ecg->add_option("--plot", live->plot, "draw the live trace as an SVG ECG strip");
    addTimeout(ecg, *timeout);
    commands.add(ecg, [live, timeout](Session& s) { return runVitalEcg(s, *live, *timeout); });

    auto stored = commands.keep<VitalEcgWaveformOptions>();
    auto* waveform = vital->add_subcommand("ecg-waveform", "download a stored ECG waveform");
    waveform->add_option("RECORD", stored->record, "the record's number, 0 to 255")->required();
    waveform->add_option("--plot", stored->plot, "draw the waveform as an SVG ECG strip");
    addTimeout(waveform, *timeout);
    commands.add(waveform, [stored, timeout](Session& s) { return runVitalEcgWaveform(s, *stored, *timeout); });
}

}  // namespace

void addVitalCommands(CLI::App& app, CommandSet& commands) {
    auto timeout = commands.keep<double>(30);
    auto* vital = app.add_subcommand("vital", "the Vital bracelet (kind 10)");
    vital->require_subcommand(1);
    vital->fallthrough();
    addTime(vital, commands, timeout);
    addGoal(vital, commands, timeout);
    addUser(vital, commands, timeout);
    addParams(vital, commands, timeout);
    addActivity(vital, commands, timeout);
    addDetection(vital, commands, timeout);
    addWriteOnly(vital, commands, timeout);
    addSwitches(vital, commands, timeout);
    addSimple(vital, commands, timeout, "battery", "the battery level", runVitalBattery);
    addSimple(vital, commands, timeout, "mac", "the MAC address", runVitalMac);
    addSettings(vital, commands, timeout);
    addHistory(vital, commands, timeout);
    addEcg(vital, commands, timeout);
}

}  // namespace halvora::cli
