# Debian packages that the project needs, and functions that install packages
# and build presets. Other scripts source this file.
# shellcheck shell=sh disable=SC2034

build_packages="g++ cmake ninja-build pkg-config qt6-base-dev qt6-svg-dev libudev-dev
  libxcb1-dev libxcb-res0-dev libxcb-xtest0-dev libxcb-xkb-dev libxcb-xinput-dev
  libxkbcommon-dev libxkbcommon-x11-dev libwayland-dev libsystemd-dev libglib2.0-dev"
display_packages="xvfb xauth fonts-dejavu-core"
picture_packages="xdotool openbox imagemagick bubblewrap"
test_packages="libgtest-dev libgmock-dev libumockdev-dev umockdev gir1.2-umockdev-1.0 xdotool openbox
  at-spi2-core gir1.2-atspi-2.0 python3 python3-gi dbus bubblewrap x11-utils imagemagick
  xterm python3-tk x11-xserver-utils desktop-file-utils appstream mandoc dpkg-dev file
  strace"
package_packages="dpkg-dev debootstrap mmdebstrap lintian"
document_packages="doxygen"
bench_packages="libbenchmark-dev"
check_packages="clang clang-format clang-tidy libclang-rt-dev shellcheck"

# need_packages PACKAGE...: installs missing packages. Without permission to do so, prints the
# apt-get command and exits with status 1.
need_packages() {
  missing=""
  for package in "$@"; do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -q '^installed$' ||
      missing="$missing $package"
  done
  [ -n "$missing" ] || return 0
  if [ "$(id -u)" = 0 ]; then
    as_root="env"
  elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
    as_root="sudo"
  else
    echo "Packages are missing. Install them:" >&2
    echo "  sudo apt-get install$missing" >&2
    exit 1
  fi
  echo "Installing$missing"
  $as_root apt-get update -qq
  # shellcheck disable=SC2086
  $as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

# build_preset PRESET [TARGET...]: configures and builds a preset of CMakePresets.json.
build_preset() {
  preset=$1
  shift
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" ${1:+--target "$@"}
}
