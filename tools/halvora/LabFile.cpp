#include "LabFile.hpp"

#include <chrono>
#include <fstream>
#include <sstream>

#include "CliError.hpp"
#include "JsonReader.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Transport/BLEUUID.hpp"

namespace halvora::cli {

namespace {

/// Line and column of a byte offset in `text` (both from 1).
std::pair<std::size_t, std::size_t> position(const std::string& text, std::size_t byte) {
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t i = 0; i < text.size() && i + 1 < byte; ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return {line, column};
}

lab::LabFaults readFaults(const JsonReader& faults) {
    faults.rejectUnknown({"failConnect", "discoveryError", "characteristicDiscoveryError",
                          "dropNotificationProbability", "duplicateNotifications", "splitNotificationsAt",
                          "replyDelayMs", "disconnectAfterMs", "inRange"});
    lab::LabFaults out;
    out.failConnect = faults.boolean("failConnect", false);
    out.discoveryError = faults.boolean("discoveryError", false);
    out.characteristicDiscoveryError = faults.boolean("characteristicDiscoveryError", false);
    out.dropNotificationProbability = faults.number("dropNotificationProbability", 0.0);
    if (out.dropNotificationProbability < 0 || out.dropNotificationProbability > 1) {
        faults.fail("dropNotificationProbability", "expected a number from 0 to 1");
    }
    out.duplicateNotifications = faults.boolean("duplicateNotifications", false);
    if (auto at = faults.optionalInteger("splitNotificationsAt")) {
        if (*at < 1) faults.fail("splitNotificationsAt", "expected a positive integer");
        out.splitNotificationsAt = static_cast<std::size_t>(*at);
    }
    const int replyDelay = faults.integer("replyDelayMs", 0);
    if (replyDelay < 0) faults.fail("replyDelayMs", "expected a non-negative integer");
    out.replyDelay = std::chrono::milliseconds(replyDelay);
    if (auto after = faults.optionalInteger("disconnectAfterMs")) {
        if (*after < 0) faults.fail("disconnectAfterMs", "expected a non-negative integer");
        out.disconnectAfter = std::chrono::milliseconds(*after);
    }
    out.inRange = faults.boolean("inRange", true);
    return out;
}

/// The text that turns every hostility on at once (HostileMode::all()).
const std::string kHostileAll = "all";

double readChance(const JsonReader& hostile, const std::string& key) {
    const double chance = hostile.number(key, 0.0);
    if (chance < 0 || chance > 1) hostile.fail(key, "expected a number from 0 to 1");
    return chance;
}

std::size_t readCount(const JsonReader& hostile, const std::string& key, std::size_t fallback, std::size_t lowest,
                      std::size_t highest) {
    const auto count = hostile.optionalInteger(key);
    if (!count) return fallback;
    if (*count < 0 || static_cast<std::size_t>(*count) < lowest || static_cast<std::size_t>(*count) > highest) {
        hostile.fail(key, format("expected an integer from %zu to %zu", lowest, highest));
    }
    return static_cast<std::size_t>(*count);
}

/// The device's "hostile" key: "all", or an object of chances and lengths (lab::HostileMode).
lab::HostileMode readHostile(const JsonReader& device) {
    if (!device.has("hostile")) return {};
    const auto& json = device.json().at("hostile");
    if (json.is_string() && json.get<std::string>() == kHostileAll) return lab::HostileMode::all();
    if (!json.is_object()) device.fail("hostile", "expected \"" + kHostileAll + "\" or an object");
    const JsonReader hostile = device.object("hostile");
    hostile.rejectUnknown({"random", "short", "oversized", "duplicate", "reorder", "flood", "drop", "disconnect",
                           "maxLength", "floodCount", "unsolicitedEveryMs"});
    lab::HostileMode out;
    out.random = readChance(hostile, "random");
    out.cutShort = readChance(hostile, "short");
    out.oversized = readChance(hostile, "oversized");
    out.duplicate = readChance(hostile, "duplicate");
    out.reorder = readChance(hostile, "reorder");
    out.flood = readChance(hostile, "flood");
    out.drop = readChance(hostile, "drop");
    out.disconnect = readChance(hostile, "disconnect");
    out.maxLength = readCount(hostile, "maxLength", out.maxLength, 1, lab::HostileMode::kMaxLengthCap);
    out.floodCount = readCount(hostile, "floodCount", out.floodCount, 0, lab::HostileMode::kFloodCountCap);
    if (auto every = hostile.optionalInteger("unsolicitedEveryMs")) {
        if (*every < 1) hostile.fail("unsolicitedEveryMs", "expected a positive integer");
        out.unsolicitedEvery = std::chrono::milliseconds(*every);
    }
    return out;
}

// The lab's link model: "link": {"connectionIntervalMs": 30, "packetsPerEvent": 4, "notificationLatencyMs": 0}
// (each optional, defaults as lab::LinkModel's). The interval may have a fraction (7.5).
constexpr double kMinIntervalMs = 7.5;
constexpr double kMaxIntervalMs = 4000;
constexpr int kMaxPacketsPerEvent = 1000;
constexpr double kMaxLatencyMs = 10000;
// A device's advertising interval: Bluetooth LE's own range, 20 ms to 10.24 s.
constexpr double kMinAdvertisingMs = 20;
constexpr double kMaxAdvertisingMs = 10240;

Duration millisecondsField(const JsonReader& object, const std::string& key, Duration fallback, double low,
                           double high) {
    const double ms = object.number(key, std::chrono::duration<double, std::milli>(fallback).count());
    if (ms < low || ms > high) object.fail(key, format("expected milliseconds from %g to %g", low, high));
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double, std::milli>(ms));
}

lab::LinkModel readLinkModel(const JsonReader& link) {
    link.rejectUnknown({"connectionIntervalMs", "packetsPerEvent", "notificationLatencyMs"});
    lab::LinkModel out;
    out.connectionInterval =
        millisecondsField(link, "connectionIntervalMs", out.connectionInterval, kMinIntervalMs, kMaxIntervalMs);
    out.packetsPerEvent = link.integer("packetsPerEvent", out.packetsPerEvent);
    if (out.packetsPerEvent < 1 || out.packetsPerEvent > kMaxPacketsPerEvent) {
        link.fail("packetsPerEvent", format("expected an integer from 1 to %d", kMaxPacketsPerEvent));
    }
    out.notificationLatency =
        millisecondsField(link, "notificationLatencyMs", out.notificationLatency, 0, kMaxLatencyMs);
    return out;
}

LabDeviceSpec readDevice(const nlohmann::json& json, const std::string& where, std::size_t index) {
    JsonReader device(json, where);
    device.rejectUnknown(
        {"class", "identifier", "name", "rssi", "advertisingIntervalMs", "script", "faults", "hostile"});
    LabDeviceSpec entry;
    entry.where = where;
    entry.className = device.text("class", "");
    if (entry.className.empty()) device.fail("class", "missing: name the driver class the device plays");
    if (!LabCatalog::find(entry.className)) device.fail("class", "no virtual device plays \"" + entry.className + "\"");
    entry.identifier = device.text("identifier", defaultIdentifier(index));
    if (entry.identifier.size() != 36 || !BLEUUID::parse(entry.identifier)) {
        device.fail("identifier", "expected a UUID text like 6F1C2D3E-0000-4000-8000-000000000001");
    }
    entry.name = device.optionalText("name");
    entry.rssi = device.integer("rssi", -60);
    if (entry.rssi > 20 || entry.rssi < -127) device.fail("rssi", "expected dBm from -127 to 20");
    if (device.has("advertisingIntervalMs")) {
        entry.advertisingInterval = millisecondsField(device, "advertisingIntervalMs", Duration::zero(),
                                                      kMinAdvertisingMs, kMaxAdvertisingMs);
    }
    entry.script = device.object("script").json();
    entry.faults = readFaults(device.object("faults"));
    entry.faults.hostile = readHostile(device);
    return entry;
}

}  // namespace

