#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "RM830Listener.hpp"
#include "Session.hpp"
#include "bracelet/BraceletRecords.hpp"

namespace halvora::cli {

/// The settings `halvora rm830 set` takes, several in one invocation (the bracelet is connected once).
struct RM830Settings {
    std::optional<std::string> time;      ///< "now" or "yyyy-MM-dd HH:mm" (local)
    std::optional<std::int64_t> goal;     ///< steps a day
    std::optional<int> height;            ///< cm
    std::optional<int> weight;            ///< kg
    std::optional<int> gender;            ///< 0 male, 1 female
    std::optional<std::string> birthday;  ///< "yyyy-MM-dd"

    bool empty() const { return !time && !goal && !user(); }
    /// Whether any of the user's details is given (they go to the bracelet together).
    bool user() const { return height || weight || gender || birthday; }
};

/// What `halvora rm830 monitoring` asks for.
struct RM830Monitoring {
    std::string state;                  ///< "on" or "off"
    std::optional<std::string> window;  ///< "HH:MM-HH:MM"
    std::string days = "daily";         ///< as for the bracelet's alarms
};

/// A connected RM830 bracelet with the tool's listener set as its delegate, past its opening exchange
/// (firmware version read and checked, time format set); disconnects when it goes. A bracelet with older
/// firmware switches to update mode right after that exchange: unless `allowOutdated`, the session then
/// throws CliError(ExitDeviceError).
class RM830Session {
public:
    RM830Session(Session& session, double timeout, bool allowOutdated = false);
    ~RM830Session();
    RM830Session(const RM830Session&) = delete;
    RM830Session& operator=(const RM830Session&) = delete;

    RM830Listener& listener() { return *listener_; }
    HalvoraSDKManager& manager() { return session_.manager(); }
    /// The version the bracelet reported when it connected ("54.51.56.1").
    const std::string& version() const { return version_; }
    /// Whether the bracelet said its firmware is current.
    bool current() const { return current_; }
    /// Waits for `done`, or throws CliError(ExitDeviceError) "the bracelet did not <what>".
    void waitFor(const std::function<bool()>& done, double seconds, const std::string& what);
    /// Waits for the answer of the next operation that reports `operationFinished`, and throws
    /// CliError(ExitDeviceError) when the bracelet refused it.
    void waitFinished(std::size_t before, const std::string& what);
    /// The advertised name of the connected bracelet.
    std::string name();

private:
    Session& session_;
    std::shared_ptr<RM830Listener> listener_;
    std::string version_;
    bool current_ = false;
};

/// Today's totals (the day's quarter hours reach `listener` first, as a sync).
HalvoraSDKStepData todayTotals(Session& session, RM830Listener& listener);
/// The records of the day `daysAgo` back (none for a day without data).
std::vector<HistoryRecord> downloadDay(Session& session, RM830Listener& listener, int daysAgo);

int runRM830Today(Session& session, double timeout);
int runRM830History(Session& session, int daysAgo, const std::optional<std::string>& csvPath, double timeout);
int runRM830Heart(Session& session, std::optional<double> seconds, double timeout);
int runRM830HeartHistory(Session& session, const std::optional<std::string>& csvPath, double timeout);
int runRM830Set(Session& session, const RM830Settings& settings, double timeout);
int runRM830Monitoring(Session& session, const RM830Monitoring& monitoring, double timeout);
int runRM830Version(Session& session, double timeout);

}  // namespace halvora::cli
