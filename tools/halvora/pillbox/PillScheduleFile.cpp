// The schedule files of `halvora pillbox schedule set`: JSON (a list, or one object per line) or CSV, every
// alarm checked before anything goes to the box.
#include "PillScheduleFile.hpp"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <tuple>

#include "CliError.hpp"
#include "TimeTexts.hpp"
#include "halvora/Core/Format.hpp"

namespace halvora::cli {

namespace {

/// The fields of an alarm, in the JSON objects and as the CSV header names them.
constexpr const char* kDateField = "date";
constexpr const char* kTimeField = "time";
constexpr const char* kColorField = "color";
/// A schedule file larger than this is not a schedule (ten alarms a day for years is far less).
constexpr std::size_t kMaxFileBytes = 4 * 1024 * 1024;

[[noreturn]] void refuse(const std::string& where, const std::string& reason) {
    throw CliError(ExitBadArguments, where + ": " + reason);
}

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return "";
    const auto last = text.find_last_not_of(" \t\r");
    return text.substr(first, last - first + 1);
}

bool allDigits(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c); });
}

bool leapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysInMonth(int year, int month) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && leapYear(year) ? 29 : kDays[month - 1];
}

/// "YYYY-MM-DD" into the entry, or a refusal naming the text.
void readDate(const std::string& text, PillScheduleEntry& entry) {
    const bool shaped = text.size() == 10 && text[4] == '-' && text[7] == '-' && allDigits(text.substr(0, 4)) &&
                        allDigits(text.substr(5, 2)) && allDigits(text.substr(8, 2));
    if (!shaped) refuse(entry.where, "date \"" + text + "\" is not YYYY-MM-DD");
    entry.year = std::stoi(text.substr(0, 4));
    entry.month = std::stoi(text.substr(5, 2));
    entry.day = std::stoi(text.substr(8, 2));
    if (entry.month < 1 || entry.month > 12 || entry.day < 1 || entry.day > daysInMonth(entry.year, entry.month)) {
        refuse(entry.where, "date \"" + text + "\" is not a day of the calendar");
    }
    if (entry.year < PillScheduleFile::kFirstYear || entry.year > PillScheduleFile::kLastYear) {
        refuse(entry.where, format("date \"%s\": the box takes years %d to %d", text.c_str(),
                                   PillScheduleFile::kFirstYear, PillScheduleFile::kLastYear));
    }
}

void readTime(const std::string& text, PillScheduleEntry& entry) {
    const auto colon = text.find(':');
    const bool shaped = colon != std::string::npos && allDigits(text.substr(0, colon)) &&
                        allDigits(text.substr(colon + 1)) && parseTimeOfDay(text, entry.hour, entry.minute);
    if (!shaped) refuse(entry.where, "time \"" + text + "\" is not HH:MM from 00:00 to 23:59");
}

void checkColor(long long color, const PillScheduleEntry& entry) {
    if (color < PillScheduleFile::kLowestColor || color > PillScheduleFile::kHighestColor) {
        refuse(entry.where, format("color %lld: the box has colours %d to %d", color, PillScheduleFile::kLowestColor,
                                   PillScheduleFile::kHighestColor));
    }
}

void readColorText(const std::string& text, PillScheduleEntry& entry) {
    if (!allDigits(text) || text.size() > 3) refuse(entry.where, "color \"" + text + "\" is not a number from 1 to 5");
    entry.color = std::stoi(text);
    checkColor(entry.color, entry);
}

// ------------------------------------------------------------------ JSON

/// Byte offset into line number (from 1).
std::size_t lineOf(const std::string& text, std::size_t byte) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(byte, text.size()));
    return 1 + static_cast<std::size_t>(std::count(text.begin(), end, '\n'));
}

PillScheduleEntry entryFromJson(const nlohmann::json& object, std::string where) {
    PillScheduleEntry entry;
    entry.where = std::move(where);
    if (!object.is_object()) refuse(entry.where, "expected an object {\"date\", \"time\", \"color\"}");
    for (const auto& [key, unused] : object.items()) {
        if (key != kDateField && key != kTimeField && key != kColorField)
            refuse(entry.where, "unknown field \"" + key + "\"");
    }
    for (const char* key : {kDateField, kTimeField}) {
        if (!object.contains(key)) refuse(entry.where, std::string("missing \"") + key + "\"");
        if (!object[key].is_string()) refuse(entry.where, std::string("\"") + key + "\" is not a text");
    }
    if (!object.contains(kColorField)) refuse(entry.where, "missing \"color\"");
    if (!object[kColorField].is_number_integer()) refuse(entry.where, "\"color\" is not an integer from 1 to 5");
    readDate(object[kDateField].get<std::string>(), entry);
    readTime(object[kTimeField].get<std::string>(), entry);
    const auto color = object[kColorField].get<long long>();
    checkColor(color, entry);
    entry.color = static_cast<int>(color);
    return entry;
}

