#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CliApplication.hpp"
#include "LabFile.hpp"
#include "Printer.hpp"
#include "halvora/Manager/HalvoraSDKManager.hpp"
#include "halvora/Runtime/VirtualExecutor.hpp"
#include "lab/Radio.hpp"

namespace halvora::cli {

/// The tool's global options.
struct GlobalOptions {
    std::string transport = "lab";
    std::string adapter = "hci0";
    std::optional<std::string> labFile;
    std::optional<std::uint64_t> seed;
    bool realtime = false;
    bool json = false;
    bool verbose = false;
};

/// A virtual device the session put in its lab.
struct LabDevice {
    LabDeviceSpec entry;
    const LabClass* labClass = nullptr;
    std::shared_ptr<lab::VirtualPeripheral> device;
};

/// Everything one run of the tool works with: the executor (virtual time by default, real threads and
/// clocks with --realtime), the transport (the lab with its virtual devices, or BlueZ), a manager made the
/// way an application makes it, the tool's application delegate and the printer.
class Session {
public:
    explicit Session(const GlobalOptions& options);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    HalvoraSDKManager& manager() { return *manager_; }
    CliApplication& app() { return *app_; }
    Printer& printer() { return printer_; }
    const GlobalOptions& options() const { return options_; }
    /// The lab's devices (empty with another transport).
    const std::vector<LabDevice>& labDevices() const { return labDevices_; }
    /// The lab's radio (null with another transport).
    const std::shared_ptr<lab::Radio>& radio() const { return radio_; }

    /// Creates the central (once) and waits for its first state report; fails (exit 5) when Bluetooth is
    /// not on.
    void startCentral();
    /// Lets time pass (virtual or real) until `done` holds or `limit` has passed; returns whether it holds.
    bool waitUntil(const std::function<bool()>& done, Duration limit);
    /// Lets `duration` pass.
    void pass(Duration duration);
    /// Time since the session started (virtual or real).
    Duration elapsed() const;

private:
    void buildLab();

    bool centralStarted_ = false;
    GlobalOptions options_;
    Printer printer_;
    std::shared_ptr<Executor> executor_;
    std::shared_ptr<VirtualExecutor> virtualExecutor_;  // set in virtual time
    std::shared_ptr<lab::Radio> radio_;
    std::shared_ptr<Transport> transport_;
    std::vector<LabDevice> labDevices_;
    std::shared_ptr<HalvoraSDKManager> manager_;
    std::shared_ptr<CliApplication> app_;
    MonotonicTime start_;
};

/// Text of a duration in seconds with one decimal: "4.1 s".
std::string secondsText(Duration duration);

}  // namespace halvora::cli
