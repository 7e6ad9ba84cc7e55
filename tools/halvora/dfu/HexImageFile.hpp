#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "Printer.hpp"
#include "halvora/DFU/HexImageSummary.hpp"

namespace halvora::cli {

/// A firmware file as the kit's converter sees it.
struct HexImage {
    std::filesystem::path path;
    std::uintmax_t fileBytes = 0;
    HexImageSummary summary;
};

/// Reads and inspects an Intel HEX file; throws CliError(ExitBadArguments) when it cannot be read.
HexImage readHexImage(const std::filesystem::path& path);
/// The name of the way a walk ended ("end-of-file", "linear-jump", ...), for --json.
std::string hexEndName(HexWalkEnd end);

/// `halvora hex info FILE`: size, packets, what was skipped and where the image ends and why.
int runHexInfo(Printer& printer, const std::string& path);

}  // namespace halvora::cli