std::string defaultIdentifier(std::size_t index) {
    return format("6F1C2D3E-0000-4000-8000-%012zX", index + 1);
}

LabDescription LabDescription::fromText(const std::string& text, const std::string& origin) {
    nlohmann::json json;
    try {
        json = nlohmann::json::parse(text);
    } catch (const nlohmann::json::parse_error& error) {
        const auto [line, column] = position(text, error.byte);
        std::string what = error.what();
        const auto colon = what.find("syntax error");
        if (colon != std::string::npos) what = what.substr(colon);
        throw CliError(ExitBadArguments, format("%s:%zu:%zu: %s", origin.c_str(), line, column, what.c_str()));
    } catch (const nlohmann::json::exception& error) {
        // Well-formed text the parser still refuses, such as a number beyond every number type.
        throw CliError(ExitBadArguments, origin + ": " + error.what());
    }
    JsonReader root(json, origin);
    root.rejectUnknown({"seed", "link", "devices"});
    LabDescription description;
    if (auto seed = root.optionalInteger("seed")) {
        if (*seed < 0) root.fail("seed", "expected a non-negative integer");
        description.seed = static_cast<std::uint64_t>(*seed);
    }
    if (root.has("link")) description.link = readLinkModel(root.object("link"));
    if (!json.contains("devices") || !json["devices"].is_array()) root.fail("devices", "expected a list of devices");
    const auto& devices = json["devices"];
    for (std::size_t i = 0; i < devices.size(); ++i) {
        description.devices.push_back(readDevice(devices[i], origin + ": devices[" + std::to_string(i) + "]", i));
    }
    return description;
}

LabDescription LabDescription::fromFile(const std::string& path) {
    std::ifstream in(path);
    if (!in) throw CliError(ExitBadArguments, "cannot read lab file " + path);
    std::stringstream text;
    text << in.rdbuf();
    return fromText(text.str(), path);
}

LabDescription LabDescription::defaultLab() {
    LabDescription description;
    const auto& classes = LabCatalog::classes();
    for (std::size_t i = 0; i < classes.size(); ++i) {
        LabDeviceSpec entry;
        entry.className = classes[i].className;
        entry.identifier = defaultIdentifier(i);
        entry.rssi = -55 - static_cast<int>(i);
        entry.script = classes[i].defaultScript;
        entry.where = "default lab: " + entry.className;
        description.devices.push_back(std::move(entry));
    }
    return description;
}

}  // namespace halvora::cli
