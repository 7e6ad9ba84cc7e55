#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "BraceletListener.hpp"
#include "BraceletRecords.hpp"
#include "Session.hpp"

namespace halvora::cli {

/// The settings `halvora bracelet set` takes, several in one invocation (the bracelet is connected once).
struct BraceletSettings {
    std::optional<int> height;                                     ///< cm
    std::optional<int> weight;                                     ///< kg
    std::optional<int> goal;                                       ///< steps a day
    std::optional<std::string> date;                               ///< "now" or "yyyy-MM-dd HH:mm" (local)
    std::optional<int> units;                                      ///< distance unit code
    std::vector<std::string> alarms;                               ///< "1|2,days,HH:MM" or "1|2,off"
    std::optional<std::string> sedentary;                          ///< "interval,HH:MM,HH:MM" or "off"
    std::optional<int> findPhone, antiLost, raiseHand, hrMonitor;  ///< 0 or 1
    std::vector<int> ancs;                                         ///< notification source values
    std::optional<std::string> text;                               ///< shown on the display

    bool empty() const;
};

/// A connected bracelet with the tool's listener set as its delegate; disconnects when it goes.
class BraceletSession {
public:
    BraceletSession(Session& session, double timeout);
    ~BraceletSession();
    BraceletSession(const BraceletSession&) = delete;
    BraceletSession& operator=(const BraceletSession&) = delete;

    Session& session() { return session_; }
    BraceletListener& listener() { return *listener_; }
    HalvoraSDKManager& manager() { return session_.manager(); }
    /// Waits for `done`, or throws CliError(ExitDeviceError) "the bracelet did not <what>".
    void waitFor(const std::function<bool()>& done, double seconds, const std::string& what);

private:
    Session& session_;
    std::shared_ptr<BraceletListener> listener_;
};

/// Downloads the whole history of the connected bracelet, through `listener` (set as the bracelet
/// delegate): the download, then a second one that brings the records the bracelet's last package left for
/// the next download (see the README). `progress` draws a bar on a terminal. Throws CliError when a download
/// does not finish within `timeout` seconds.
std::vector<HistoryRecord> downloadHistory(Session& session, BraceletListener& listener, double timeout, bool progress);

int runBraceletSteps(Session& session, double timeout);
int runBraceletHeart(Session& session, double timeout);
int runBraceletSync(Session& session, const std::optional<std::string>& csvPath, double timeout);
int runBraceletBattery(Session& session, double timeout);
int runBraceletVersion(Session& session, double timeout);
int runBraceletFind(Session& session, double timeout);
int runBraceletSet(Session& session, const BraceletSettings& settings, double timeout);

}  // namespace halvora::cli
