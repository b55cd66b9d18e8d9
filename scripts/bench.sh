#!/usr/bin/env bash
# Builds the benchmark suite (Release, with the PCL and Open3D writers as peers) in build/bench, runs it
# with three repetitions in random order (so that a drift of a shared machine hits vela and its baselines
# alike) and prints every benchmark's median, then the table of ratios of vela to each baseline timed in
# the same run. `--json FILE` also writes the results as JSON, which bench/plot.py reads;
# other arguments go to the benchmark executable (e.g. --benchmark_filter=setTo).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

json=""
args=()
while [ $# -gt 0 ]; do
    case "$1" in
        --json) json="$2"; shift 2 ;;
        *) args+=("$1"); shift ;;
    esac
done
out=()
[ -n "$json" ] && out=(--benchmark_out="$json" --benchmark_out_format=json)

cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DVELA_BUILD_BENCHMARKS=ON -DVELA_BENCH_PEERS=ON \
    -DVELA_BUILD_TESTS=OFF -DVELA_BUILD_EXAMPLES=OFF -DCMAKE_RULE_MESSAGES=OFF >/dev/null
cmake --build build/bench --target vela_bench --parallel 2 -- --no-print-directory
build/bench/bench/vela_bench --benchmark_repetitions=3 --benchmark_enable_random_interleaving=true \
    --benchmark_report_aggregates_only=true \
    "${out[@]}" "${args[@]}"
