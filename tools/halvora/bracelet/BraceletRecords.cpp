#include "BraceletRecords.hpp"

#include <algorithm>
#include <functional>

#include "RecordJson.hpp"
#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

const std::vector<std::string> kCsvFields = {"record", "date",       "steps",         "calories",      "distance",
                                             "hr",     "activeTime", "sleepDuration", "sleepDeepness", "heartRate"};

int kindOrder(const std::string& record) {
    return record == "steps" ? 0 : record == "sleep" ? 1 : 2;
}

template <typename Record>
void collect(std::vector<HistoryRecord>& out, const std::vector<Record>& records, const char* kind) {
    for (const auto& r : records) {
        nlohmann::json json = toJson(r);
        json["record"] = kind;
        out.push_back({kind, r.date.value_or(Date{}), std::move(json)});
    }
}

std::string csvField(const nlohmann::json& value) {
    if (value.is_null()) return "";
    if (value.is_string()) return value.get<std::string>();
    if (value.is_number_float()) return format("%.6g", value.get<double>());
    return value.dump();
}

}  // namespace

std::vector<HistoryRecord> historyRecords(const std::vector<HalvoraSDKBraceletData>& downloads) {
    std::vector<HistoryRecord> out;
    for (const auto& d : downloads) {
        collect(out, d.stepsData, "steps");
        collect(out, d.sleepData, "sleep");
        collect(out, d.heartData, "heart");
    }
    std::stable_sort(out.begin(), out.end(), [](const HistoryRecord& a, const HistoryRecord& b) {
        if (a.date != b.date) return a.date < b.date;
        return kindOrder(a.record) < kindOrder(b.record);
    });
    return out;
}

std::vector<std::string> historyCsvHeader() {
    return kCsvFields;
}

std::vector<std::string> historyCsvRow(const HistoryRecord& record) {
    std::vector<std::string> row;
    for (const auto& field : kCsvFields) {
        if (field == "date") {
            row.push_back(localDateText(record.date));
        } else {
            row.push_back(record.json.contains(field) ? csvField(record.json[field]) : "");
        }
    }
    return row;
}

nlohmann::json toJson(const HalvoraSDKStepData& data) {
    return {{"date", isoDate(data.date)}, {"steps", data.steps},         {"calories", data.calories},
            {"distance", data.distance},  {"hr", optionalJson(data.hr)}, {"activeTime", optionalJson(data.activeTime)}};
}

nlohmann::json toJson(const HalvoraSDKSleepData& data) {
    return {{"date", isoDate(data.date)}, {"sleepDuration", data.sleepDuration}, {"sleepDeepness", data.sleepDeepness}};
}

nlohmann::json toJson(const HalvoraSDKHeartBeatData& data) {
    return {{"date", isoDate(data.date)}, {"heartRate", data.heartRate}};
}

std::string stepsText(const HalvoraSDKStepData& data) {
    return format("%d steps, %.2f km, %.1f kcal", data.steps, data.distance, data.calories);
}

std::string localDateText(const std::optional<Date>& date) {
    return date ? Calendar::formatDateTime(*date) : std::string("-");
}

}  // namespace halvora::cli

#include "Printer.hpp"

namespace halvora::cli {

namespace {

void printTable(Printer& printer, const std::vector<HistoryRecord>& records, const std::string& kind,
                const std::string& title, const std::vector<std::string>& headers,
                const std::function<std::vector<std::string>(const nlohmann::json&)>& values) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& r : records) {
        if (r.record != kind) continue;
        std::vector<std::string> row = {localDateText(r.date)};
        for (auto& v : values(r.json)) row.push_back(std::move(v));
        rows.push_back(std::move(row));
    }
    printer.line(format("%s: %zu records", title.c_str(), rows.size()));
    if (!rows.empty()) printer.table(headers, rows);
}

}  // namespace

void printHistory(Printer& printer, const std::vector<HistoryRecord>& records) {
    if (printer.json()) {
        for (const auto& r : records) printer.event(r.json, "");
        return;
    }
    printTable(printer, records, "steps", "steps", {"date", "steps", "distance km", "calories kcal"},
               [](const nlohmann::json& j) {
                   return std::vector<std::string>{std::to_string(j["steps"].get<int>()),
                                                   format("%.3f", j["distance"].get<double>()),
                                                   format("%.1f", j["calories"].get<double>())};
               });
    printTable(printer, records, "sleep", "sleep", {"date", "minutes", "deep"}, [](const nlohmann::json& j) {
        return std::vector<std::string>{std::to_string(j["sleepDuration"].get<int>()),
                                        j["sleepDeepness"].get<int>() == 1 ? "deep" : "light"};
    });
    printTable(printer, records, "heart", "heart rate", {"date", "bpm"}, [](const nlohmann::json& j) {
        return std::vector<std::string>{std::to_string(j["heartRate"].get<int>())};
    });
}

}  // namespace halvora::cli
