#!/bin/sh
# Shared by run.sh and test.sh: installs the Debian packages Quillmont needs when
# they are missing, then configures and builds it in build/.
set -eu

QM_ROOT=$(cd "$(dirname "$0")/.." && pwd)
QM_BUILD="$QM_ROOT/build"

QM_PACKAGES="cmake ninja-build ccache g++ pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-qpa-plugins qt6-svg-dev
  libmlt++-dev libmlt-dev melt frei0r-plugins
  libavformat-dev libavcodec-dev libavdevice-dev libavutil-dev libavfilter-dev
  libswscale-dev libswresample-dev
  libsdl2-dev libpugixml-dev ffmpeg
  dpkg-dev appstream desktop-file-utils shared-mime-info"

qm_install_missing() {
  missing=""
  for package in $QM_PACKAGES; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
      missing="$missing $package"
    fi
  done
  [ -z "$missing" ] && return 0
  echo "Installing:$missing"
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y $missing
}

qm_build() {
  cmake -S "$QM_ROOT" -B "$QM_BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release
  cmake --build "$QM_BUILD" --parallel "$(nproc)"
}

qm_install_missing
# QM_SETUP_ONLY=1: the packages only, for scripts that build elsewhere.
[ "${QM_SETUP_ONLY:-0}" = 1 ] || qm_build
