#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy at the root) over the library's C++ sources and the public headers they
# include, with the compile commands of the release build, which must be configured first
# (`cmake --preset release`). Any finding fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
run-clang-tidy -quiet -p build/release -j "$(nproc)" "$PWD/src/.*\.cpp$" >build/release/clang-tidy.log 2>&1 || {
    grep -E "(warning|error):" build/release/clang-tidy.log | sort -u
    echo "clang-tidy found the problems above (full log: build/release/clang-tidy.log)"
    exit 1
}
echo "clang-tidy: no findings"
