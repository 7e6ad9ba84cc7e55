#include "halvora/Transport/BlueZ/internal/PropertyReader.hpp"

#include <sdbus-c++/sdbus-c++.h>

namespace halvora::bluez {

PropertyReader::PropertyReader(const PropertyMap& properties, std::size_t maxBytes, DropReport dropped)
    : properties_(properties), maxBytes_(maxBytes), dropped_(std::move(dropped)) {}

template <typename T>
std::optional<T> PropertyReader::read(const std::string& name) const {
    const auto it = properties_.find(name);
    if (it == properties_.end()) return std::nullopt;
    try {
        const std::string expected = sdbus::signature_of<T>::str();
        const std::string actual = it->second.peekValueType();
        if (actual != expected) {
            if (dropped_) dropped_(name, "type '" + actual + "' instead of '" + expected + "'");
            return std::nullopt;
        }
        return it->second.get<T>();
    } catch (const sdbus::Error& error) {
        if (dropped_) dropped_(name, error.getMessage());
    }
    return std::nullopt;
}

std::optional<bool> PropertyReader::boolean(const std::string& name) const {
    return read<bool>(name);
}

std::optional<std::string> PropertyReader::text(const std::string& name) const {
    return read<std::string>(name);
}

std::optional<std::string> PropertyReader::objectPath(const std::string& name) const {
    auto path = read<sdbus::ObjectPath>(name);
    if (!path) return std::nullopt;
    return std::string(*path);
}

std::optional<std::int16_t> PropertyReader::int16(const std::string& name) const {
    return read<std::int16_t>(name);
}

std::optional<std::vector<std::string>> PropertyReader::textList(const std::string& name) const {
    return read<std::vector<std::string>>(name);
}

std::optional<std::vector<std::uint8_t>> PropertyReader::cappedBytes(const std::string& name,
                                                                     std::vector<std::uint8_t> value) const {
    if (value.size() > maxBytes_) {
        if (dropped_) dropped_(name, std::to_string(value.size()) + " bytes, more than " + std::to_string(maxBytes_));
        return std::nullopt;
    }
    return value;
}

std::optional<std::vector<std::uint8_t>> PropertyReader::bytes(const std::string& name) const {
    auto value = read<std::vector<std::uint8_t>>(name);
    if (!value) return std::nullopt;
    return cappedBytes(name, std::move(*value));
}

std::optional<std::vector<BLEUUID>> PropertyReader::uuidList(const std::string& name) const {
    auto texts = textList(name);
    if (!texts) return std::nullopt;
    std::vector<BLEUUID> uuids;
    for (const auto& text : *texts) {
        if (auto parsed = BLEUUID::parse(text)) {
            uuids.push_back(*parsed);
        } else if (dropped_) {
            dropped_(name, "\"" + text + "\" is not a UUID");
        }
    }
    return uuids;
}

std::optional<BLEUUID> PropertyReader::uuid(const std::string& name) const {
    auto text = this->text(name);
    if (!text) return std::nullopt;
    auto parsed = BLEUUID::parse(*text);
    if (!parsed && dropped_) dropped_(name, "\"" + *text + "\" is not a UUID");
    return parsed;
}

std::optional<std::map<std::uint16_t, std::vector<std::uint8_t>>> PropertyReader::manufacturerData(
    const std::string& name) const {
    auto entries = read<std::map<std::uint16_t, sdbus::Variant>>(name);
    if (!entries) return std::nullopt;
    std::map<std::uint16_t, std::vector<std::uint8_t>> data;
    for (const auto& [company, value] : *entries) {
        PropertyMap inner{{name, value}};
        PropertyReader reader(inner, maxBytes_, dropped_);
        if (auto bytes = reader.bytes(name)) data.emplace(company, std::move(*bytes));
    }
    return data;
}

std::optional<std::map<BLEUUID, std::vector<std::uint8_t>>> PropertyReader::serviceData(const std::string& name) const {
    auto entries = read<std::map<std::string, sdbus::Variant>>(name);
    if (!entries) return std::nullopt;
    std::map<BLEUUID, std::vector<std::uint8_t>> data;
    for (const auto& [key, value] : *entries) {
        auto uuid = BLEUUID::parse(key);
        if (!uuid) {
            if (dropped_) dropped_(name, "\"" + key + "\" is not a UUID");
            continue;
        }
        PropertyMap inner{{name, value}};
        PropertyReader reader(inner, maxBytes_, dropped_);
        if (auto bytes = reader.bytes(name)) data.emplace(*uuid, std::move(*bytes));
    }
    return data;
}

}  // namespace halvora::bluez
