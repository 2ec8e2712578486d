#!/usr/bin/env bash
# Installs what is needed, then builds and runs every test: a warnings-as-errors build with the
# whole suite (end-to-end tests included), an AddressSanitizer + UndefinedBehaviorSanitizer build,
# a ThreadSanitizer build of the threaded tests, a short fuzzing run and the clang-format check.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
jobs=$(nproc)
start=$(date +%s)

bash scripts/install-deps.sh

echo "== clang-format"
git ls-files -- '*.cpp' '*.h' '*.c' '*.mm' | xargs clang-format --dry-run --Werror

configure() {  # dir, extra cmake args...
    local dir=$1
    shift
    cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DMAVO_WERROR=ON "$@" >/dev/null
}

echo "== build (warnings as errors)"
configure build/release
cmake --build build/release -j "$jobs"
echo "== tests"
(cd build/release && ctest --output-on-failure -j "$jobs" -LE e2e)
if ctest --test-dir build/release -N -L e2e | grep -q "Total Tests: [1-9]"; then
    echo "== end-to-end tests"
    (cd build/release && ctest --output-on-failure -L e2e)
fi

echo "== packaging: desktop entry, metainfo, Debian package"
desktop-file-validate packaging/com.quastorn.mavo.desktop
appstreamcli validate --no-net packaging/com.quastorn.mavo.metainfo.xml
pkg_out=$(mktemp -d /tmp/mavo-test-package.XXXXXX)
deb=$(bash scripts/package.sh "$pkg_out" | tail -n 1)
# Errors fail the run; warnings are shown.
lintian --fail-on error "$deb"
rm -rf "$pkg_out"

echo "== AddressSanitizer + UndefinedBehaviorSanitizer"
configure build/asan -DMAVO_SANITIZE=address,undefined -DCMAKE_BUILD_TYPE=Debug -DMAVO_BUNDLE_CORE=OFF
cmake --build build/asan -j "$jobs"
(cd build/asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --output-on-failure -j "$jobs" -L 'unit|threads')
# The platform tests load GLib, D-Bus and XCB, whose one-time process-wide allocations the leak
# checker cannot tell from leaks; memory errors and undefined behaviour are still fatal there.
(cd build/asan && ASAN_OPTIONS=detect_leaks=0 UBSAN_OPTIONS=print_stacktrace=1 \
    ctest --output-on-failure -j "$jobs" -L platform)

echo "== ThreadSanitizer"
configure build/tsan -DMAVO_SANITIZE=thread -DCMAKE_BUILD_TYPE=Debug -DMAVO_BUNDLE_CORE=OFF
cmake --build build/tsan -j "$jobs" --target mavo_thread_tests
(cd build/tsan && TSAN_OPTIONS=halt_on_error=1 ctest --output-on-failure -j "$jobs" -L threads)

echo "== fuzzing (short run)"
# A tiny clang build of just the fuzz targets, each fuzzed for a few seconds from its seeds; new
# inputs go to a scratch folder, never into the tree.
CC=clang CXX=clang++ cmake -S "$root" -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DMAVO_FUZZ=ON -DMAVO_BUILD_TESTS=OFF -DMAVO_BUNDLE_CORE=OFF >/dev/null
cmake --build build/fuzz -j "$jobs" --target mavo_fuzz
for target in PlacementFile SettingsFile Title; do
    scratch=$(mktemp -d)
    if ! build/fuzz/tests/fuzz/mavo_fuzz_$target -max_total_time=5 -max_len=4096 \
        -dict=tests/fuzz/json.dict -artifact_prefix=build/fuzz/ "$scratch" \
        "tests/fuzz/corpus/$target" >"build/fuzz/$target.log" 2>&1; then
        cat "build/fuzz/$target.log"
        exit 1
    fi
    echo "$target: $(tail -n 1 "build/fuzz/$target.log")"
    rm -rf "$scratch"
done

echo "== all tests passed in $(( $(date +%s) - start )) s"
