#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "Session.hpp"
#include "halvora/Devices/Vital/HalvoraSDKResponse.hpp"

namespace halvora::cli {

/// What `halvora vital history KIND` asks for and where it writes.
struct VitalHistoryOptions {
    std::string kind;                 ///< heart-rate, temperature, spo2, hrv, steps, sleep, sport or totals
    bool periodic = false;            ///< the automatic series (heart-rate, temperature and spo2 only)
    std::optional<std::string> csv;   ///< also write the records to this CSV file
    std::optional<std::string> plot;  ///< also draw the series to this SVG file (heart-rate, temperature, spo2)
};

/// The history kinds the command knows, in the order of its help.
extern const std::vector<std::string> kVitalHistoryKinds;

/// The records of one download, each with its date and its fields by name; `fields` are the columns of its
/// table and CSV file, in order.
struct VitalHistoryTable {
    std::vector<std::string> fields;   ///< "date" first
    std::vector<Date> dates;           ///< one per record
    std::vector<nlohmann::json> json;  ///< one per record, every field of the record by name
};

/// The records a history result carries (an empty table for a value that is not a history list).
VitalHistoryTable vitalHistoryTable(const HalvoraSDKResponseData& data);

/// Downloads one history kind and prints it: a table, or with --json one object per record; writes the CSV
/// file and the plot when asked. Throws CliError: exit 2 for an option that does not fit the kind (found
/// before anything is sent) or a file that cannot be written, 4 when the bracelet did not finish the download.
int runVitalHistory(Session& session, const VitalHistoryOptions& options, double timeout);

}  // namespace halvora::cli
