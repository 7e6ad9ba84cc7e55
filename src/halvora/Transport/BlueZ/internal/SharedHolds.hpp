#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace halvora::bluez {

/// What bluetoothd keeps once per D-Bus connection, a device's link or a characteristic's notify session,
/// though several peripherals of the transport's centrals may use it at once: per object path, the
/// peripherals (holders) using it. The one who lets go last ends it at bluetoothd.
class SharedHolds {
public:
    void hold(const std::string& path, std::uint64_t holder);
    /// Drops `holder`'s hold (if any); true when nobody holds `path` any more.
    bool release(const std::string& path, std::uint64_t holder);
    bool held(const std::string& path) const;
    /// Drops every hold of `holder`; the paths nobody holds any more.
    std::vector<std::string> releaseAll(std::uint64_t holder);
    /// Every path somebody holds.
    std::vector<std::string> paths() const;
    void clear() { holders_.clear(); }

private:
    std::map<std::string, std::set<std::uint64_t>> holders_;
};

}  // namespace halvora::bluez
