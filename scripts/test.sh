#!/usr/bin/env bash
# Builds vela and runs its whole test suite: formatting; the tests on the simulated GPU and the same
# GPU-path tests on the real CUDA runtime; a downstream project against the installed package; clang-tidy
# over the library's sources; then the tests again under AddressSanitizer with UndefinedBehaviorSanitizer,
# and the concurrency tests under ThreadSanitizer; the API reference, which fails on an undocumented
# member, must list every free function and enumeration and have no broken link; the Python reference;
# and a short run of every fuzz target (a fixed number of inputs from a fixed seed). Any failure,
# finding or sanitizer report fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/check-format.sh
for preset in release asan tsan; do
    echo "== $preset"
    cmake --preset "$preset" -DCMAKE_RULE_MESSAGES=OFF >/dev/null
    cmake --build --preset "$preset" -- --no-print-directory
    ctest --preset "$preset"
    if [ "$preset" = release ]; then
        echo "== clang-tidy"
        scripts/tidy.sh
    fi
done
echo "== API reference (every public member documented, every free function and enumeration listed, no broken link)"
cmake --build --preset release --target docs
python3 scripts/check_api_reference.py build/release/docs
echo "== Python reference"
cmake --build --preset release --target python_docs
scripts/fuzz.sh --ci 100000
