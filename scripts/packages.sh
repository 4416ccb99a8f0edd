# shellcheck shell=bash
# Sourced by the scripts: which Debian packages each kind of work needs, and one function that installs what is missing.
#
#   install_packages GROUP...      groups: build, test, bench, fuzz, armhf, windows, wine
#
# As root the missing packages are installed with apt-get; otherwise the function says which to install and fails.

packages_for() {
  case "$1" in
    build) echo g++ cmake ninja-build pkg-config libpng-dev nlohmann-json3-dev libcli11-dev libgtest-dev python3 ;;
    test) echo g++-multilib clang-format python3-numpy python3-tifffile libtiff-tools \
      libimage-exiftool-perl gdal-bin python3-gdal python3-pil geotiff-bin ;;
    bench) echo libbenchmark-dev libtiff-dev ;;
    fuzz) echo clang libclang-rt-14-dev llvm ;;
    # The run-time libraries of the host compiler's version; Debian's own ARM compiler would push g++-multilib out.
    armhf) echo clang binutils-arm-linux-gnueabihf libc6-dev-armhf-cross \
      "libstdc++-$(gcc -dumpversion | cut -d. -f1)-dev-armhf-cross" qemu-user ;;
    windows) echo g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix ;;
    wine) echo wine wine64 ;;
    *) echo "packages.sh: no group '$1'" >&2; return 1 ;;
  esac
}

install_packages() {
  local group missing="" package
  for group in "$@"; do
    for package in $(packages_for "$group"); do
      dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "ok installed" || missing="$missing $package"
    done
  done
  [ -z "$missing" ] && return 0
  if [ "$(id -u)" != 0 ] || ! command -v apt-get >/dev/null; then
    echo "Please install these Debian packages first:$missing" >&2
    return 1
  fi
  echo "Installing Debian packages:$missing"
  apt-get update -qq
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing >/dev/null
}
