// The RM830 bracelet's firmware update through the manager, in virtual time, against the lab's bracelet and
// its bootloader: an old bracelet is switched to its updater, the kit's image goes over and is validated and
// activated, and the bracelet comes back with the new version; and the ways an update fails.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <mutex>

#include "halvora/Core/Calendar.hpp"
#include "halvora/Core/ResourceBundle.hpp"
#include "halvora/DFU/IntelHex2BinConverter.hpp"
#include "lab/Devices/RM830/VirtualRM830.hpp"
#include "lab/Devices/RM830/VirtualRM830Bootloader.hpp"
#include "lab/LinkModel.hpp"
#include "support/LabHarness.hpp"

namespace halvora {
namespace {

using test::LabHarness;

constexpr const char* kBraceletId = "7A2B3C4D-0000-4000-8000-0000000008E0";
constexpr const char* kImageName = "J055_07_V638_20190122";

/// Keeps what the manager's update observer hears, in order.
class RecordingUpdateObserver : public FirmwareUpdateObserver {
public:
    void firmwareUpdateProgress(const FirmwareUpdateProgress& progress) override {
        std::lock_guard lock(mutex);
        progresses.push_back(progress);
    }
    void firmwareUpdateFinished(const FirmwareUpdateOutcome& outcome) override {
        std::lock_guard lock(mutex);
        outcomes.push_back(outcome);
    }
    std::vector<FirmwareUpdatePhase> phases() const {
        std::lock_guard lock(mutex);
        std::vector<FirmwareUpdatePhase> seen;
        for (const auto& p : progresses) {
            if (seen.empty() || seen.back() != p.phase) seen.push_back(p.phase);
        }
        return seen;
    }
    mutable std::mutex mutex;
    std::vector<FirmwareUpdateProgress> progresses;
    std::vector<FirmwareUpdateOutcome> outcomes;
};

std::vector<std::uint8_t> readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// A lab world with an RM830 bracelet on old firmware, the manager's update observer set, and the kit's
/// resource folder holding the image (the shipped test image unless a test writes its own).
struct UpdateLab {
    LabHarness lab;
    std::shared_ptr<RecordingUpdateObserver> observer = std::make_shared<RecordingUpdateObserver>();
    std::shared_ptr<lab::VirtualRM830> bracelet;

    explicit UpdateLab(lab::RM830UpdaterScript updater = {}) {
        lab::RM830Script script;
        script.version = "54.51.55.9";
        script.updater = updater;
        bracelet = lab.add(lab::VirtualRM830::make(kBraceletId));
        bracelet->setScript(script);
        lab.manager->setFirmwareUpdateObserver(observer);
    }
    ~UpdateLab() { lab.manager->resources().setResourcePath(kImageName, "hex", {}); }
    UpdateLab(const UpdateLab&) = delete;
    UpdateLab& operator=(const UpdateLab&) = delete;

    /// Connects the bracelet; its opening exchange switches it to its updater, and the update runs.
    void startUpdate() {
        lab.manager->connectDevice(DeviceTypeBraceletRM830, 30);
        ASSERT_TRUE(lab.runUntilEvent("status 6 -> 2", seconds(10)));
    }
    bool finished(Duration limit = seconds(600)) {
        return lab.runUntil([&] { return !observer->outcomes.empty(); }, limit);
    }
    FirmwareUpdateOutcome outcome() const { return observer->outcomes.front(); }
};

TEST(RM830UpdateFlow, OldBraceletIsUpdatedAndComesBackWithTheNewVersion) {
    UpdateLab w;
    w.startUpdate();
    ASSERT_TRUE(w.lab.runUntilEvent("status 8 -> 2", seconds(10)));
    ASSERT_TRUE(w.finished());
    ASSERT_TRUE(w.outcome().succeeded) << w.outcome().errorText;

    // The bootloader received exactly the image the kit's converter makes of the shipped file.
    const auto file = w.lab.manager->resources().pathForResource(kImageName, "hex");
    ASSERT_TRUE(file.has_value());
    const auto image = IntelHex2BinConverter::convert(readFile(*file));
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->size(), 262144U);
    EXPECT_EQ(w.bracelet->bootloader()->image(), *image);
    EXPECT_EQ(w.outcome().bytesSent, image->size());
    EXPECT_EQ(w.outcome().totalBytes, image->size());
    EXPECT_EQ(w.observer->phases(),
              (std::vector<FirmwareUpdatePhase>{FirmwareUpdatePhase::Preparing, FirmwareUpdatePhase::Uploading,
                                                FirmwareUpdatePhase::Validating, FirmwareUpdatePhase::Activating}));

