#include <benchmark/benchmark.h>

#include "halvora/Core/Log.hpp"

int main(int argc, char** argv) {
    // Benchmarks measure the kit, not the system log.
    halvora::Log::shared().silence();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
