#!/usr/bin/env bash
# Builds and runs the whole test suite:
#   1. release build: every test, the install check; benchmarks built, not run
#   2. AddressSanitizer + UndefinedBehaviorSanitizer build: every test
#   3. ThreadSanitizer build: the threading tests
# Usage: tools/run-tests.sh [build-root]   (default: ./build-tests)
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
root=${1:-$src/build-tests}
jobs=$(nproc 2>/dev/null || echo 2)
generator=()
command -v ninja >/dev/null 2>&1 && generator=(-G Ninja)

configure() {  # dir, extra cmake args...
    local dir=$1; shift
    cmake -S "$src" -B "$dir" "${generator[@]}" -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
}

section() { printf '\n==== %s\n' "$*"; }

section "release"
configure "$root/release"
cmake --build "$root/release" -j "$jobs"
ctest --test-dir "$root/release" -j "$jobs" --output-on-failure

section "address + undefined sanitizers"
configure "$root/asan" -DLYAVUTILS_SANITIZE=address,undefined -DLYAVUTILS_BUILD_BENCH=OFF \
    -DLYAVUTILS_BUILD_TOOLS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$root/asan" -j "$jobs"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir "$root/asan" -j "$jobs" --output-on-failure -LE install

section "thread sanitizer (threading tests)"
configure "$root/tsan" -DLYAVUTILS_SANITIZE=thread -DLYAVUTILS_BUILD_BENCH=OFF \
    -DLYAVUTILS_BUILD_TOOLS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$root/tsan" -j "$jobs"
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 \
    ctest --test-dir "$root/tsan" -j "$jobs" --output-on-failure -L threading

section "all test configurations passed"
