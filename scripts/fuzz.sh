#!/usr/bin/env bash
# Builds the libFuzzer targets and runs each for SECONDS (default 10) from its seed corpus in fuzz/corpus.
# New inputs go to build/fuzz/corpus; a crash, a sanitizer report or a failed check stops the run.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-10}
# A fixed seed keeps the short CI runs repeatable; FUZZ_SEED=0 lets libFuzzer pick one for long runs.
seed=${FUZZ_SEED:-1}
# The image decoder allocates what a header claims, up to 2^30 pixels by default: a 100-byte file can ask
# for gigabytes, past libFuzzer's memory limit. The fuzz runs cap it at 16 Mpixel, which is what callers
# reading untrusted files should do too.
export OPENCV_IO_MAX_IMAGE_PIXELS=${OPENCV_IO_MAX_IMAGE_PIXELS:-16777216}
cmake --preset fuzz -DCMAKE_RULE_MESSAGES=OFF >/dev/null
cmake --build --preset fuzz -- --no-print-directory
for target in build/fuzz/fuzz/*_fuzz; do
    name=$(basename "$target" _fuzz)
    mkdir -p "build/fuzz/corpus/$name" "build/fuzz/artifacts"
    echo "== fuzz $name (${seconds}s)"
    log="build/fuzz/$name.log"
    # Standard output and error are closed for the target (its warnings are expected); libFuzzer keeps its own.
    if ! "$target" -max_total_time="$seconds" -seed="$seed" -close_fd_mask=3 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/artifacts/$name-" "build/fuzz/corpus/$name" "fuzz/corpus/$name" >"$log" 2>&1; then
        tail -n 60 "$log"
        exit 1
    fi
    grep -E '^(Done|stat::number_of_executed_units)' "$log"
done
