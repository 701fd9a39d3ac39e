#!/usr/bin/env bash
# Installs a build into a temporary DESTDIR and checks what landed there the way the desktop and
# the shell will read it: the desktop entry, the AppStream metadata, the script MIME type, the
# icons, the manual page (which must list what --help lists) and the bash completion.
#   scripts/check-install.sh BUILD_DIR APP_ID
set -euo pipefail
build=$1
id=$2
source_dir=$(cd "$(dirname "$0")/.." && pwd)
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
DESTDIR=$root cmake --install "$build" --prefix /usr >/dev/null
usr=$root/usr
share=$usr/share
status=0
fail() {
  echo "FAIL: $*" >&2
  status=1
}

# --- What landed where ---
desktop=$share/applications/$id.desktop
metainfo=$share/metainfo/$id.metainfo.xml
man=$share/man/man1/quorvex.1.gz
completion=$share/bash-completion/completions/quorvex
svg=$share/icons/hicolor/scalable/apps/$id.svg
for f in "$usr/bin/quorvex" "$desktop" "$metainfo" "$man" "$completion" "$svg" \
  "$share/mime/packages/$id.xml" "$share/doc/quorvex/manual.html"; do
  [ -s "$f" ] || fail "nothing installed at ${f#"$root"}"
done
[ "$status" -eq 0 ] || exit 1
quorvex=$usr/bin/quorvex
help=$("$quorvex" --help)
version=$("$quorvex" --version | awk '{print $2}')

# --- Icons: every size, and the scalable one draws the same picture as the pixel ones ---
for size in 16 22 24 32 48 64 128 256; do
  png=$share/icons/hicolor/${size}x${size}/apps/$id.png
  file -b "$png" 2>/dev/null | grep -q "PNG image data, $size x $size," ||
    fail "no ${size}x$size PNG icon: $(file -b "$png" 2>&1)"
done
if rsvg-convert -w 256 -h 256 -b none "$svg" -o "$root/svg.png"; then
  # RMSE of the two pictures, 0 (equal) to 1; compare fails when they differ at all.
  difference=$({ compare -metric RMSE "$root/svg.png" \
    "$share/icons/hicolor/256x256/apps/$id.png" null: 2>&1 || true; } | sed -E 's/.*\((.*)\).*/\1/')
  awk -v d="$difference" 'BEGIN { exit !(d < 0.05) }' ||
    fail "the SVG icon does not draw the PNG icons' picture (RMSE $difference)"
else
  fail "the SVG icon does not render"
fi

# --- Desktop entry ---
warnings=$(desktop-file-validate "$desktop" 2>&1) || true
[ -z "$warnings" ] || fail "desktop-file-validate: $warnings"
entry() { sed -n "s/^$1=//p" "$desktop"; }
[ -x "$usr/bin/$(entry Exec | awk '{print $1}')" ] || fail "Exec= names no installed program"
[ -f "$share/icons/hicolor/scalable/apps/$(entry Icon).svg" ] || fail "Icon= names no icon"
# Every type the entry claims is one the desktop knows: ours, or one of shared-mime-info's.
cp -r "$share/mime" "$root/mime"
update-mime-database "$root/mime" >"$root/mime.txt" 2>&1 ||
  fail "update-mime-database refuses our MIME package: $(cat "$root/mime.txt")"
IFS=';' read -r -a types <<<"$(entry MimeType)"
for type in "${types[@]}"; do
  [ -f "$root/mime/$type.xml" ] ||
    grep -qE "<(mime-type|alias) type=\"$type\"" /usr/share/mime/packages/freedesktop.org.xml ||
    fail "MimeType $type is not a known type"
done

# --- AppStream metadata ---
appstreamcli validate --no-net --pedantic "$metainfo" >"$root/appstream.txt" 2>&1 ||
  fail "appstreamcli validate: $(cat "$root/appstream.txt")"
grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$metainfo" ||
  fail "the metadata does not launch $id.desktop"
grep -q "<release version=\"$version\"" "$metainfo" ||
  fail "the metadata has no release entry for version $version"
screenshot=$(sed -nE 's#.*<image[^>]*width="([0-9]+)" height="([0-9]+)">[^<]*/([^/<]+)</image>.*#\3 \1 \2#p' "$metainfo")
read -r shot width height <<<"$screenshot"
file -b "$source_dir/data/screenshots/$shot" 2>/dev/null | grep -q "PNG image data, $width x $height," ||
  fail "the screenshot $shot is not a ${width}x$height picture in data/screenshots"

# --- Manual page: renders without warnings, and names the commands and options of --help and
# of the commands whose own --help lists their operations (a section "IMAGE OPERATIONS") ---
man_warnings=$(MANWIDTH=100 man --warnings -l "$man" 2>&1 >/dev/null) || fail "man -l fails"
[ -z "$man_warnings" ] || fail "the manual page renders with warnings: $man_warnings"
page=$(MANWIDTH=100 LC_ALL=C.UTF-8 man -l "$man" 2>/dev/null)
for section in NAME SYNOPSIS DESCRIPTION COMMANDS OPTIONS "EXIT STATUS" ENVIRONMENT FILES EXAMPLES; do
  grep -qx "$section" <<<"$page" || fail "the manual page has no $section section"
