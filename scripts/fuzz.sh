#!/usr/bin/env bash
# Builds the libFuzzer targets and runs each for SECONDS (default 10) from its seed corpus in fuzz/corpus.
# New inputs go to build/fuzz/corpus; a crash, a sanitizer report or a failed check stops the run.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-10}
cmake --preset fuzz -DCMAKE_RULE_MESSAGES=OFF >/dev/null
cmake --build --preset fuzz -- --no-print-directory
for target in build/fuzz/fuzz/*_fuzz; do
    name=$(basename "$target" _fuzz)
    mkdir -p "build/fuzz/corpus/$name" "build/fuzz/artifacts"
    echo "== fuzz $name (${seconds}s)"
    log="build/fuzz/$name.log"
    # Standard output and error are closed for the target (its warnings are expected); libFuzzer keeps its own.
    if ! "$target" -max_total_time="$seconds" -close_fd_mask=3 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/artifacts/$name-" "build/fuzz/corpus/$name" "fuzz/corpus/$name" >"$log" 2>&1; then
        tail -n 60 "$log"
        exit 1
    fi
    grep -E '^(Done|stat::number_of_executed_units)' "$log"
done
