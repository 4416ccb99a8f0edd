#!/usr/bin/env bash
# Builds the libraries, the command-line tool and the tests.
#
#   scripts/build.sh [PRESET]      release (into build/, the default), sanitize, m32, bench (into build-PRESET/)
#
# As root, missing Debian packages are installed first; otherwise the script says which they are.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh

preset=${1:-release}
case "$preset" in
  release) folder=build; install_packages build ;;
  bench) folder=build-bench; install_packages build bench ;;
  *) folder=build-$preset; install_packages build test ;;
esac

cmake --preset "$preset"
cmake --build --preset "$preset"
if [ -x "$folder/bin/vxtif" ]; then
  echo "Built: $folder/bin/vxtif, $folder/lib/"
else
  echo "Built: $folder/lib/"
fi
