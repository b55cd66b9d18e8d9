#!/usr/bin/env bash
# Fails when a C++ or CUDA source differs from .clang-format; run `scripts/check-format.sh --fix` to rewrite.
set -euo pipefail
cd "$(dirname "$0")/.."
mapfile -t files < <(git ls-files --cached --others --exclude-standard -- '*.hpp' '*.cpp' '*.cu' '*.cuh')
if [ "${1:-}" = "--fix" ]; then
    clang-format -i "${files[@]}"
else
    clang-format --dry-run --Werror "${files[@]}"
fi
