#include "Printer.hpp"

#include <algorithm>

namespace halvora::cli {

void Printer::write(const std::string& text) {
    std::lock_guard lock(mutex_);
    std::fputs(text.c_str(), out_);
    std::fputc('\n', out_);
    std::fflush(out_);
}

void Printer::line(const std::string& text) {
    if (!json_) write(text);
}

void Printer::event(const nlohmann::json& object, const std::string& text) {
    if (json_) {
        write(object.dump());
    } else if (!text.empty()) {
        write(text);
    }
}

void Printer::table(const std::vector<std::string>& headers, const std::vector<std::vector<std::string>>& rows) {
    if (json_) {
        for (const auto& row : rows) {
            nlohmann::json object = nlohmann::json::object();
            for (std::size_t i = 0; i < headers.size() && i < row.size(); ++i) object[headers[i]] = row[i];
            write(object.dump());
        }
        return;
    }
    std::vector<std::size_t> widths(headers.size());
    for (std::size_t i = 0; i < headers.size(); ++i) widths[i] = headers[i].size();
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size() && i < widths.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    auto render = [&](const std::vector<std::string>& cells) {
        std::string text;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            std::string cell = i < cells.size() ? cells[i] : "";
            if (i + 1 < widths.size()) cell.resize(widths[i], ' ');
            text += (i ? "  " : "") + cell;
        }
        while (!text.empty() && text.back() == ' ') text.pop_back();
        return text;
    };
    write(render(headers));
    std::vector<std::string> rule;
    for (auto w : widths) rule.emplace_back(w, '-');
    write(render(rule));
    for (const auto& row : rows) write(render(row));
}

}  // namespace halvora::cli
