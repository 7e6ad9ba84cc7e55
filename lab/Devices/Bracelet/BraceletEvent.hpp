#pragma once

#include <string>

#include "halvora/Runtime/Task.hpp"

namespace halvora::lab {

/// A notification the bracelet sends on its own ("NT+RUN:1", "NT+TOPACE:120", "NT+HEART:72", "NT+BEEP"),
/// `at` after the phone switched notifications on; "\r\n" is added to the text.
struct BraceletEvent {
    Duration at = Duration::zero();  ///< from notifications on
    std::string text;                ///< the line, without "\r\n"
};

}  // namespace halvora::lab
