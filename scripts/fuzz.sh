#!/usr/bin/env bash
# Builds the libFuzzer targets and runs each from its seed corpus in fuzz/corpus; a crash, a sanitizer report
# or a failed check stops the run.
#   scripts/fuzz.sh SECONDS   each target for SECONDS (default 10) from a random seed, keeping what it finds
#                             in build/fuzz/corpus: a long session.
#   scripts/fuzz.sh --ci RUNS each target for RUNS inputs from a fixed seed and the seed corpus alone: the same
#                             inputs on every machine, so a CI run passes or fails the same way everywhere.
set -euo pipefail
cd "$(dirname "$0")/.."
# The image decoder allocates what a header claims, up to 2^30 pixels by default: a 100-byte file can ask
# for gigabytes, past libFuzzer's memory limit. The fuzz runs cap it at 16 Mpixel, which is what callers
# reading untrusted files should do too.
export OPENCV_IO_MAX_IMAGE_PIXELS=${OPENCV_IO_MAX_IMAGE_PIXELS:-16777216}
if [ "${1:-}" = "--ci" ]; then
    budget=(-runs="${2:?--ci wants a number of runs}" -seed=1)
    describe="${2} runs"
else
    budget=(-max_total_time="${1:-10}" -seed=0)
    describe="${1:-10}s"
fi
cmake --preset fuzz -DCMAKE_RULE_MESSAGES=OFF >/dev/null
cmake --build --preset fuzz -- --no-print-directory
for target in build/fuzz/fuzz/*_fuzz; do
    name=$(basename "$target" _fuzz)
    corpus="build/fuzz/corpus/$name"
    [ "${1:-}" = "--ci" ] && corpus="build/fuzz/ci-corpus/$name" && rm -rf "$corpus"
    mkdir -p "$corpus" "build/fuzz/artifacts"
    echo "== fuzz $name ($describe)"
    log="build/fuzz/$name.log"
    # Standard output and error are closed for the target (its warnings are expected); libFuzzer keeps its own.
    if ! "$target" "${budget[@]}" -close_fd_mask=3 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/artifacts/$name-" "$corpus" "fuzz/corpus/$name" >"$log" 2>&1; then
        tail -n 60 "$log"
        exit 1
    fi
    grep -E '^(Done|stat::number_of_executed_units)' "$log"
done
