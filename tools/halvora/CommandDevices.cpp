#include "Commands.hpp"
#include "halvora/Manager/RecognitionTable.hpp"

namespace halvora::cli {

int runDevices(Printer& printer) {
    std::vector<std::vector<std::string>> rows;
    for (const auto& row : RecognitionTable::rows()) {
        std::string names;
        for (const auto& name : row.names) names += (names.empty() ? "" : ", ") + ("\"" + name + "\"");
        rows.push_back({std::to_string(row.kind), row.className, names});
    }
    printer.table({"kind", "class", "names"}, rows);
    return ExitOk;
}

}  // namespace halvora::cli
