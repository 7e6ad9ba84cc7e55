// `halvora rm830 update`: the RM830 bracelet's firmware update, followed from the tool.
#include "dfu/FirmwareUpdateCommand.hpp"

#include <algorithm>
#include <filesystem>
#include <memory>

#include "Commands.hpp"
#include "ProgressBar.hpp"
#include "dfu/FirmwareUpdateWatcher.hpp"
#include "dfu/HexImageFile.hpp"
#include "halvora/Core/Format.hpp"
#include "rm830/RM830Commands.hpp"

namespace halvora::cli {

namespace {

/// The bracelet restarts into its updater after the switch; it is given this long to leave.
constexpr double kRestartSeconds = 15;
/// The kit asks for the updater 3 s after the switch and gives the search 30 s.
constexpr double kUpdaterSearchSeconds = 40;
/// After activation the bracelet restarts into the new firmware; it is looked for again this much later.
constexpr double kComeBackSeconds = 2;
/// An update that reports nothing for this long has stalled (a bootloader that stops answering resets
/// itself and drops the link well before).
constexpr double kStallSeconds = 90;

/// The image the kit will send: FILE put in the kit's place, or the kit's own. Throws with a one-line
/// reason when there is none or it holds no image.
HexImage checkImage(Session& session, const std::optional<std::string>& hexPath) {
    auto& bundle = session.manager().resources();
    std::filesystem::path path;
    if (hexPath) {
        path = *hexPath;
        bundle.setResourcePath(kFirmwareResourceName, kFirmwareResourceType, path);
    } else if (auto found = bundle.pathForResource(kFirmwareResourceName, kFirmwareResourceType)) {
        path = *found;
    } else {
        std::string folders;
        for (const auto& folder : bundle.searchFolders()) folders += (folders.empty() ? "" : ", ") + folder.string();
        throw CliError(ExitFailure, std::string("firmware image ") + kFirmwareResourceName + "." +
                                        kFirmwareResourceType + " not found (looked in: " + folders + ")");
    }
    HexImage image = readHexImage(path);
    if (image.summary.imageSize == 0) {
        throw CliError(ExitBadArguments, path.string() + ": no firmware image in it: " + image.summary.reason);
    }
    return image;
}

/// Connects the bracelet and returns its version; an older one is switching to update mode when this
/// returns.
RM830UpdateResult::Version braceletVersion(Session& session, double timeout) {
    RM830Session bracelet(session, timeout, true);
    const RM830UpdateResult::Version version{bracelet.version(), bracelet.current()};
    if (version.current) {
        session.printer().event({{"event", "update"}, {"version", version.text}, {"updated", false}},
                                "firmware " + version.text + " is current: nothing to update");
        return version;
    }
    session.printer().event({{"event", "update-mode"}, {"version", version.text}},
                            "firmware " + version.text + " is older than the kit's: the bracelet restarts "
                            "into its updater");
    // The switch goes out after the opening exchange; the bracelet then leaves by itself.
    session.waitUntil([&] { return !session.manager().driverForKind(DeviceTypeBraceletRM830); },
                      seconds(kRestartSeconds));
    return version;
}

/// Follows the update from the updater's connection to its outcome, drawing the progress bar.
FirmwareUpdateOutcome followUpdate(Session& session, const FirmwareUpdateWatcher& watcher, Duration& uploadTime) {
    auto& app = session.app();
    const bool found = session.waitUntil(
        [&] {
            return watcher.outcome() || app.status(DeviceTypeBraceletRM830DFU) == ConnectionStatusReady ||
                   (app.wasSearching(DeviceTypeBraceletRM830DFU) &&
                    app.status(DeviceTypeBraceletRM830DFU) == ConnectionStatusDisconnected);
        },
        seconds(kUpdaterSearchSeconds));
    if (!watcher.outcome() && (!found || app.status(DeviceTypeBraceletRM830DFU) != ConnectionStatusReady)) {
        throw CliError(ExitNoDevice, "the bracelet in update mode (DfuTarg) did not appear");
    }
    ProgressBar bar("firmware");
    std::optional<Duration> uploadStart;
    std::uint64_t seen = 0;
    auto lastChange = session.elapsed();
    while (!watcher.outcome()) {
        session.waitUntil([&] { return watcher.outcome() || watcher.reports() != seen; }, seconds(1));
        if (watcher.reports() != seen) {
            seen = watcher.reports();
            lastChange = session.elapsed();
        } else if (session.elapsed() - lastChange > seconds(kStallSeconds)) {
            throw CliError(ExitDeviceError, format("the update stalled (nothing reported for %.0f s)", kStallSeconds));
        }
        const auto progress = watcher.progress();
        if (!progress || progress->phase == FirmwareUpdatePhase::Preparing) continue;
        if (!uploadStart) uploadStart = session.elapsed();
        const double elapsed = std::chrono::duration<double>(session.elapsed() - *uploadStart).count();
        bar.update(static_cast<long>(progress->bytesSent), static_cast<long>(progress->totalBytes), "bytes",
                   format("%3d%% %s", progress->percent,
                          rateText(static_cast<double>(progress->bytesSent), elapsed).c_str()));
    }
    bar.finish();
    uploadTime = uploadStart ? session.elapsed() - *uploadStart : Duration::zero();
    return *watcher.outcome();
}

/// Connects the bracelet again after its restart into the new firmware and returns the version it reports.
std::string versionAfterRestart(Session& session, double timeout) {
    RM830Session bracelet(session, timeout, true);
    return bracelet.version();
}

}  // namespace

RM830UpdateResult updateRM830Firmware(Session& session, double timeout) {
    RM830UpdateResult result;
    auto watcher = std::make_shared<FirmwareUpdateWatcher>();
    session.manager().setFirmwareUpdateObserver(watcher);
    result.before = braceletVersion(session, timeout);
    if (result.before.current) return result;

    Duration uploadTime{};
    const auto outcome = followUpdate(session, *watcher, uploadTime);
    session.manager().setFirmwareUpdateObserver({});
    if (!outcome.succeeded) throw CliError(ExitDeviceError, "firmware update failed: " + outcome.errorText);
    result.bytes = outcome.bytesSent;
    result.seconds = std::chrono::duration<double>(uploadTime).count();
    session.printer().event({{"event", "uploaded"},
                             {"bytes", result.bytes},
                             {"seconds", result.seconds},
                             {"bytesPerSecond", result.bytesPerSecond()}},
                            format("image sent and validated: %llu bytes in %.1f s (%s)",
                                   static_cast<unsigned long long>(result.bytes), result.seconds,
                                   rateText(static_cast<double>(result.bytes), result.seconds).c_str()));

    // The bootloader activates the image and restarts the bracelet; it comes back with the new firmware.
    session.pass(halvora::seconds(kComeBackSeconds));
    result.after = versionAfterRestart(session, timeout);
    result.updated = true;
    session.printer().event({{"event", "update"}, {"version", result.after}, {"updated", true}},
                            "the bracelet is back with firmware " + result.after);
    return result;
}

std::string rateText(double bytes, double seconds) {
    if (seconds <= 0) return "-";
    const double rate = bytes / seconds;
    return rate >= 1000 ? format("%.1f kB/s", rate / 1000) : format("%.0f B/s", rate);
}

int runRM830Update(Session& session, const std::optional<std::string>& hexPath, double timeout) {
    const HexImage image = checkImage(session, hexPath);
    session.printer().event({{"event", "image"},
                             {"file", image.path.string()},
                             {"imageSize", image.summary.imageSize},
                             {"packets", image.summary.packets}},
                            format("image %s: %zu bytes in %zu packets", image.path.filename().c_str(),
                                   image.summary.imageSize, image.summary.packets));
    updateRM830Firmware(session, timeout);
    return ExitOk;
}

}  // namespace halvora::cli
