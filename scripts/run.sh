#!/usr/bin/env bash
# What `make run` does after the build: writes the demo clip once, then plays it in the player.
# Without a usable display it converts the clip to a red/cyan anaglyph video instead.
set -euo pipefail
cd "$(dirname "$0")/.."
demo=build/quorvex-demo.mkv
[ -f "$demo" ] || ./build/quorvex demo "$demo" >/dev/null

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && { [ -z "${DISPLAY:-}" ] || xdpyinfo >/dev/null 2>&1; }; then
  exec ./build/quorvex "$demo"
fi

out=build/quorvex-demo-anaglyph.mkv
echo "No display here: converting the demo clip to a red/cyan anaglyph instead."
./build/quorvex convert "$demo" -o "$out" --format parallel --method anaglyph-red-green
echo "Written: $out"
