#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "halvora/Core/Date.hpp"

namespace halvora {

/// One temperature reading. Produced by the three thermometer generations (and by the Vital bracelet's
/// temperature history). Every field may be absent.
struct HalvoraSDKThermometerData {
    /// When the reading was received; the third-generation thermometer leaves it absent.
    std::optional<Date> date;
    /// Measuring mode: 0 first generation, 2 or 3 second generation, 4 third generation, 1 Vital bracelet.
    std::optional<std::int32_t> mode;
    /// The temperature, in the unit of `unit`.
    std::optional<double> temperature;
    /// kUnitCelsius or kUnitFahrenheit.
    std::optional<std::string> unit;

    /// The `unit` text of a reading in degrees Celsius.
    static constexpr const char* kUnitCelsius = "celsius";
    /// Spelled "farenheit": applications compare against this exact text.
    static constexpr const char* kUnitFahrenheit = "farenheit";

    /// The text form of the dictionary {date, mode, temperature, unit}, keys in that order, one
    /// "key = value;" line each, absent fields left out:
    ///
    ///     {
    ///         date = "2026-01-01 00:00:00";
    ///         mode = 2;
    ///         temperature = "36.9";
    ///         unit = celsius;
    ///     }
    ///
    /// The date is local "yyyy-MM-dd HH:mm:ss"; the temperature is printed with up to 7 significant digits;
    /// a value is quoted unless it consists of letters, digits and underscores only.
    std::string description() const;
};

}  // namespace halvora
