// Runs every benchmark, then prints the ratio of each vela timing to the baseline timed beside it.
// A pair is two benchmarks named "<operation>/vela" and "<operation>/<baseline>"; a ratio below 1 means
// vela is faster. Times are CPU time per iteration; with --benchmark_repetitions the median counts.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (run.error_occurred || (run.run_type != Run::RT_Iteration && !median)) continue;
            const std::string name = run.run_name.str();
            const size_t slash = name.rfind('/');
            if (slash == std::string::npos) continue;
            Pair& pair = pairs[name.substr(0, slash)];
            const std::string side = name.substr(slash + 1);
            const double ns = run.GetAdjustedCPUTime() * timeUnitToNanoseconds(run.time_unit);
            if (side != "vela") pair.baselineName = side;
            Time& time = side == "vela" ? pair.vela : pair.baseline;
            // A median, once seen, replaces the single runs it summarises.
            if (median || !time.median) time = Time{ns, median};
        }
    }

    void printRatios() const {
        std::printf("\n%-36s %12s %-10s %12s %8s\n", "operation", "vela ns", "baseline", "baseline ns",
                    "ratio");
        for (const auto& named : pairs) {
            const Pair& pair = named.second;
            if (pair.vela.ns <= 0 || pair.baseline.ns <= 0) continue;
            std::printf("%-36s %12.2f %-10s %12.2f %8.2f\n", named.first.c_str(), pair.vela.ns,
                        pair.baselineName.c_str(), pair.baseline.ns, pair.vela.ns / pair.baseline.ns);
        }
    }

  private:
    struct Time {
        double ns = 0;
        bool median = false;
    };
    struct Pair {
        Time vela;
        Time baseline;
        std::string baselineName;
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

    std::map<std::string, Pair> pairs;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}
