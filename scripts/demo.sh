#!/usr/bin/env bash
# Builds vela and runs its demo; arguments go to the demo (try --help).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target vela_demo
build/release/examples/vela_demo "$@"
