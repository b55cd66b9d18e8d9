// Runs every benchmark, then prints the ratio of each vela timing to each baseline timed beside it.
// Benchmarks are named "<operation>/<side>": "<operation>/vela" pairs with every other side of the same
// operation, one row per baseline; a ratio below 1 means vela is faster. Times are CPU time per iteration,
// or the measured time for GPU benchmarks timed with events; with --benchmark_repetitions the median
// counts. GPU benchmarks are registered only when a device is present.

#include <benchmark/benchmark.h>

#include <cuda_runtime_api.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "inputs.hpp"

namespace {

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.error_occurred || (run.run_type != Run::RT_Iteration && !median)) continue;
            const std::string& name = run.run_name.function_name;
            const size_t slash = name.rfind('/');
            if (slash == std::string::npos) continue;
            // Manually timed (GPU) runs carry their measured time as real time.
            const bool manual = !run.run_name.time_type.empty();
            const double ns = (manual ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime()) *
                              timeUnitToNanoseconds(run.time_unit);
            Time& time = operations[name.substr(0, slash)][name.substr(slash + 1)];
            // A median, once seen, replaces the single runs it summarises.
            if (median || !time.median) time = Time{ns, median};
        }
    }

    void printRatios() const {
        std::printf("\n%-44s %14s %-14s %14s %8s\n", "operation", "vela ns", "baseline", "baseline ns",
                    "ratio");
        for (const auto& operation : operations) {
            const auto vela = operation.second.find("vela");
            if (vela == operation.second.end()) continue;
            for (const auto& baseline : operation.second) {
                if (baseline.first == "vela" || baseline.second.ns <= 0) continue;
                std::printf("%-44s %14.1f %-14s %14.1f %8.3f\n", operation.first.c_str(), vela->second.ns,
                            baseline.first.c_str(), baseline.second.ns, vela->second.ns / baseline.second.ns);
            }
        }
    }

  private:
    struct Time {
        double ns = 0;
        bool median = false;
    };

    static double timeUnitToNanoseconds(benchmark::TimeUnit unit) {
        switch (unit) {
            case benchmark::kNanosecond:
                return 1.0;
            case benchmark::kMicrosecond:
                return 1e3;
            case benchmark::kMillisecond:
                return 1e6;
            case benchmark::kSecond:
                return 1e9;
        }
        return 1.0;
    }

    // Operation, then side ("vela" or a baseline), then its time.
    std::map<std::string, std::map<std::string, Time>> operations;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    int devices = 0;
    if (cudaGetDeviceCount(&devices) == cudaSuccess && devices > 0) {
        vela::bench::registerGpuBenchmarks();
        vela::bench::registerPointCloudGpuBenchmarks();
    } else
        std::printf("no GPU: the GPU benchmarks are not registered\n");
    cudaGetLastError();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}
