#include "halvora/Records/HalvoraSDKTensioBraceletData.hpp"

#include <functional>

namespace halvora {

namespace {

template <typename T>
std::size_t hashOf(const std::optional<T>& value) {
    return value ? std::hash<T>{}(*value) : 0;
}

std::size_t hashOf(const std::optional<Date>& value) {
    return value ? std::hash<Date::rep>{}(value->time_since_epoch().count()) : 0;
}

/// The usual hash_combine step.
std::size_t combine(std::size_t seed, std::size_t value) {
    return seed ^ (value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2));
}

}  // namespace

std::size_t HalvoraSDKTensioBraceletData::hash() const {
    std::size_t seed = hashOf(date);
    seed = combine(seed, hashOf(systolic));
    seed = combine(seed, hashOf(diastolic));
    seed = combine(seed, hashOf(pulse));
    return combine(seed, hashOf(irregular));
}

}  // namespace halvora
