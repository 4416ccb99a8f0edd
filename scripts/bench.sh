#!/usr/bin/env bash
# Builds and runs the benchmarks: the library against libtiff on the same generated inputs, a table of ratios at the end.
# Arguments go to the benchmark program, as --benchmark_filter=decode/.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build bench
cmake --preset bench >/dev/null
cmake --build --preset bench
exec build-bench/bin/vxbench --benchmark_repetitions=3 "$@"