done
options() { grep -oE -- '(^|[] ,|[(])--?[a-z][a-z0-9-]*' | sed -E 's/^[] ,|[(]//' | sort -u; }
commands() { grep -oE '^ *quorvex [a-z]+( |$)' | awk '{print $2}' | sort -u; }
operation_commands=$(sed -n 's/^\([A-Z]*\) OPERATIONS$/\1/p' <<<"$page" | tr '[:upper:]' '[:lower:]')
all_help=$help
for command in $operation_commands; do
  all_help+=$'\n'$("$quorvex" "$command" --help) || fail "quorvex $command --help fails"
done
diff <(options <<<"$all_help") <(options <<<"$page") >"$root/options.diff" ||
  fail "--help (<) and the manual page (>) list different options: $(cat "$root/options.diff")"
diff <(commands <<<"$help") <(commands <<<"$page") >"$root/commands.diff" ||
  fail "--help (<) and the manual page (>) list different commands: $(cat "$root/commands.diff")"

# --- Bash completion: loads, and offers what --help lists ---
# The names listed under an option of --help: "  --format ..." then rows "      1  name  text"
# (a row's text may go on in lines indented further).
value_names() {
  awk -v option="$1" '$1 == option { inside = 1; next }
    inside && /^      / {
      if (match($0, /[^ ]/) <= 12) print ($1 ~ /^[0-9]+$/ && NF > 1) ? $2 : $1
      next
    }
    { inside = 0 }' <<<"$help" | sort -u
}
mkdir "$root/files"
touch "$root/files/clip.mkv"
# A command's own --help lists "  OPERATION INPUTS  (member)", then its options "      --NAME ...".
operations() { awk '/^Operations:/ { on = 1; next } on && /^  [a-z]/ { print $1 }' | sort -u; }
operation_options() {
  awk -v want="$1" '/^Operations:/ { on = 1; next } on && /^  [a-z]/ { op = $1 }
    on && op == want && /^      --/ { print $1 }' | sort -u
}
for command in $operation_commands; do
  # The first operation that has options of its own.
  command_help=$("$quorvex" "$command" --help)
  first_operation=$(awk '/^Operations:/ { on = 1; next } on && /^  [a-z]/ { op = $1 }
    on && /^      --/ { print op; exit }' <<<"$command_help")
done
completions=$(cd "$root/files" && bash --norc --noprofile -c '
  source /usr/share/bash-completion/bash_completion
  source "$1"
  complete -p quorvex >/dev/null || { echo "no completion for quorvex"; exit 1; }
  # What bash offers at the end of a line (given, then split into words as bash splits it).
  offers() {
    COMP_LINE=$1; COMP_POINT=${#COMP_LINE}; shift
    COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMPREPLY=()
    _quorvex quorvex "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}"
    printf "%s\n" "${COMPREPLY[@]}" | sort -u | tr "\n" " "; echo
  }
  offers "quorvex " quorvex ""
  offers "quorvex render clip.mkv --format " quorvex render clip.mkv --format ""
  offers "quorvex render clip.mkv --method=anaglyph-" quorvex render clip.mkv --method = anaglyph-
  offers "quorvex convert clip.mkv --fr" quorvex convert clip.mkv --fr
  offers "quorvex convert clip.mkv -o cl" quorvex convert clip.mkv -o cl
  for command in $2; do
    offers "quorvex $command " quorvex "$command" ""
    offers "quorvex $command $3 clip.mkv --" quorvex "$command" "$3" clip.mkv --
  done
' bash "$completion" "$operation_commands" "${first_operation:=}" 2>&1) ||
  fail "the completion does not load: $completions"
expect_line() {
  local n=$1 expected=$2 got
  got=$(sed -n "${n}p" <<<"$completions")
  [ "$got" = "$expected" ] || fail "completion $3: expected '$expected', got '$got'"
}
expect_line 1 "$({ commands <<<"$help"; echo clip.mkv; } | sort -u | tr '\n' ' ')" "of a command"
expect_line 2 "$(value_names --format | tr '\n' ' ')" "of --format's values"
expect_line 3 "$(value_names --method | grep '^anaglyph-' | tr '\n' ' ')" "of --method=anaglyph-"
expect_line 4 "--frames " "of a convert option"
expect_line 5 "clip.mkv " "of -o's file"
line=6
for command in $operation_commands; do
  command_help=$("$quorvex" "$command" --help)
  got=$(sed -n "${line}p" <<<"$completions" | tr ' ' '\n' | grep -v -e '^-' -e '^$' | sort -u)
  [ "$got" = "$(operations <<<"$command_help")" ] ||
    fail "completion of $command's operations: got '$(tr '\n' ' ' <<<"$got")'"
  missing=$(comm -23 <(operation_options "$first_operation" <<<"$command_help") \
    <(sed -n "$((line + 1))p" <<<"$completions" | tr ' ' '\n' | sort -u))
  [ -z "$missing" ] || fail "completion of $command $first_operation's options lacks: $missing"
  line=$((line + 2))
done

[ "$status" -eq 0 ] && echo "installed files check out"
exit "$status"
