#!/usr/bin/env bash
# Installs what building, testing and the demo need on Debian 12. Idempotent:
# packages already present are not touched and apt is not asked at all.
set -euo pipefail

packages=(
  cmake ninja-build g++ g++-multilib gcc-multilib pkg-config file
  qtbase5-dev qtbase5-dev-tools libqt5test5
  googletest libbenchmark-dev
  umockdev libumockdev-dev libglib2.0-dev libudev-dev
  xvfb xauth xdotool x11-utils imagemagick librsvg2-bin
  dbus dbus-x11 libunity9
  procps psmisc util-linux
  jq
  tesseract-ocr
  clang-14 libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "installing: ${missing[*]}"
$sudo apt-get update -q
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
