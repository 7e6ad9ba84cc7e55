#include "LabFile.hpp"

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

LabDeviceSpec readDevice(const nlohmann::json& json, const std::string& where, std::size_t index) {
    JsonReader device(json, where);
    device.rejectUnknown({"class", "identifier", "name", "rssi", "script", "faults"});
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
    entry.script = device.object("script").json();
    entry.faults = readFaults(device.object("faults"));
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
    }
    JsonReader root(json, origin);
    root.rejectUnknown({"seed", "devices"});
    LabDescription description;
    if (auto seed = root.optionalInteger("seed")) {
        if (*seed < 0) root.fail("seed", "expected a non-negative integer");
        description.seed = static_cast<std::uint64_t>(*seed);
    }
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
