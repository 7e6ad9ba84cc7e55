#include "CsvWriter.hpp"

#include "CliError.hpp"

namespace halvora::cli {

namespace {

std::string quoted(const std::string& field) {
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    std::string out = "\"";
    for (char c : field) {
        if (c == '"') out += '"';
        out += c;
    }
    return out + "\"";
}

}  // namespace

CsvWriter::CsvWriter(const std::string& path, const std::vector<std::string>& header)
    : path_(path), out_(path, std::ios::binary | std::ios::trunc), columns_(header.size()) {
    if (!out_) throw CliError(ExitBadArguments, "cannot write " + path);
    writeFields(header);
}

void CsvWriter::row(const std::vector<std::string>& fields) {
    std::vector<std::string> padded = fields;
    padded.resize(columns_);
    writeFields(padded);
}

void CsvWriter::close() {
    out_.flush();
    if (!out_) throw CliError(ExitBadArguments, "cannot write " + path_);
    out_.close();
}

void CsvWriter::writeFields(const std::vector<std::string>& fields) {
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (i > 0) out_ << ',';
        out_ << quoted(fields[i]);
    }
    out_ << "\r\n";
}

}  // namespace halvora::cli
