#pragma once

#include <string>

#include "JsonReader.hpp"
#include "lab/Devices/Bracelet/BraceletTime.hpp"

namespace halvora::cli {

/// A lab script's clock time ("2026-11-20 08:00" or with seconds) for a device that keeps a two-digit year:
/// 2000-01-01 00:00 to 2099-12-31 23:59:59. Fails naming the field when missing or out of that range.
lab::BraceletTime readTwoDigitYearTime(const JsonReader& reader, const std::string& key);

}  // namespace halvora::cli
