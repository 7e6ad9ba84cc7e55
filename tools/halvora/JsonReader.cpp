#include "JsonReader.hpp"

#include <algorithm>
#include <limits>

namespace halvora::cli {

JsonReader::JsonReader(const nlohmann::json& object, std::string where) : object_(object), where_(std::move(where)) {
    if (!object_.is_object()) throw CliError(ExitBadArguments, where_ + ": expected an object");
}

void JsonReader::fail(const std::string& key, const std::string& what) const {
    throw CliError(ExitBadArguments, where_ + "." + key + ": " + what);
}

int JsonReader::integer(const std::string& key, int fallback) const { return optionalInteger(key).value_or(fallback); }

int JsonReader::integerIn(const std::string& key, int fallback, int low, int high) const {
    const int value = integer(key, fallback);
    if (value < low || value > high) fail(key, "expected " + std::to_string(low) + " to " + std::to_string(high));
    return value;
}

Duration JsonReader::millisecondsIn(const std::string& key, Duration fallback, int low, int high) const {
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(fallback).count();
    return std::chrono::milliseconds(integerIn(key, static_cast<int>(ms), low, high));
}

std::vector<JsonReader> JsonReader::objects(const std::string& key) const {
    std::vector<JsonReader> out;
    if (!has(key)) return out;
    const auto& list = value(key);
    if (!list.is_array()) fail(key, "expected a list of objects");
    for (std::size_t i = 0; i < list.size(); ++i) {
        out.emplace_back(list[i], where_ + "." + key + "[" + std::to_string(i) + "]");
    }
    return out;
}

std::optional<int> JsonReader::optionalInteger(const std::string& key) const {
    if (!has(key) || value(key).is_null()) return std::nullopt;
    const auto& v = value(key);
    if (!v.is_number_integer()) fail(key, "expected an integer");
    const auto n = v.get<long long>();
    if (n < std::numeric_limits<int>::min() || n > std::numeric_limits<int>::max()) fail(key, "out of range");
    return static_cast<int>(n);
}

double JsonReader::number(const std::string& key, double fallback) const {
    if (!has(key)) return fallback;
    if (!value(key).is_number()) fail(key, "expected a number");
    return value(key).get<double>();
}

bool JsonReader::boolean(const std::string& key, bool fallback) const {
    if (!has(key)) return fallback;
    if (!value(key).is_boolean()) fail(key, "expected true or false");
    return value(key).get<bool>();
}

std::string JsonReader::text(const std::string& key, const std::string& fallback) const {
    return optionalText(key).value_or(fallback);
}

std::optional<std::string> JsonReader::optionalText(const std::string& key) const {
    if (!has(key) || value(key).is_null()) return std::nullopt;
    if (!value(key).is_string()) fail(key, "expected a text");
    return value(key).get<std::string>();
}

JsonReader JsonReader::object(const std::string& key) const {
    if (!has(key)) return JsonReader(nlohmann::json::object(), where_ + "." + key);
    if (!value(key).is_object()) fail(key, "expected an object");
    return JsonReader(value(key), where_ + "." + key);
}

void JsonReader::rejectUnknown(const std::vector<std::string>& known) const {
    for (const auto& [key, unused] : object_.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end()) fail(key, "unknown field");
    }
}

}  // namespace halvora::cli
