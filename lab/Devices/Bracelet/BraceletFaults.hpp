#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace halvora::lab {

/// Faults of the bracelet's own protocol, beside the lab's link faults (LabFaults). Every random choice
/// draws on the radio's seeded generator.
struct BraceletFaults {
    /// A hostile bracelet's way of answering history requests (or every answer, for RandomBinary).
    enum class Hostile {
        None,             ///< behaves
        OversizedHeader,  ///< every header announces `oversizedLength` bytes; up to `hostileBytes` follow
        EndlessHeader,    ///< a history request is answered with a header line that never ends
        RandomBinary,     ///< every notification's bytes are replaced by random bytes from 128 to 255
    };

    /// The answers to these commands are lost (names as "AT+PACE", "AT+DATA").
    std::vector<std::string> loseAnswersTo;
    /// The answer to the n-th command the bracelet receives (from 1, counted over its life) is lost.
    std::optional<int> loseAnswerToCommand;
    /// This package (numbered from 1) is cut short each time it is sent: `cutPackageBytes` of its bytes
    /// are left out, while its header announces all of them.
    std::optional<int> cutPackage;
    /// Bytes left out of the cut package (at most all of them).
    std::size_t cutPackageBytes = 6;
    /// Headers carry six fields: the last one (encrypted) is left out.
    bool sixFieldHeader = false;
    /// Bytes sent after each package's items (0xFF), counted in the header's total length but not in its
    /// info length.
    std::size_t trailingBytes = 0;
    /// The hostile mode.
    Hostile hostile = Hostile::None;
    /// The length an oversized header announces (info and total).
    long long oversizedLength = 10LL * 1024 * 1024;
    /// How many bytes a hostile stream sends at most (the endless header's text, the oversized package's
    /// bytes), so that the stream ends even under a virtual clock.
    std::size_t hostileBytes = std::size_t{256} * 1024;
};

}  // namespace halvora::lab
