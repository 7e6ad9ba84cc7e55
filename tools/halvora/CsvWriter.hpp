#pragma once

#include <fstream>
#include <string>
#include <vector>

namespace halvora::cli {

/// A CSV file of history records: a header row of field names, then one row per record. Fields that hold
/// a comma, a quote or a line break are quoted (RFC 4180). Throws CliError (exit 2) when the file cannot
/// be written.
class CsvWriter {
public:
    CsvWriter(const std::string& path, const std::vector<std::string>& header);
    /// Writes one row (as many fields as the header).
    void row(const std::vector<std::string>& fields);
    /// Flushes and checks that everything was written.
    void close();

private:
    void writeFields(const std::vector<std::string>& fields);

    std::string path_;
    std::ofstream out_;
    std::size_t columns_;
};

}  // namespace halvora::cli
