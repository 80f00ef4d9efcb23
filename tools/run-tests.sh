#!/usr/bin/env bash
# Builds and runs the whole test suite:
#   1. release build: every test, the install check; benchmarks built, not run
#   2. AddressSanitizer + UndefinedBehaviorSanitizer build: every test
#   3. ThreadSanitizer build: the threading tests
#   4. coverage build (clang): every test; fails if a vector kernel never runs
#   5. libFuzzer build (clang, ASan+UBSan): a short run of every fuzz target
#      over its corpus (the regression inputs included)
# Usage: tools/run-tests.sh [build-root]   (default: ./build-tests)
# Sections 4 and 5 need clang-14, llvm-14 and libclang-rt-14-dev; set
# LYAVUTILS_SKIP_CLANG_SECTIONS=1 to leave them out.
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

if [ "${LYAVUTILS_SKIP_CLANG_SECTIONS:-0}" != 1 ]; then
    clangxx=${LYAVUTILS_CLANGXX:-clang++-14}
    llvm_suffix=${LYAVUTILS_LLVM_SUFFIX:--14}

    section "coverage: every vector kernel runs"
    cov=$root/coverage
    configure "$cov" -DCMAKE_CXX_COMPILER="$clangxx" -DLYAVUTILS_BUILD_BENCH=OFF -DLYAVUTILS_BUILD_TOOLS=OFF \
        -DLYAVUTILS_BUILD_SHARED=OFF "-DCMAKE_CXX_FLAGS=-fprofile-instr-generate -fcoverage-mapping" \
        -DCMAKE_EXE_LINKER_FLAGS=-fprofile-instr-generate
    cmake --build "$cov" -j "$jobs"
    rm -rf "$cov/profiles"
    LLVM_PROFILE_FILE="$cov/profiles/%p-%m.profraw" \
        ctest --test-dir "$cov" -j "$jobs" --output-on-failure -LE install
    "llvm-profdata$llvm_suffix" merge -sparse "$cov"/profiles/*.profraw -o "$cov/tests.profdata"
    mapfile -t test_programs < <(find "$cov/tests" -maxdepth 1 -type f -name 'test_*' -perm -u+x | sort)
    python3 "$src/tools/check-kernel-coverage.py" --llvm-cov "llvm-cov$llvm_suffix" \
        --cxxfilt "llvm-cxxfilt$llvm_suffix" --profdata "$cov/tests.profdata" --source-root "$src" \
        "${test_programs[@]}"

    section "fuzz targets: short runs over the corpus"
    fuzz=$root/fuzz
    configure "$fuzz" -DCMAKE_CXX_COMPILER="$clangxx" -DLYAVUTILS_BUILD_FUZZ=ON -DLYAVUTILS_BUILD_TESTS=OFF \
        -DLYAVUTILS_BUILD_BENCH=OFF -DLYAVUTILS_BUILD_TOOLS=OFF -DLYAVUTILS_BUILD_SHARED=OFF \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo
    cmake --build "$fuzz" -j "$jobs"
    for target in "$fuzz"/fuzz/fuzz_*; do
        [ -x "$target" ] || continue
        name=$(basename "$target")
        work="$fuzz/corpus-work/$name"
        mkdir -p "$work"
        # The corpus directory replays every regression input first.
        if ! ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
            "$target" -max_total_time="${LYAVUTILS_FUZZ_SECONDS:-15}" -artifact_prefix="$fuzz/" \
            "$work" "$src/fuzz/corpus/$name" >"$work.log" 2>&1; then
            tail -n 60 "$work.log"
            echo "fuzz target $name failed (log: $work.log)"
            exit 1
        fi
        echo "$name: $(grep -E '^Done' "$work.log" || echo done)"
    done
fi

section "all test configurations passed"
