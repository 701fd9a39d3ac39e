#!/usr/bin/env bash
# Checks that every #include in src/ points to its own room or to a room below it. The rooms, from
# the bottom up; rooms on one line sit side by side and may not include each other.
set -euo pipefail
cd "$(dirname "$0")/../src"
levels=(
  "base"
  "image"
  "imageproc"
  "stereo convert"
  "video"
  "playback"
  "output display"
  "shell"
  "cli"
)
declare -A level
for i in "${!levels[@]}"; do
  for room in ${levels[$i]}; do level[$room]=$i; done
done
status=0
while IFS= read -r line; do
  file=${line%%:*}
  target=$(sed -E 's/.*#include "([a-z]+)\/.*/\1/' <<<"$line")
  room=${file%%/*}
  [ "$room" = "$target" ] && continue
  if [ -z "${level[$room]:-}" ] || [ -z "${level[$target]:-}" ]; then
    echo "$line: room '$room' or '$target' is not in the layering table"; status=1
  elif [ "${level[$target]}" -ge "${level[$room]}" ]; then
    echo "$line: $room may not include $target"; status=1
  fi
done < <(grep -rnE '^#include "[a-z]+/' --include='*.h' --include='*.cpp' --include='*.inl' .| sed 's#^\./##')
exit $status
