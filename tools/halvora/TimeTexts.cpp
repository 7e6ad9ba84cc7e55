#include "TimeTexts.hpp"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "CliError.hpp"

namespace halvora::cli {

namespace {

const std::vector<std::string> kWeek = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};

}  // namespace

bool parseTimeOfDay(const std::string& text, int& hour, int& minute) {
    char extra = 0;
    if (std::sscanf(text.c_str(), "%2d:%2d%c", &hour, &minute, &extra) != 2) return false;
    return hour >= 0 && hour < 24 && minute >= 0 && minute < 60;
}

std::vector<std::string> parseDayNames(const std::string& text, const std::string& what) {
    if (text == "daily") return kWeek;
    if (text == "weekdays") return {kWeek.begin(), kWeek.begin() + 5};
    if (text == "weekend") return {"sat", "sun"};
    if (text == "none") return {};
    std::vector<std::string> names;
    std::stringstream in(text);
    std::string name;
    while (std::getline(in, name, '+')) {
        if (std::find(kWeek.begin(), kWeek.end(), name) == kWeek.end()) {
            throw CliError(ExitBadArguments, "unknown day \"" + name + "\" in the " + what + " (mon, tue, ... sun)");
        }
        names.push_back(name);
    }
    return names;
}

}  // namespace halvora::cli
