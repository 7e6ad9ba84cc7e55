#pragma once

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace halvora::cli {

/// Writes what the tool shows: human-readable lines and tables, or with --json one JSON object per line.
class Printer {
public:
    explicit Printer(bool json, std::FILE* out = stdout) : json_(json), out_(out) {}

    bool json() const { return json_; }
    /// A line for people (nothing in JSON mode).
    void line(const std::string& text);
    /// A JSON object (in JSON mode), or its human form `text` otherwise (nothing when `text` is empty).
    void event(const nlohmann::json& object, const std::string& text);
    /// A table: in JSON mode one object per row with the headers as keys.
    void table(const std::vector<std::string>& headers, const std::vector<std::vector<std::string>>& rows);

private:
    void write(const std::string& text);

    bool json_;
    std::FILE* out_;
    std::mutex mutex_;
};

}  // namespace halvora::cli
