#!/usr/bin/env bash
# Cross-builds the libraries and the target tests for 32-bit ARM (into build-armhf/) and runs them under qemu-user.
#
#   scripts/test-armhf.sh
#
# The layouts of all records are checked while it builds. Installs the Debian packages that are missing (as root).
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build
install_packages armhf

cmake --preset armhf >/dev/null
cmake --build --preset armhf --target vxtif target_tests
status=0
ctest --preset armhf -L target -j "$(nproc)" || status=$?
echo "armhf: $SECONDS seconds"
exit "$status"
