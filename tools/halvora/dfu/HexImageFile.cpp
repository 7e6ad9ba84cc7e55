// Firmware files as the converter sees them, and `halvora hex info`.
#include "dfu/HexImageFile.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "CliError.hpp"
#include "Printer.hpp"
#include "halvora/Core/Format.hpp"
#include "halvora/DFU/IntelHex2BinConverter.hpp"

namespace halvora::cli {

namespace {

/// The kit asks the bracelet for a receipt after every this many packets.
constexpr std::size_t kPacketsPerReceipt = 10;

}  // namespace

HexImage readHexImage(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw CliError(ExitBadArguments, "cannot read " + path.string() + ": " + std::strerror(errno));
    const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (in.bad()) throw CliError(ExitBadArguments, "cannot read " + path.string());
    HexImage image;
    image.path = path;
    image.fileBytes = bytes.size();
    image.summary = IntelHex2BinConverter::inspect(bytes);
    return image;
}

std::string hexEndName(HexWalkEnd end) {
    switch (end) {
        case HexWalkEnd::EndOfFile: return "end-of-file";
        case HexWalkEnd::SegmentJump: return "segment-jump";
        case HexWalkEnd::LinearJump: return "linear-jump";
        case HexWalkEnd::NotARecord: return "not-a-record";
        case HexWalkEnd::RecordCutShort: return "record-cut-short";
        case HexWalkEnd::ShortAddressRecord: return "short-address-record";
        case HexWalkEnd::TrailingText: return "trailing-text";
    }
    return "unknown";
}

int runHexInfo(Printer& printer, const std::string& path) {
    const HexImage image = readHexImage(path);
    const auto& s = image.summary;
    const std::size_t receipts = (s.packets + kPacketsPerReceipt - 1) / kPacketsPerReceipt;
    printer.event({{"event", "hex"},
                   {"file", path},
                   {"fileBytes", image.fileBytes},
                   {"imageSize", s.imageSize},
                   {"packets", s.packets},
                   {"bytesInLastPacket", s.bytesInLastPacket},
                   {"records", s.records},
                   {"skippedDataRecords", s.skippedDataRecords},
                   {"end", hexEndName(s.end)},
                   {"jumpValue", s.jumpValue},
                   {"offset", s.offset},
                   {"line", s.line},
                   {"reason", s.reason}},
                  "");
    if (!printer.json()) {
        printer.line(format("file:    %s (%ju bytes)", path.c_str(), image.fileBytes));
        printer.line(format("image:   %zu bytes in %zu packets of 20 (%zu in the last), %zu bursts of %zu", s.imageSize,
                            s.packets, s.bytesInLastPacket, receipts, kPacketsPerReceipt));
        printer.line(format("records: %zu read, %zu data records below 0x1000 left out", s.records,
                            s.skippedDataRecords));
        printer.line("end:     " + s.reason);
    }
    if (s.imageSize == 0) throw CliError(ExitFailure, path + " holds no firmware image: " + s.reason);
    return ExitOk;
}

}  // namespace halvora::cli
