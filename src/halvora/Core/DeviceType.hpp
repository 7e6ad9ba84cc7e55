#pragma once

#include <cstdint>

namespace halvora {

/// The device kind: the key of every per-kind table of the manager and what each driver's getType() returns.
using DeviceKind = std::int32_t;

/// The device kinds by name. Several driver classes can serve one kind (the generations of a family); the
/// application asks for the kind, and the first class that recognises the peripheral serves it.
enum DeviceType : DeviceKind {
    DeviceTypeNone = -1,             ///< the bare driver base
    DeviceTypeHeart = 0,             ///< blood-pressure monitors (three generations)
    DeviceTypeBracelet = 1,          ///< text-command bracelet
    DeviceTypeOximeter = 2,          ///< pulse oximeter
    DeviceTypeThermometer = 3,       ///< thermometers (three generations)
    DeviceTypeWeightScale = 4,       ///< body-composition weight scale
    DeviceTypeTensioBracelet = 5,    ///< blood-pressure bracelet
    DeviceTypeBraceletRM830 = 6,     ///< RM830 bracelet
    DeviceTypeBabyThermometer = 7,   ///< baby thermometer
    DeviceTypeBraceletRM830DFU = 8,  ///< the RM830 bracelet in firmware-update mode
    DeviceTypePillReminder = 9,      ///< pill reminder box
    DeviceTypeBraceletVital = 10,    ///< Vital bracelet
};

/// The highest kind the kit knows; anything above is unknown.
inline constexpr DeviceKind kHighestDeviceKind = DeviceTypeBraceletVital;

}  // namespace halvora
