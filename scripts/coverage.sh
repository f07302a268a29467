#!/usr/bin/env bash
# Product line coverage of the native tests, and the size of the tests against the code.
#   scripts/coverage.sh            build with coverage, run every native test, print totals
#   scripts/coverage.sh --lines    only count the lines
# Product code is everything but tests/, tools/ and the fakes (*/testing/). The line count is
# of every tracked source file in every language (C and C++, Python, shell, Lua, CMake,
# .ci/run and the scripts without an extension), the fuzzers' seed corpora left out: test
# lines are those under tests/ and */testing/, and their share of all the lines is kept at
# a third at most.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

count_lines() {
    local sources tests code
    sources=$(git ls-files | grep -E '\.(c|cc|cpp|h|hpp|py|sh|lua|cmake)$|(^|/)CMakeLists\.txt$|^\.ci/run$|^scripts/[^.]+$' |
              grep -v '/corpus/')
    tests=$(grep -E '^tests/|/testing/' <<<"$sources" | xargs cat | wc -l)
    code=$(grep -v -E '^tests/|/testing/' <<<"$sources" | xargs cat | wc -l)
    echo "test lines: $tests (tests/ and */testing/), other lines: $code (every other source)"
    awk -v t="$tests" -v c="$code" 'BEGIN { printf "test share: %.3f (at most 0.33)\n", t / (t + c) }'
}

if [ "${1:-}" = "--lines" ]; then
    count_lines
    exit 0
fi

scripts/deps.sh
command -v gcovr >/dev/null || {
    apt-get update -qq && apt-get install -y -qq --no-install-recommends gcovr >/dev/null
}

build=build/coverage
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_COMPILER=g++ -DCMAKE_C_COMPILER=gcc \
    -DCMAKE_CXX_FLAGS=--coverage -DCMAKE_EXE_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$build" -j2 >/dev/null
find "$build" -name '*.gcda' -delete
ctest --test-dir "$build" -j2 --output-on-failure >/dev/null

report=$(mktemp)
trap 'rm -f "$report"' EXIT
product=(--filter 'helper/' --filter 'announce/' --filter 'network/' --filter 'service_api/'
         --filter 'diagnostics/' --filter 'platform/' --exclude '.*/testing/.*')
echo "Product line coverage (native tests):"
gcovr -r . --object-directory "$build" --exclude-directories "$build/CMakeFiles" \
    "${product[@]}" --print-summary -o "$report" 2>/dev/null |
    sed -n 's/^lines: /  all: /p'
for folder in helper announce network service_api/core service_api/client diagnostics platform; do
    printf '  %-20s ' "$folder"
    gcovr -r . --object-directory "$build" --exclude-directories "$build/CMakeFiles" \
        --filter "$folder/" --exclude '.*/testing/.*' --print-summary -o "$report" 2>/dev/null |
        sed -n 's/^lines: //p'
done
count_lines
