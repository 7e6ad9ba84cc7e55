#pragma once

#include <array>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CliError.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/Runtime/Task.hpp"

namespace halvora::cli {

/// Reads typed fields of a JSON object, naming the field's path in the error when it is of the wrong type
/// ("lab.json: devices[0].script.systolic: expected an integer").
class JsonReader {
public:
    JsonReader(const nlohmann::json& object, std::string where);

    bool has(const std::string& key) const { return object_.contains(key); }
    int integer(const std::string& key, int fallback) const;
    std::optional<int> optionalInteger(const std::string& key) const;
    double number(const std::string& key, double fallback) const;
    bool boolean(const std::string& key, bool fallback) const;
    std::string text(const std::string& key, const std::string& fallback) const;
    std::optional<std::string> optionalText(const std::string& key) const;
    /// An integer from `low` to `high` (the fallback when absent); fails naming the range otherwise.
    int integerIn(const std::string& key, int fallback, int low, int high) const;
    /// A duration given in whole milliseconds from `low` to `high` (the fallback when absent).
    Duration millisecondsIn(const std::string& key, Duration fallback, int low, int high) const;
    /// A sub-object (an empty one when absent).
    JsonReader object(const std::string& key) const;
    /// The elements of a list of objects, each read with its own path ("...days[2]"); none when absent.
    std::vector<JsonReader> objects(const std::string& key) const;
    const nlohmann::json& json() const { return object_; }
    const std::string& where() const { return where_; }
    /// Fails for keys not in `known`: a misspelt field should not be ignored silently.
    void rejectUnknown(const std::vector<std::string>& known) const;
    [[noreturn]] void fail(const std::string& key, const std::string& what) const;

    /// A table of the names a field may hold and the values they stand for.
    template <typename Value, std::size_t N>
    using Names = std::array<std::pair<const char*, Value>, N>;
    /// The value `name` (found under `key`) stands for in `names`; fails listing the names otherwise.
    template <typename Value, std::size_t N>
    Value named(const std::string& key, const nlohmann::json& name, const Names<Value, N>& names) const {
        if (name.is_string()) {
            for (const auto& [text, value] : names) {
                if (name.get<std::string>() == text) return value;
            }
        }
        std::string expected = "expected one of";
        for (std::size_t i = 0; i < N; ++i) expected += format("%s \"%s\"", i == 0 ? "" : ",", names[i].first);
        fail(key, expected);
    }
    /// The list of command names under `key` as their values (none when absent); `example` is one of the
    /// names, for the message when `key` holds no list.
    template <typename Value, std::size_t N>
    std::vector<Value> namedList(const std::string& key, const Names<Value, N>& names, const char* example) const {
        std::vector<Value> out;
        if (!has(key)) return out;
        const auto& list = value(key);
        if (!list.is_array()) fail(key, format("expected a list of command names like \"%s\"", example));
        for (const auto& name : list) out.push_back(named(key, name, names));
        return out;
    }

private:
    const nlohmann::json& value(const std::string& key) const { return object_.at(key); }

    nlohmann::json object_;
    std::string where_;
};

}  // namespace halvora::cli
