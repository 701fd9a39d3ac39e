#!/usr/bin/env bash
# Renews the manual's pictures of each output: the window tests play the demo clip with every
# glasses type on a private X server and save what reached the screen; the parts that show the
# picture go to docs/images. Needs a build (build/, or the folder given as $1).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
shots=$build/tests/display
QT_QPA_PLATFORM=xcb DBUS_SESSION_BUS_ADDRESS=disabled: SDL_AUDIODRIVER=dummy \
  xvfb-run -a -s "-screen 0 1280x1024x24" "$shots/display_gl_tests" \
  --gtest_filter='*EveryGlassesType*:*LineCodesAroundTheZoomedFrame*' >/dev/null

out=docs/images
mkdir -p "$out"
# Windowed pictures are 640 x 480, centred on the 1280 x 1024 screen: the blit surface's at the
# top of its window, the OpenGL surface's 50 rows lower.
convert "$shots/glasses-1-windowed.png" -crop 320x240+480+392 +repage "$out/interlaced-window.png"
convert "$shots/glasses-1-fullscreen.png" -resize 50% "$out/sync-doubled-fullscreen.png"
convert "$shots/gl-fullscreen-linecode-start.png" -crop 128x12+0+0 +repage -scale 400% \
  "$out/line-code.png"
convert "$shots/glasses-4-windowed.png" -crop 640x480+320+322 +repage -resize 50% \
  "$out/opengl-window.png"
convert "$shots/glasses-4-fullscreen.png" -resize 50% "$out/opengl-fullscreen.png"
convert "$shots/glasses-5-windowed.png" -crop 640x480+320+272 +repage -resize 50% \
  "$out/anaglyph-red-green.png"
convert "$shots/glasses-6-windowed.png" -crop 640x480+320+272 +repage -resize 50% \
  "$out/anaglyph-blue-yellow.png"
convert "$shots/glasses-7-fullscreen.png" -resize 50% "$out/nvidia-fullscreen.png"
echo "Written: $(ls "$out" | tr '\n' ' ')"
