#!/usr/bin/env bash
# Builds and runs all tests: release, AddressSanitizer with UndefinedBehaviorSanitizer, 32-bit x86, and each fuzz target
# for 20 seconds.
#
#   scripts/test.sh [--all] [release|sanitize|m32|fuzz|armhf|windows]...     only the named builds; the first four
#                                                                            without names, all six with --all alone
#
# --all runs also what takes minutes or writes gibibytes: hostile files at full size, a save of 2 GiB, the command line
# under the sanitizers, and the targets armhf and windows (scripts/test-armhf.sh, scripts/test-windows.sh). Each of those
# builds everything that it runs once more, and the four already take nearly as long as a normal run may.
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

sanitize_options=()
if [ "${1:-}" = --all ]; then
  export VX_TEST_ALL=1
  sanitize_options=(-DVXTIF_BUILD_TOOLS=ON)
  shift
  [ $# -gt 0 ] || set -- release sanitize m32 fuzz armhf windows
fi
[ $# -gt 0 ] || set -- release sanitize m32 fuzz

build_and_test() {
  case "$1" in
    armhf | windows) "scripts/test-$1.sh" ;;
    *)
      echo "== $1: building"
      local options=()
      [ "$1" != sanitize ] || options=("${sanitize_options[@]}")
      cmake --preset "$1" "${options[@]}" >/dev/null || return
      cmake --build --preset "$1" || return
      echo "== $1: testing"
      ctest --preset "$1" -j "$(nproc)"
      ;;
  esac
}

passed=0 failed=0 faults=0
for build in "$@"; do
  log=$(mktemp)
  status=0
  build_and_test "$build" | tee "$log" || status=$?
  # One such line for each run of ctest.
  total=$(sed -n 's/^[0-9]*% tests passed, \([0-9]*\) tests failed out of \([0-9]*\)$/\1 \2/p' "$log" |
    awk '{bad += $1; all += $2} END {if (NR) print bad, all}')
  rm -f "$log"
  read -r bad all <<<"${total:-1 1}"
  failed=$((failed + bad)) passed=$((passed + all - bad))
  folder=build
  [ "$build" = release ] || folder=build-$build
  injected=0
  results=$folder/Testing/Temporary/LastTest.log
  [ ! -f "$results" ] || injected=$(awk '/^injected faults: [0-9]+$/ {n += $3} END {print n + 0}' "$results")
  echo "== $build: $injected faults injected"
  faults=$((faults + injected))
  [ "$status" = 0 ] || [ "$bad" -gt 0 ] || failed=$((failed + 1))
done
echo "injected faults: $faults"
echo "test programs: $passed passed, $failed failed"
echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