    // Activated, the bootloader drops the link; the bracelet comes back running the image's version, which
    // the kit finds current: no second update.
    ASSERT_TRUE(w.lab.runUntilEvent("status 8 -> -1", seconds(10)));
    w.lab.advance(seconds(2));
    EXPECT_EQ(w.bracelet->firmwareVersion(), "54.51.56.1");
    w.lab.app->clear();
    w.lab.manager->connectDevice(DeviceTypeBraceletRM830, 30);
    ASSERT_TRUE(w.lab.runUntilEvent("status 6 -> 2", seconds(10)));
    ASSERT_TRUE(w.lab.runUntilEvent("info 6 Firmware is already updated", seconds(5)));
    EXPECT_TRUE(w.lab.app->has("info 6 Version :54.51.56.1"));
    w.lab.advance(seconds(5));
    EXPECT_EQ(w.bracelet->updateModeRequests(), 1);
    EXPECT_EQ(w.observer->outcomes.size(), 1U);
}

TEST(RM830UpdateFlow, UploadOverAModelledLinkReachesTheModelsLimit) {
    UpdateLab w;
    lab::LinkModel model;  // 30 ms interval, 4 packets per event
    w.lab.radio->setLinkModel(model);
    w.startUpdate();
    ASSERT_TRUE(w.finished(seconds(3600)));
    ASSERT_TRUE(w.outcome().succeeded) << w.outcome().errorText;
    // From the first burst to validation: the upload runs at the pace of receipts every 10 packets.
    const auto& first = w.observer->progresses;
    ASSERT_FALSE(first.empty());
    EXPECT_GE(w.outcome().uploadTimeInSeconds, static_cast<std::int64_t>(262144 / model.uploadLimit(10) * 0.95));
}

struct FailureCase {
    const char* name;
    lab::RM830UpdaterFaults faults;
    const char* error;
};

TEST(RM830UpdateFlow, ABootloaderThatRefusesOrFailsEndsTheUpdateWithItsReasonAndTheBraceletComesBackOld) {
    auto faults = [](auto set) {
        lab::RM830UpdaterFaults f;
        set(f);
        return f;
    };
    const std::vector<FailureCase> cases = {
        {"start failed", faults([](auto& f) { f.startStatus = 6; }), "Error on StartDFU Message: Operation Failed"},
        {"both starts refused", faults([](auto& f) { f.refuseNewStart = f.refuseOldStart = true; }),
         "Error on StartDFU Message: Operation Not Supported"},
        {"CRC error", faults([](auto& f) { f.crcError = true; }),
         "Error on Validate Firmware Request Message: CRC Error"},
        {"link lost mid-image", faults([](auto& f) { f.dropLinkAfterBytes = 100000; }),
         "The link to the bracelet was lost during the update"},
        {"lost receipt", faults([](auto& f) { f.loseReceipt = 5; }),
         "The link to the bracelet was lost during the update"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        lab::RM830UpdaterScript updater;
        updater.faults = c.faults;
        UpdateLab w(updater);
        w.startUpdate();
        ASSERT_TRUE(w.finished());
        EXPECT_FALSE(w.outcome().succeeded);
        EXPECT_EQ(w.outcome().errorText, c.error);
        // Whatever went wrong, the bracelet comes back on its old firmware and nothing is left waiting.
        w.lab.advance(seconds(60));
        EXPECT_EQ(w.bracelet->firmwareVersion(), "54.51.55.9");
        EXPECT_EQ(w.observer->outcomes.size(), 1U);
        EXPECT_FALSE(w.lab.manager->isPending(DeviceTypeBraceletRM830DFU));
        EXPECT_NE(w.lab.manager->getDeviceStatus(DeviceTypeBraceletRM830DFU), ConnectionStatusReady);
        w.lab.app->clear();
        w.lab.manager->connectDevice(DeviceTypeBraceletRM830, 30);
        EXPECT_TRUE(w.lab.runUntilEvent("info 6 Version :54.51.55.9", seconds(20)));
    }
}

TEST(RM830UpdateFlow, MissingOrMalformedImageIsReportedAndNothingIsSent) {
    test::TempDir folder;
    const auto malformed = folder.file("malformed.hex");
    std::ofstream(malformed) << ":10100000000102030405060708090A0B0C0D0E0F68\nthis is not a record\n";
    {
        UpdateLab w;
        w.lab.manager->resources().setResourcePath(kImageName, "hex", folder.file("missing.hex"));
        w.startUpdate();
        ASSERT_TRUE(w.finished(seconds(20)));
        EXPECT_FALSE(w.outcome().succeeded);
        EXPECT_NE(w.outcome().errorText.find("Firmware image J055_07_V638_20190122.hex not found"), std::string::npos)
            << w.outcome().errorText;
        // The updater stays connected and idle: nothing reaches its control point.
        EXPECT_TRUE(w.bracelet->bootloader()->requests().empty());
    }
    {
        UpdateLab w;
        w.lab.manager->resources().setResourcePath(kImageName, "hex", malformed);
        w.startUpdate();
        ASSERT_TRUE(w.finished(seconds(20)));
        EXPECT_FALSE(w.outcome().succeeded);
        EXPECT_NE(w.outcome().errorText.find("The firmware image is empty"), std::string::npos) << w.outcome().errorText;
        w.lab.advance(seconds(60));
        EXPECT_EQ(w.bracelet->firmwareVersion(), "54.51.55.9");
    }
}

}  // namespace
}  // namespace halvora
