#!/usr/bin/env bash
# Builds vela and runs its whole test suite: formatting, the tests on the simulated GPU, the same GPU-path
# tests on the real CUDA runtime, and a downstream project against the installed package.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/check-format.sh
cmake --preset release >/dev/null
cmake --build --preset release
ctest --preset release
