#!/usr/bin/env bash
# Builds the Windows libraries with mingw-w64, 32-bit and 64-bit (into build-windows-i686/ and build-windows-x86_64/),
# reads the export table of both built files (each listed name under its ordinal, nothing else), and runs the target tests
# under wine.
#
#   scripts/test-windows.sh
#
# The layouts of all records are checked while it builds. Without a wine for a machine's programs its tests are skipped,
# with a line that says why: 32-bit programs need wine32:i386, which this script does not install, since that takes a
# second architecture. Wine keeps its files in the build folder. Installs the Debian packages that are missing (as root).
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
install_packages build windows

have_wine() {
  case "$1" in
    i686) [ -x /usr/lib/wine/wine ] || [ -x /usr/lib/wine/wine32 ] ;;
    x86_64) [ -x /usr/lib/wine/wine64 ] || [ -x /usr/lib/x86_64-linux-gnu/wine/wine64 ] ;;
  esac
}

# No windows, no downloads, and the libraries' folder on the search path of the programs.
prepare_wine() {
  export WINEPREFIX="$PWD/build-windows-$1/wine" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree=;mshtml="
  export WINEPATH="Z:${PWD//\//\\}\\build-windows-$1\\bin"
  wineserver -p || true # started once, not for every program; fails when one is running already
  wine wineboot --init >/dev/null 2>&1
}

status=0
have_wine x86_64 || install_packages wine || true
for machine in i686 x86_64; do
  preset=windows-$machine
  echo "== $preset"
  cmake --preset "$preset" >/dev/null
  if have_wine "$machine"; then
    cmake --build --preset "$preset" --target vxtif target_tests
    prepare_wine "$machine"
    ctest --preset "$preset" -L target -j "$(nproc)" || status=$?
    wineserver -k || true
  else
    cmake --build --preset "$preset" --target vxtif record_layout_test drive_exports
    ctest --preset "$preset" -R '^export_table$' || status=$?
    echo "$preset: target tests skipped: no wine for $machine programs is installed"
  fi
done
echo "windows: $SECONDS seconds"
exit "$status"
