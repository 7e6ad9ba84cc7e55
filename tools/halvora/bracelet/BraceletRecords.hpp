#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "halvora/Records/HalvoraSDKBraceletData.hpp"

namespace halvora::cli {

/// One history record of any bracelet kind, as the tool shows it.
struct HistoryRecord {
    std::string record;  ///< "steps", "sleep" or "heart"
    Date date;
    nlohmann::json json;  ///< the record's fields by name, with "record"
};

/// Every record of the downloads, sorted by date (records of one date keep the order steps, sleep, heart).
std::vector<HistoryRecord> historyRecords(const std::vector<HalvoraSDKBraceletData>& downloads);

/// The CSV header of a history: the record kind, then the field names of every bracelet record.
std::vector<std::string> historyCsvHeader();
/// A record's CSV row, in the order of historyCsvHeader() (fields of other records empty).
std::vector<std::string> historyCsvRow(const HistoryRecord& record);

/// The step record's fields by name.
nlohmann::json toJson(const HalvoraSDKStepData& data);
/// The sleep record's fields by name.
nlohmann::json toJson(const HalvoraSDKSleepData& data);
/// The heart-rate record's fields by name.
nlohmann::json toJson(const HalvoraSDKHeartBeatData& data);
/// "8421 steps, 4.49 km, 225.3 kcal".
std::string stepsText(const HalvoraSDKStepData& data);
/// "yyyy-MM-dd HH:mm:ss" in local time, or "-".
std::string localDateText(const std::optional<Date>& date);

}  // namespace halvora::cli

namespace halvora::cli {

class Printer;

/// Prints a history: in JSON one record per line; otherwise a table per kind of record (date, value).
void printHistory(Printer& printer, const std::vector<HistoryRecord>& records);

}  // namespace halvora::cli
