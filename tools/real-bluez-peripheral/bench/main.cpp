// halvora-real-bluez-bench: the kit's side of the real-bluez notification bench. With the peripheral bridge
// in bench mode (--burst N) on hci1, it connects through the kit's BlueZ transport on hci0, switches
// notifications on and reports how many numbered frames arrived, how many out of order, at what rate, and
// the latency from the bridge handing a frame to bluetoothd to the kit's callback (p50, p99).
//
// Prints one line "bench: ..." (or --json: one object); exits 0 when every frame arrived in order.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <thread>

#include "NotificationCounter.hpp"
#include "halvora/Core/Log.hpp"
#include "halvora/Runtime/ThreadedExecutor.hpp"
#include "halvora/Transport/BlueZ/BlueZTransport.hpp"

using namespace halvora;

namespace {

/// Time the Disconnect is given before the program ends.
constexpr auto kDisconnectGrace = std::chrono::seconds(1);

/// Figures of one run.
struct Figures {
    std::size_t received = 0;
    std::size_t outOfOrder = 0;
    std::size_t duplicates = 0;
    double seconds = 0;
    double perSecond = 0;
    double p50Ms = 0;
    double p99Ms = 0;
};

double percentileMs(std::vector<std::uint64_t> latencies, double fraction) {
    if (latencies.empty()) return 0;
    const auto index = static_cast<std::size_t>(fraction * static_cast<double>(latencies.size() - 1));
    std::nth_element(latencies.begin(), latencies.begin() + static_cast<std::ptrdiff_t>(index), latencies.end());
    return static_cast<double>(latencies[index]) / 1e6;
}

Figures measure(const std::vector<realbluez::NotificationCounter::Received>& frames) {
    Figures figures;
    figures.received = frames.size();
    if (frames.empty()) return figures;
    std::vector<std::uint64_t> latencies;
    std::vector<bool> seen;
    std::uint32_t highest = 0;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto& frame = frames[i];
        if (i > 0 && frame.number < highest) ++figures.outOfOrder;
        highest = std::max(highest, frame.number);
        if (frame.number >= seen.size()) seen.resize(frame.number + 1, false);
        if (seen[frame.number]) ++figures.duplicates;
        seen[frame.number] = true;
        latencies.push_back(frame.receivedNs > frame.sentNs ? frame.receivedNs - frame.sentNs : 0);
    }
    figures.seconds = static_cast<double>(frames.back().receivedNs - frames.front().sentNs) / 1e9;
    figures.perSecond = figures.seconds > 0 ? static_cast<double>(frames.size()) / figures.seconds : 0;
    figures.p50Ms = percentileMs(latencies, 0.50);
    figures.p99Ms = percentileMs(latencies, 0.99);
    return figures;
}

}  // namespace

int main(int argc, char** argv) {
    std::string name;
    std::uint32_t count = 1000;
    double timeout = 60;
    std::string adapter = "hci0";
    bool json = false;
    bool verbose = false;
    CLI::App app{"The kit's side of the real-bluez notification bench"};
    app.add_option("--name", name, "the bridged device's advertised name")->required();
    app.add_option("--count", count, "frames the bridge sends (its --burst)");
    app.add_option("--timeout", timeout, "seconds to wait for them");
    app.add_option("--adapter", adapter, "adapter (default hci0)");
    app.add_flag("--json", json, "one JSON object");
    app.add_flag("--verbose", verbose, "the transport's log lines on standard error");
    CLI11_PARSE(app, argc, argv);

    auto executor = ThreadedExecutor::create();
    BlueZOptions options;
    options.adapter = adapter;
    auto log = std::make_shared<Log>([verbose](const std::string& line) {
        if (verbose) std::fprintf(stderr, "%s\n", line.c_str());
    });
    auto transport = BlueZTransport::create(options, executor, log);
    auto counter = std::make_shared<realbluez::NotificationCounter>(name, count);
    auto central = transport->makeCentral(counter, executor->makeQueue("real-bluez-bench"), {});
    const auto frames = counter->wait(timeout);
    const auto failure = counter->failure();
    // bluetoothd keeps a link its client left without a word: close it, so that the next run connects anew.
    if (auto peripheral = counter->peripheral()) {
        central->cancelPeripheralConnection(peripheral);
        std::this_thread::sleep_for(kDisconnectGrace);
    }
    executor->shutdown();
    const Figures figures = measure(frames);
    const std::size_t lost = count > figures.received ? count - figures.received : 0;
    if (json) {
        std::printf(
            "{\"sent\":%u,\"received\":%zu,\"lost\":%zu,\"outOfOrder\":%zu,\"duplicates\":%zu,\"seconds\":%.3f,"
            "\"perSecond\":%.0f,\"latencyP50Ms\":%.2f,\"latencyP99Ms\":%.2f}\n",
            count, figures.received, lost, figures.outOfOrder, figures.duplicates, figures.seconds, figures.perSecond,
            figures.p50Ms, figures.p99Ms);
    } else {
        std::printf(
            "bench: %u sent, %zu received, %zu lost, %zu out of order, %zu duplicated in %.3f s (%.0f/s); "
            "latency p50 %.2f ms, p99 %.2f ms%s%s\n",
            count, figures.received, lost, figures.outOfOrder, figures.duplicates, figures.seconds, figures.perSecond,
            figures.p50Ms, figures.p99Ms, failure.empty() ? "" : "; ", failure.c_str());
    }
    return lost == 0 && figures.outOfOrder == 0 && figures.duplicates == 0 && failure.empty() ? 0 : 1;
}
