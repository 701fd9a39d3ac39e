#!/usr/bin/env bash
# Installs the Debian packages that building, running and testing Quorvex need.
# Idempotent: when everything is present it only asks dpkg and returns.
set -euo pipefail

packages=(
  build-essential cmake pkg-config git
  clang libclang-rt-14-dev clang-format
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  qt6-base-dev qt6-base-dev-tools qt6-qpa-plugins libqt6opengl6-dev libgl-dev libglu1-mesa-dev
  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev libswresample-dev libavfilter-dev
  libsdl2-dev libxrandr-dev
  ffmpeg xvfb xauth x11-utils xdotool imagemagick fonts-dejavu-core
  libgl1-mesa-dri xdg-utils ccache
  qt6-svg-dev dpkg-dev file desktop-file-utils appstream shared-mime-info man-db groff-base
  bash-completion librsvg2-bin
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then
  SUDO="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
