#!/usr/bin/env bash
# Builds the libraries and the command-line tool; the tests too in the other presets than release.
#
#   scripts/build.sh [PRESET]      release (into build/, the default), sanitize, m32, bench, fuzz (into build-PRESET/)
#
# As root, missing Debian packages are installed first; otherwise the script says which they are.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

preset=${1:-release}
case "$preset" in
  release) folder=build; install_packages build ;;
  bench | fuzz) folder=build-$preset; install_packages build "$preset" ;;
  *) folder=build-$preset; install_packages build test ;;
esac

options=()
[ "$preset" != release ] || options=(-DVXTIF_BUILD_TESTS=OFF)
cmake --preset "$preset" "${options[@]}"
cmake --build --preset "$preset"
if [ -x "$folder/bin/vxtif" ]; then
  echo "Built: $folder/bin/vxtif, $folder/lib/"
else
  echo "Built: $folder/lib/"
fi
