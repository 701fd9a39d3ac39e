#!/usr/bin/env bash
# Runs a command with an X display: the current one when there is one, otherwise a private Xvfb.
set -euo pipefail
if [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; then
  exec "$@"
fi
exec xvfb-run -a -s "-screen 0 1280x1024x24" "$@"
