#!/usr/bin/env bash
# Builds the fuzz targets and runs each for a while, two at a time.
#
#   scripts/fuzz.sh [MINUTES] [TARGET...]      5 minutes for each target without arguments
#
# Prints executions, coverage and finds. What the targets learn stays in build-fuzz/corpus for the next run, finds in
# build-fuzz/fuzz/found. Whole files to start from besides the seeds can be named by VXTIF_FUZZ_EXTRA, a folder.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build fuzz
minutes=${1:-5}
[ $# -eq 0 ] || shift
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
exec python3 fuzz/run_targets.py build-fuzz/fuzz --seconds $((minutes * 60)) --corpus build-fuzz/corpus \
  ${VXTIF_FUZZ_EXTRA:+--extra "$VXTIF_FUZZ_EXTRA"} "$@"
