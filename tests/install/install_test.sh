#!/usr/bin/env bash
# Installs the library into an empty prefix and uses it from there as a stranger would: the example is built once by
# find_package and once by pkg-config, and each copy saves a page that an independent tool finds equal to its source.
#
#   install_test.sh SOURCE_FOLDER BUILD_FOLDER
set -euo pipefail
source=$1 build=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
prefix=$folder/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null

cmake -S "$source/tests/install/consumer" -B "$folder/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
  -DEXAMPLE="$source/examples/roundtrip.c" >/dev/null
cmake --build "$folder/consumer" >/dev/null

export PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vxtif.pc)")
libraries=$(pkg-config --variable=libdir vxtif)
# shellcheck disable=SC2046
cc -std=c11 "$source/examples/roundtrip.c" -o "$folder/roundtrip" $(pkg-config --cflags --libs vxtif) \
  -Wl,-rpath,"$libraries"

"$source/scripts/make-demo-tiff.py" "$folder/pages.tif"
for example in "$folder/consumer/roundtrip" "$folder/roundtrip"; do
  for page in 0 1 2 4; do # colours, a palette, deep grey, bilevel
    tiffcp -c none "$folder/pages.tif,$page" "$folder/page.tif"
    "$example" "$folder/page.tif" "$folder/saved.tif"
    tiffcmp -t "$folder/page.tif" "$folder/saved.tif"
  done
  if "$example" "$folder/missing.tif" "$folder/never.tif" 2>/dev/null; then
    echo "a missing file was not refused"
    exit 1
  fi
done

"$prefix/bin/vxtif" --version
"$prefix/bin/vxtif" info "$folder/saved.tif"
echo "installed, found by find_package and by pkg-config, and used"