std::vector<PillScheduleEntry> readJsonList(const std::string& text, const std::string& origin) {
    nlohmann::json list;
    try {
        list = nlohmann::json::parse(text);
    } catch (const nlohmann::json::parse_error& e) {
        refuse(format("%s:%zu", origin.c_str(), lineOf(text, e.byte)), "not a JSON list of alarms");
    }
    if (!list.is_array()) refuse(origin, "expected a JSON list of alarms");
    std::vector<PillScheduleEntry> entries;
    for (std::size_t i = 0; i < list.size(); ++i)
        entries.push_back(entryFromJson(list[i], format("%s: [%zu]", origin.c_str(), i)));
    return entries;
}

std::vector<PillScheduleEntry> readJsonLines(const std::string& text, const std::string& origin) {
    std::vector<PillScheduleEntry> entries;
    std::istringstream in(text);
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        if (trimmed(line).empty()) continue;
        const std::string where = format("%s:%zu", origin.c_str(), number);
        nlohmann::json object;
        try {
            object = nlohmann::json::parse(line);
        } catch (const nlohmann::json::parse_error&) {
            refuse(where, "not a JSON object");
        }
        entries.push_back(entryFromJson(object, where));
    }
    return entries;
}

// ------------------------------------------------------------------ CSV

std::vector<std::string> csvFields(const std::string& line) {
    std::vector<std::string> fields;
    std::istringstream in(line);
    std::string field;
    while (std::getline(in, field, ',')) {
        field = trimmed(field);
        if (field.size() >= 2 && field.front() == '"' && field.back() == '"') field = field.substr(1, field.size() - 2);
        fields.push_back(field);
    }
    if (!line.empty() && line.back() == ',') fields.emplace_back();
    return fields;
}

/// The column of each field, from the header row.
struct CsvColumns {
    std::size_t date = 0;
    std::size_t time = 0;
    std::size_t color = 0;
    std::size_t count = 0;
};

CsvColumns csvHeader(const std::string& line, const std::string& where) {
    const auto fields = csvFields(line);
    std::map<std::string, std::size_t> index;
    for (std::size_t i = 0; i < fields.size(); ++i) index[fields[i]] = i;
    if (fields.size() != 3 || !index.count(kDateField) || !index.count(kTimeField) || !index.count(kColorField)) {
        refuse(where, "the header row must name the columns date, time and color");
    }
    return {index[kDateField], index[kTimeField], index[kColorField], fields.size()};
}

std::vector<PillScheduleEntry> readCsv(const std::string& text, const std::string& origin) {
    std::vector<PillScheduleEntry> entries;
    std::istringstream in(text);
    std::string line;
    std::optional<CsvColumns> columns;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        if (trimmed(line).empty()) continue;
        const std::string where = format("%s:%zu", origin.c_str(), number);
        if (!columns) {
            columns = csvHeader(line, where);
            continue;
        }
        const auto fields = csvFields(line);
        if (fields.size() != columns->count) refuse(where, format("expected 3 fields, found %zu", fields.size()));
        PillScheduleEntry entry;
        entry.where = where;
        readDate(fields[columns->date], entry);
        readTime(fields[columns->time], entry);
        readColorText(fields[columns->color], entry);
        entries.push_back(entry);
    }
    return entries;
}

/// The eleventh alarm of a day is refused where it stands.
void checkAlarmsPerDay(const std::vector<PillScheduleEntry>& entries) {
    std::map<std::tuple<int, int, int>, int> perDay;
    for (const auto& e : entries) {
        if (++perDay[{e.year, e.month, e.day}] > PillScheduleFile::kMaxAlarmsPerDay) {
            refuse(e.where, format("more than %d alarms on %04d-%02d-%02d: the box takes at most %d a day",
                                   PillScheduleFile::kMaxAlarmsPerDay, e.year, e.month, e.day,
                                   PillScheduleFile::kMaxAlarmsPerDay));
        }
    }
}

}  // namespace

std::vector<PillScheduleEntry> PillScheduleFile::read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw CliError(ExitBadArguments, "cannot read " + path);
    std::string text;
    text.resize(kMaxFileBytes + 1);
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    if (text.size() > kMaxFileBytes) refuse(path, "too large for a schedule file");
    return fromText(text, path);
}

std::vector<PillScheduleEntry> PillScheduleFile::fromText(const std::string& text, const std::string& origin) {
    const auto first = text.find_first_not_of(" \t\r\n");
    std::vector<PillScheduleEntry> entries;
    if (first != std::string::npos && text[first] == '[') {
        entries = readJsonList(text, origin);
    } else if (first != std::string::npos && text[first] == '{') {
        entries = readJsonLines(text, origin);
    } else {
        entries = readCsv(text, origin);
    }
    if (entries.empty()) refuse(origin, "holds no alarms (clear-schedule empties the box)");
    checkAlarmsPerDay(entries);
    return entries;
}

}  // namespace halvora::cli
