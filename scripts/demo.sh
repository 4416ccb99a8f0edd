#!/usr/bin/env bash
# Shows what the library does with a file.
#
#   scripts/demo.sh [FILE.tif]
#
# Installs what is missing (as root), builds, takes the given file or a small one of five pages that the tree makes
# itself, describes it, and decodes its pages to PNG files under build/demo/.
set -euo pipefail
given=${1:-}
[ -z "$given" ] || given=$(realpath -- "$given")
cd "$(dirname "$0")/.."
. scripts/packages.sh

echo "Building (a minute or two the first time) ..."
install_packages build
mkdir -p build
if ! { cmake --preset release -DVXTIF_BUILD_TESTS=OFF && cmake --build build; } >build/demo-build.log 2>&1; then
  cat build/demo-build.log >&2
  exit 1
fi

rm -rf build/demo
mkdir -p build/demo
file=$given
if [ -z "$file" ]; then
  file=build/demo/demo.tif
  python3 scripts/make-demo-tiff.py "$file"
  echo "Made a TIFF file of five pages: $file"
fi

echo
echo "What the library says about it:"
build/bin/vxtif info "$file" --page all || status=$?

echo
echo "Decoding its pages ..."
build/bin/vxtif load "$file" build/demo/page.png --page all || status=$?
shopt -s nullglob
pages=(build/demo/page*.png)
if [ "${#pages[@]}" = 0 ]; then
  echo "No page could be decoded."
  exit 1
fi
echo
echo "The decoded pages:"
printf '  %s\n' "${pages[@]/#/$PWD/}"
exit "${status:-0}"
