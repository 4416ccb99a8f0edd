#!/usr/bin/env bash
# Builds and runs all tests: release, AddressSanitizer with UndefinedBehaviorSanitizer, 32-bit x86, and each fuzz target
# for 20 seconds.
#
#   scripts/test.sh [--all] [release|sanitize|m32|fuzz]...     only the named builds; all without names
#
# --all runs also what takes minutes or writes gibibytes: hostile files at full size, a save of 2 GiB.
#
# Installs the Debian packages that are missing (as root) and leaves nothing else outside the tree. Tests that try real
# files from elsewhere look for them in VXTIF_CORPUS, or in ../shared/corpus beside the tree, and say so when they skip.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build test fuzz

if [ -z "${VXTIF_CORPUS:-}" ] && [ -d ../shared/corpus ]; then
  VXTIF_CORPUS=$(cd ../shared/corpus && pwd)
fi
export VXTIF_CORPUS="${VXTIF_CORPUS:-}"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1}"

if [ "${1:-}" = --all ]; then
  export VX_TEST_ALL=1
  shift
fi
[ $# -gt 0 ] || set -- release sanitize m32 fuzz
passed=0 failed=0 faults=0
for build in "$@"; do
  echo "== $build: building"
  cmake --preset "$build" >/dev/null
  cmake --build --preset "$build"
  echo "== $build: testing"
  log=$(mktemp)
  status=0
  ctest --preset "$build" -j "$(nproc)" | tee "$log" || status=$?
  total=$(sed -n 's/^[0-9]*% tests passed, \([0-9]*\) tests failed out of \([0-9]*\)$/\1 \2/p' "$log")
  rm -f "$log"
  read -r bad all <<<"${total:-1 1}"
  failed=$((failed + bad)) passed=$((passed + all - bad))
  folder=build
  [ "$build" = release ] || folder=build-$build
  injected=$(awk '/^injected faults: [0-9]+$/ {n += $3} END {print n + 0}' "$folder/Testing/Temporary/LastTest.log")
  echo "== $build: $injected faults injected"
  faults=$((faults + injected))
  [ "$status" = 0 ] || [ "$bad" -gt 0 ] || failed=$((failed + 1))
done
echo "injected faults: $faults"
echo "test programs: $passed passed, $failed failed"
echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
