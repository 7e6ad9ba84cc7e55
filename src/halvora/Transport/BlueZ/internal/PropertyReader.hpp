#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "halvora/Transport/BLEUUID.hpp"
#include "halvora/Transport/BlueZ/internal/BlueZNames.hpp"

namespace halvora::bluez {

/// Reads the properties of one interface of one object defensively: a property of an unexpected type (or
/// one that cannot be read) is dropped and reported through `dropped`, never thrown. Absent properties
/// are simply absent. Byte arrays longer than `maxBytes` are dropped too.
class PropertyReader {
public:
    /// Called for each dropped property with its name and why.
    using DropReport = std::function<void(const std::string& property, const std::string& why)>;

    PropertyReader(const PropertyMap& properties, std::size_t maxBytes, DropReport dropped);

    bool has(const std::string& name) const { return properties_.count(name) != 0; }
    std::optional<bool> boolean(const std::string& name) const;
    std::optional<std::string> text(const std::string& name) const;
    std::optional<std::string> objectPath(const std::string& name) const;
    std::optional<std::int16_t> int16(const std::string& name) const;
    std::optional<std::vector<std::string>> textList(const std::string& name) const;
    std::optional<std::vector<std::uint8_t>> bytes(const std::string& name) const;
    /// A list of UUID texts; texts that are not UUIDs are left out (and reported).
    std::optional<std::vector<BLEUUID>> uuidList(const std::string& name) const;
    std::optional<BLEUUID> uuid(const std::string& name) const;
    /// Device1.ManufacturerData, a{qv} with byte-array values; entries of another type are left out.
    std::optional<std::map<std::uint16_t, std::vector<std::uint8_t>>> manufacturerData(const std::string& name) const;
    /// Device1.ServiceData, a{sv} with byte-array values keyed by UUID text.
    std::optional<std::map<BLEUUID, std::vector<std::uint8_t>>> serviceData(const std::string& name) const;

private:
    template <typename T>
    std::optional<T> read(const std::string& name) const;
    std::optional<std::vector<std::uint8_t>> cappedBytes(const std::string& name,
                                                         std::vector<std::uint8_t> value) const;

    const PropertyMap& properties_;
    const std::size_t maxBytes_;
    DropReport dropped_;
};

}  // namespace halvora::bluez
