// `halvora vital history KIND`: one history download of the Vital bracelet, as a table, JSON lines, a CSV
// file and, for the measured series, a line chart.
#include "VitalHistory.hpp"

#include <algorithm>
#include <map>

#include "CliError.hpp"
#include "CsvWriter.hpp"
#include "VitalRecords.hpp"
#include "VitalSession.hpp"
#include "bracelet/BraceletRecords.hpp"
#include "halvora/Core/Format.hpp"
#include "measurement/Temperatures.hpp"
#include "plot/LineChart.hpp"

namespace halvora::cli {

namespace {

using C = VitalCommand;

/// How long a download may take: the bracelet pages days of records, one notification after another.
constexpr double kDownloadSeconds = 120;
/// The daily totals have no data-kind number of their own: they have a request of their own.
constexpr int kTotalsRequest = -1;

/// One kind of the command: the data kind the manager knows, the results of its spot and automatic
/// series, and what its plot shows (no field: not plotted).
struct HistoryKind {
    int dataType;
    std::int32_t spotCommand;
    std::int32_t automaticCommand;  // equal to spotCommand: no automatic series
    const char* title;
    const char* plotField;
    const char* unit;
    HalvoraSDKResponseData nothing;  // an empty result of the kind, for its table's columns
};

const std::map<std::string, HistoryKind>& historyKinds() {
    static const std::map<std::string, HistoryKind> kinds = {
        {"heart-rate",
         {0, C::kHeartRate, C::kAutomaticHeartRate, "Heart rate", "heartRate", "bpm",
          std::vector<HalvoraSDKHeartBeatData>{}}},
        {"temperature",
         {1, C::kTemperature, C::kAutomaticTemperature, "Skin temperature", "temperature", "°C",
          std::vector<HalvoraSDKThermometerData>{}}},
        {"spo2",
         {2, C::kBloodOxygen, C::kAutomaticBloodOxygen, "Blood oxygen (SpO2)", "sp2", "%",
          std::vector<HalvoraSDKOximeterData>{}}},
        {"hrv", {3, C::kHRV, C::kHRV, "HRV", nullptr, nullptr, std::vector<HalvoraSDKVitalHRVData>{}}},
        {"steps",
         {4, C::kDetailedSteps, C::kDetailedSteps, "Steps", nullptr, nullptr,
          std::vector<HalvoraSDKDetailedStepData>{}}},
        {"sleep", {5, C::kSleep, C::kSleep, "Sleep", nullptr, nullptr, std::vector<HalvoraSDKDetailedSleepData>{}}},
        {"sport", {6, C::kSport, C::kSport, "Sport", nullptr, nullptr, std::vector<HalvoraSDKSportData>{}}},
        {"totals",
         {kTotalsRequest, C::kDailyTotals, C::kDailyTotals, "Daily totals", nullptr, nullptr,
          std::vector<HalvoraSDKStepSummaryData>{}}},
    };
    return kinds;
}

const HistoryKind& historyKind(const std::string& name) {
    const auto& kinds = historyKinds();
    const auto it = kinds.find(name);
    if (it == kinds.end()) throw CliError(ExitBadArguments, "unknown history \"" + name + "\"");
    return it->second;
}

void checkOptions(const VitalHistoryOptions& options, const HistoryKind& kind) {
    const bool hasAutomatic = kind.automaticCommand != kind.spotCommand;
    if (options.periodic && !hasAutomatic) {
        throw CliError(ExitBadArguments,
                       "--periodic is for heart-rate, temperature and spo2 only (the bracelet "
                       "keeps no automatic " +
                           options.kind + " series)");
    }
    if (options.plot && !kind.plotField) {
        throw CliError(ExitBadArguments, "--plot is for heart-rate, temperature and spo2 only");
    }
}

template <typename Record>
void addRecords(VitalHistoryTable& table, const std::vector<Record>& records, const std::vector<std::string>& fields,
                Date (*dateOf)(const Record&)) {
    table.fields = fields;
    for (const auto& r : records) {
        table.dates.push_back(dateOf(r));
        table.json.push_back(toJson(r));
    }
}

template <typename Record>
Date plainDate(const Record& r) {
    return r.date;
}

template <typename Record>
Date optionalDate(const Record& r) {
    return r.date.value_or(Date{});
}

/// A field's text in a table or CSV cell: numbers as they are (fractions with two decimals), lists with
/// spaces between their values, null empty.
std::string cellText(const nlohmann::json& value) {
    if (value.is_null()) return "";
    if (value.is_string()) return value.get<std::string>();
    if (value.is_number_float()) return format("%.2f", value.get<double>());
    if (value.is_array()) {
        std::string out;
        for (const auto& v : value) {
            if (!out.empty()) out += ' ';
            out += cellText(v);
        }
        return out;
    }
    return value.dump();
}

std::vector<std::vector<std::string>> rowsOf(const VitalHistoryTable& table) {
    std::vector<std::vector<std::string>> rows;
    for (std::size_t i = 0; i < table.json.size(); ++i) {
        std::vector<std::string> row;
        for (const auto& field : table.fields) {
            row.push_back(field == "date" ? localDateText(table.dates[i])
                                          : cellText(table.json[i].value(field, nlohmann::json())));
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

void printRecords(Printer& printer, const std::string& title, const VitalHistoryTable& table) {
    if (printer.json()) {
        for (const auto& record : table.json) printer.event(record, "");
        return;
    }
    printer.line(format("%s: %zu records", title.c_str(), table.json.size()));
    printer.table(table.fields, rowsOf(table));
}

void writePlot(const std::string& path, const std::string& title, const HistoryKind& kind,
               const VitalHistoryTable& table) {
    std::vector<ChartPoint> points;
    for (std::size_t i = 0; i < table.json.size(); ++i) {
        const auto& value = table.json[i].value(kind.plotField, nlohmann::json());
        if (value.is_number()) points.push_back({table.dates[i], value.get<double>()});
    }
    LineChart chart(title, kind.unit);
    chart.setPoints(std::move(points));
    chart.render().save(path);
}

}  // namespace

const std::vector<std::string> kVitalHistoryKinds = {"heart-rate", "temperature", "spo2",  "hrv",
                                                     "steps",      "sleep",       "sport", "totals"};

VitalHistoryTable vitalHistoryTable(const HalvoraSDKResponseData& data) {
    VitalHistoryTable table;
    table.fields = {"date"};
    std::visit(
        [&table](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, std::vector<HalvoraSDKHeartBeatData>>) {
                addRecords(table, value, {"date", "heartRate"}, &optionalDate<HalvoraSDKHeartBeatData>);
            } else if constexpr (std::is_same_v<T, std::vector<HalvoraSDKThermometerData>>) {
                addRecords(table, value, {"date", "temperature", "unit"}, &optionalDate<HalvoraSDKThermometerData>);
            } else if constexpr (std::is_same_v<T, std::vector<HalvoraSDKOximeterData>>) {
                addRecords(table, value, {"date", "sp2"}, &plainDate<HalvoraSDKOximeterData>);
            } else if constexpr (std::is_same_v<T, std::vector<HalvoraSDKVitalHRVData>>) {
                addRecords(table, value,
                           {"date", "hrv", "vascularAging", "heartRate", "fatigue", "systolic", "diastolic"},
                           &plainDate<HalvoraSDKVitalHRVData>);
            } else if constexpr (std::is_same_v<T, std::vector<HalvoraSDKDetailedStepData>>) {
                addRecords(table, value, {"date", "steps", "calories", "distance", "stepsPerMinute"},
                           &optionalDate<HalvoraSDKDetailedStepData>);
            } else if constexpr (std::is_same_v<T, std::vector<HalvoraSDKDetailedSleepData>>) {
                addRecords(table, value, {"date", "sleepDuration", "sleepDeepness"},
                           &optionalDate<HalvoraSDKDetailedSleepData>);
            } else if constexpr (std::is_same_v<T, std::vector<HalvoraSDKSportData>>) {
                addRecords(table, value,
                           {"date", "hr", "steps", "calories", "distance", "activeTime", "exerciseTime", "sportType"},
                           &plainDate<HalvoraSDKSportData>);
            } else if constexpr (std::is_same_v<T, std::vector<HalvoraSDKStepSummaryData>>) {
                addRecords(
                    table, value,
                    {"date", "totalSteps", "totalCalories", "totalDistance", "totalActiveTime", "totalExerciseTime"},
                    &plainDate<HalvoraSDKStepSummaryData>);
            }
        },
        data);
    return table;
}

int runVitalHistory(Session& session, const VitalHistoryOptions& options, double timeout) {
    const HistoryKind& kind = historyKind(options.kind);
    checkOptions(options, kind);
    // The CSV file is opened first: a path that cannot be written ends the command before anything is sent.
    std::optional<CsvWriter> csv;
    if (options.csv) csv.emplace(*options.csv, vitalHistoryTable(kind.nothing).fields);
    const std::int32_t command = options.periodic ? kind.automaticCommand : kind.spotCommand;
    const std::string title = std::string(kind.title) + (options.periodic ? " (automatic)" : "");

    VitalSession bracelet(session);
    bracelet.connect(timeout);
    const auto response = bracelet.ask(
        command,
        [&kind, &options](HalvoraSDKManager& m) {
            return kind.dataType == kTotalsRequest ? m.getVitalTotalSteps()
                                                   : m.getVitalData(kind.dataType, options.periodic);
        },
        kDownloadSeconds);
    const auto table = vitalHistoryTable(response.data);
    printRecords(session.printer(), title, table);
    if (csv) {
        for (const auto& row : rowsOf(table)) csv->row(row);
        csv->close();
    }
    if (options.plot) writePlot(*options.plot, title, kind, table);
    return ExitOk;
}

}  // namespace halvora::cli
