#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "DFU/DFURig.hpp"

namespace halvora::test {
namespace {

using Events = std::vector<std::string>;

Events outcomes(const Events& events) {
    Events out;
    for (const auto& e : events)
        if (e.rfind("ok", 0) == 0 || e.rfind("failed", 0) == 0) out.push_back(e);
    return out;
}

// Phases with bytes at each step, the upload time from the engine's clock, and nothing after the outcome.
TEST(DFUObserverTest, ProgressFollowsTheUpdate) {
    EngineRig rig(495);  // 25 packets: bursts of 10, 10, 5
    rig.start();
    rig.play("10 01 01");
    rig.play("11 C8 00 00 00");
    rig.play("11 90 01 00 00");
    rig.play("10 03 01");
    rig.executor->advance(std::chrono::seconds(65));
    rig.play("10 04 01");
    rig.engine->linkEnded();  // the bootloader restarts into the new image
    EXPECT_EQ(rig.observer->events, (Events{"Preparing 0/495 0%", "Uploading 200/495 40%", "Uploading 400/495 80%",
                                            "Validating 495/495 100%", "Activating 495/495 100%", "ok 65s"}));
}

// However an update fails, the observer hears one outcome with a one-line reason.
TEST(DFUObserverTest, OneOutcomePerUpdate) {
    struct Case {
        std::vector<std::string> responses;
        bool cancel;
        std::string outcome;
    };
    const Case cases[] = {
        {{"10 01 01", "10 03 05", "10 04 03"}, false, "failed Error on Receive Firmware Image Message: CRC Error"},
        {{"10 01 03", "10 01 03"}, false, "failed Error on StartDFU Message: Operation Not Supported"},
        {{"10 01 01"}, false, "failed The link to the bracelet was lost during the update"},
        {{"10 01 01"}, true, "failed The firmware update was cancelled"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.outcome);
        EngineRig rig;
        rig.start();
        for (const auto& response : c.responses) rig.play(response);
        if (c.cancel) rig.engine->cancelDFU();
        rig.engine->linkEnded();
        rig.engine->cancelDFU();
        EXPECT_EQ(outcomes(rig.observer->events), Events{c.outcome});
    }
}

// A file without an image fails at once for the observer, while the bootloader sees exactly what it would see
// without an observer; a missing file fails with the file error.
TEST(DFUObserverTest, EmptyImageFailsWithoutChangingTheProcedure) {
    const auto run = [](bool withObserver) {
        EngineRig rig(20, withObserver);
        rig.writeFile(hexText({linearRecord(0), dataRecord(0x0800, pattern(8)), endRecord()}));
        std::vector<std::vector<std::string>> requests = {rig.start()};
        for (const char* response : {"10 01 01", "11 00 00 00 00", "10 03 01", "10 04 01"})
            requests.push_back(rig.play(response));
        return std::make_pair(requests, rig.observer->events);
    };
    const auto watched = run(true), unwatched = run(false);
    EXPECT_EQ(watched.first, unwatched.first);
    EXPECT_EQ(
        watched.second,
        Events{"failed The firmware image is empty: end of file (3 records, 1 data records below 0x1000 skipped)"});

    EngineRig missing;
    std::filesystem::remove(missing.file);
    missing.start();
    EXPECT_EQ(missing.observer->events, Events{"failed Error on openning file Message: file is empty or not exist"});
}

}  // namespace
}  // namespace halvora::test
