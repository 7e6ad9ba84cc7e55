#include "lab/Devices/Bracelet/BraceletRecord.hpp"

namespace halvora::lab {

std::string BraceletRecord::typeName(BraceletRecordType type) {
    switch (type) {
        case BraceletRecordType::Steps:
            return "steps";
        case BraceletRecordType::HeartRate:
            return "heart";
        case BraceletRecordType::Sleep:
            return "sleep";
    }
    return "steps";
}

std::optional<BraceletRecordType> BraceletRecord::typeFromName(const std::string& name) {
    if (name == "steps") return BraceletRecordType::Steps;
    if (name == "sleep") return BraceletRecordType::Sleep;
    if (name == "heart") return BraceletRecordType::HeartRate;
    return std::nullopt;
}

}  // namespace halvora::lab
