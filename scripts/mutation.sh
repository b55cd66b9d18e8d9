#!/usr/bin/env bash
# Plants small faults in the library's sources one at a time and reports how many the test suite catches.
#
#   scripts/mutation.sh [--sample N] [--seed S] [--list] [--only ID]
#
# A mutant is one edit of one line of src/: a comparison flipped (== and !=, < and >=, > and <=), && and ||
# swapped, an integer constant moved by one, a condition negated, a returned boolean or status replaced. The
# sample is drawn from every candidate in src/ with a fixed seed, so it stays the same while src/ does (trimming
# tests does not move it). For each mutant the script rebuilds the simulated test binary incrementally in
# build/mutation (debug, one CUDA architecture), runs it with a time limit, and restores the source. A mutant
# that does not compile is not counted; one the tests do not fail survives and is listed.
set -euo pipefail
cd "$(dirname "$0")/.."

sample=60
seed=2026
list_only=0
only=""
while [ $# -gt 0 ]; do
    case "$1" in
        --sample) sample="$2"; shift 2 ;;
        --seed) seed="$2"; shift 2 ;;
        --list) list_only=1; shift ;;
        --only) only="$2"; shift 2 ;;
        *) echo "usage: $0 [--sample N] [--seed S] [--list] [--only ID]" >&2; exit 2 ;;
    esac
done

build=build/mutation
mutants=$(mktemp)
trap 'rm -f "$mutants"' EXIT

# One line per mutant: id <tab> file <tab> line <tab> column <tab> original <tab> replacement.
python3 - "$sample" "$seed" >"$mutants" <<'PY'
import pathlib, random, re, sys

sample, seed = int(sys.argv[1]), int(sys.argv[2])
swaps = [(" == ", " != "), (" != ", " == "), (" < ", " >= "), (" >= ", " < "), (" > ", " <= "),
         (" <= ", " > "), (" && ", " || "), (" || ", " && "), ("return true;", "return false;"),
         ("return false;", "return true;"), ("ERROR_CODE::SUCCESS;", "ERROR_CODE::FAILURE;")]
candidates = []
for path in sorted(pathlib.Path("src").rglob("*")):
    if path.suffix not in (".cpp", ".hpp"):  # kernels run only on a GPU
        continue
    in_comment = False
    for number, line in enumerate(path.read_text().splitlines(), 1):
        stripped = line.strip()
        if in_comment:
            in_comment = "*/" not in stripped
            continue
        if stripped.startswith("/*"):
            in_comment = "*/" not in stripped
            continue
        if not stripped or stripped.startswith(("//", "#", "static_assert")) or '"' in line:
            continue
        code = line.split("//")[0]
        for old, new in swaps:
            for match in re.finditer(re.escape(old), code):
                if old in (" < ", " > ") and "template" in code:
                    continue
                candidates.append((str(path), number, match.start(), old, new))
        for match in re.finditer(r"(?<![\w.])([1-9]\d{0,3})(?![\w.'])", code):
            value = int(match.group(1))
            candidates.append((str(path), number, match.start(), match.group(1), str(value + 1)))
        match = re.search(r"\bif \((.*)\) ", code)
        if match and match.group(1).count("(") == match.group(1).count(")"):
            candidates.append((str(path), number, match.start(1), match.group(1), "!(" + match.group(1) + ")"))
random.Random(seed).shuffle(candidates)
for index, (path, number, column, old, new) in enumerate(sorted(candidates[:sample])):
    print(f"m{index:03d}\t{path}\t{number}\t{column}\t{old}\t{new}")
PY

if [ "$list_only" = 1 ]; then
    cut -f1-3,5,6 "$mutants" | tr '\t' ' '
    exit 0
fi

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CUDA_ARCHITECTURES=75 -DVELA_BUILD_PYTHON=OFF \
      -DVELA_BUILD_EXAMPLES=OFF -DCMAKE_RULE_MESSAGES=OFF >/dev/null
cmake --build "$build" --target vela_tests_sim -- -j2 --no-print-directory >/dev/null
# Every mutant is judged against a suite that passes without it.
run_tests() {
    (cd "$build/tests" && VELA_TEST_TMPDIR="$PWD/tmp" timeout 120 ./vela_tests_sim --gtest_brief=1 >/dev/null 2>&1)
}
if ! run_tests; then
    echo "the tests fail without any mutant: nothing to measure" >&2
    exit 1
fi
# An interrupted run puts back the file it was mutating.
current=""
trap 'rm -f "$mutants"; [ -n "$current" ] && [ -f "$current.mutation-original" ] && mv "$current.mutation-original" "$current" && touch "$current"' EXIT

killed=0
survived=0
invalid=0
survivors=()
while IFS=$'\t' read -r id file line column old new; do
    [ -n "$only" ] && [ "$id" != "$only" ] && continue
    current="$file"
    cp "$file" "$file.mutation-original"
    python3 - "$file" "$line" "$column" "$old" "$new" <<'PY'
import sys
path, number, column, old, new = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4], sys.argv[5]
lines = open(path).read().split("\n")
text = lines[number - 1]
assert text[column:column + len(old)] == old, (path, number, old)
lines[number - 1] = text[:column] + new + text[column + len(old):]
open(path, "w").write("\n".join(lines))
PY
    if ! cmake --build "$build" --target vela_tests_sim -- -j2 --no-print-directory >/dev/null 2>&1; then
        outcome=invalid
        invalid=$((invalid + 1))
    elif run_tests; then
        outcome=SURVIVED
        survived=$((survived + 1))
        survivors+=("$id $file:$line '$old' -> '$new'")
    else
        outcome=killed
        killed=$((killed + 1))
    fi
    mv "$file.mutation-original" "$file"
    # The restored file is older than the mutant's object: without a new time stamp make would keep the
    # mutant compiled into every later run.
    touch "$file"
    current=""
    echo "$id $outcome $file:$line '$old' -> '$new'"
done <"$mutants"
# Leave the build matching the restored sources.
cmake --build "$build" --target vela_tests_sim -- -j2 --no-print-directory >/dev/null 2>&1 || true

total=$((killed + survived))
echo
echo "mutation score: $killed of $total compiled mutants killed ($invalid did not compile)"
for survivor in "${survivors[@]}"; do
    echo "  survivor: $survivor"
done
