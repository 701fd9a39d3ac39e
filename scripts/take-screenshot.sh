#!/usr/bin/env bash
# Takes the screenshot that the AppStream metadata shows (data/screenshots/player.png): the demo
# clip playing as a red/cyan anaglyph in the player, on a private X display. Needs a build.
#   scripts/take-screenshot.sh [OUT.png]
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-data/screenshots/player.png}
if [ -z "${QUORVEX_SCREENSHOT_DISPLAY:-}" ]; then
  exec env QUORVEX_SCREENSHOT_DISPLAY=1 xvfb-run -a -s "-screen 0 1280x800x24" "$0" "$out"
fi

home=$(mktemp -d)
trap 'kill "${player:-}" 2>/dev/null || true; rm -rf "$home"' EXIT
export XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data SDL_AUDIODRIVER=dummy
mkdir -p "$XDG_CONFIG_HOME/Quorvex"
printf '[3D]\nGlasses=5\n' >"$XDG_CONFIG_HOME/Quorvex/Quorvex.conf"  # red/cyan glasses
./build/quorvex demo "$home/demo.mkv" >/dev/null
./build/quorvex "$home/demo.mkv" &
player=$!

# Waits until a visible window's title matches; prints its id.
window() {
  for _ in $(seq 50); do
    xdotool search --onlyvisible --name "$1" 2>/dev/null | head -1 && return
    sleep 0.2
  done
  echo "no window '$1'" >&2
  exit 1
}
window "^Toolbar" >/dev/null
sleep 1
xdotool key Return  # the message that tells which layout was guessed
sleep 1
eval "$(xdotool getwindowgeometry --shell "$(window "^Toolbar")")"
xdotool mousemove $((X + 96)) $((Y + 32)) click 1 mousemove 0 0  # Play
sleep 3
# The window takes the video's size when it plays; the control bar stays under it.
eval "$(xdotool getwindowgeometry --shell "$(window "^Toolbar")")"
bar_bottom=$((Y + HEIGHT))
eval "$(xdotool getwindowgeometry --shell "$(window "^Quorvex")")"
import -window root -crop "${WIDTH}x$((bar_bottom - Y))+$X+$Y" +repage -strip "$out"
echo "$out: $(file -b "$out")"
