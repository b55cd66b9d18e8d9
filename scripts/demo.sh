#!/usr/bin/env bash
# Builds vela and runs its demo; arguments go to the demo (try --help). The Python twin, examples/demo.py,
# runs with PYTHONPATH=build/release/python.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target vela_demo vela_python
build/release/examples/vela_demo "$@"
