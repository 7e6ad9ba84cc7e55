#include "BraceletTimeField.hpp"

namespace halvora::cli {

namespace {

constexpr int kFirstYear = 2000;
constexpr int kLastYear = 2099;

}  // namespace

lab::BraceletTime readTwoDigitYearTime(const JsonReader& reader, const std::string& key) {
    const auto text = reader.optionalText(key);
    if (!text) reader.fail(key, "missing: a time like \"2026-11-20 08:00\"");
    const auto time = lab::BraceletTime::parse(*text);
    if (!time) reader.fail(key, "expected a time like \"2026-11-20 08:00\" or \"2026-11-20 08:00:30\"");
    if (time->year < kFirstYear || time->year > kLastYear) {
        reader.fail(key, "expected a time from 2000-01-01 00:00 to 2099-12-31 23:59:59");
    }
    return *time;
}

}  // namespace halvora::cli
