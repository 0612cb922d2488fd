#!/usr/bin/env bash
# The program on a real (virtual) desktop with a window manager, driven by mouse and keys as a user would:
# tests/desktop_smoke.sh PROGRAM PICTURE. Exit 77: the desktop's tools are not installed.
set -euo pipefail
program=$1 picture=$2

for tool in Xvfb openbox xdotool xwininfo xprop; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done

work=$(mktemp -d)
pids=()
clean_up() {
  for pid in "${pids[@]}"; do kill -9 "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap clean_up EXIT

step=start
fail() { echo "FAILED at: $step: $*"; exit 1; }
begin() { step=$1; echo "$step"; }
# until_true SECONDS COMMAND...: polls; false when the time is over.
until_true() {
  local left=$(($1 * 20))
  shift
  until "$@" >/dev/null 2>&1; do
    left=$((left - 1))
    [ "$left" -gt 0 ] || return 1
    sleep 0.05
  done
}

# ---- the desktop
mkfifo "$work/display"
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3<>"$work/display" >"$work/xvfb.log" 2>&1 &
pids+=($!)
read -r -t 10 number <"$work/display" || fail "no display"
mkdir -m 700 "$work/run" "$work/home"
export DISPLAY=:$number QT_QPA_PLATFORM=xcb XDG_RUNTIME_DIR=$work/run HOME=$work/home
export QUILLMARK_SETTINGS_DIR=$work/settings QUILLMARK_PROGRAM_DIR=$work/program
unset XDG_CONFIG_HOME XDG_DATA_HOME QT_SCALE_FACTOR QUILLMARK_THEME
mkdir "$work/program"
openbox >"$work/openbox.log" 2>&1 &
pids+=($!)
has_manager() { xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'; }
until_true 20 has_manager || { cat "$work"/*.log; fail "no window manager"; }

# ---- the program: sets `pid` and `window`
window_of() { xdotool search --all --onlyvisible --pid "$1" --name '^Image Processing $' 2>/dev/null | tail -1; }
has_window() { [ -n "$(window_of "$1")" ]; }
launch() {
  "$program" "$@" 2>>"$work/program.log" &
  pid=$!
  pids+=("$pid")
  until_true 10 has_window "$pid" || fail "no window"
  window=$(window_of "$pid")
  until_true 5 activate "$window" || fail "the window was not activated"
}
# A window manager may leave the focus where it is when another window comes up.
activate() {
  xdotool windowactivate "$1" && sleep 0.05 && [ "$(xdotool getactivewindow)" = "$1" ]
}
geometry() { xwininfo -id "$1" | awk '/Absolute|Width|Height/ {printf "%s ", $NF}'; }
geometry_is() { [ "$(geometry "$1")" = "$2" ]; }
geometry_is_not() { [ "$(geometry "$1")" != "$2" ]; }
gone() { ! kill -0 "$1"; }
key() {
  xdotool key --clearmodifiers "$@"
  sleep 0.2
}
close_by_manager() {
  until_true 5 activate "$1" || fail "the window was not activated"
  key alt+F4
  until_true 5 gone "$2" || fail "the program did not end"
}
setting() { sed -n "s/^\"$1\" = \"\(.*\)\"$/\1/p" "$work/settings/local_machine.registry"; }
remembers() { grep -qF "/$1\"" "$work/settings/local_machine.registry"; }

for name in one two three; do cp "$picture" "$work/$name.png"; done

begin "starts and opens a file by command line"
launch "$work/one.png"
until_true 5 remembers one.png || fail "the file is not among the recent files"

begin "menus by Alt and letters: zoom out"
key alt+v
key o

begin "dragging the caption moves the window"
before=$(geometry "$window")
read -r left top width _ <<<"$before"
xdotool mousemove $((left + width / 2)) $((top + 16)) mousedown 1
for _ in $(seq 8); do
  xdotool mousemove_relative -- 6 5
  sleep 0.03
done
xdotool mouseup 1
until_true 3 geometry_is_not "$window" "$before" || fail "it stays where it was"
sleep 0.3
moved=$(geometry "$window")
read -r left top width height <<<"$moved"

begin "a double-click on the caption maximises, another restores"
double_click() { xdotool mousemove "$1" "$2" click --repeat 2 --delay 60 1; }
double_click $((left + width / 2)) $((top + 16))
until_true 3 geometry_is "$window" "0 0 1024 768 " || fail "not maximised: $(geometry "$window")"
sleep 0.5
double_click 512 12
until_true 3 geometry_is "$window" "$moved" || fail "not restored: $(geometry "$window")"

begin "closing by the window manager saves placement and layout"
close_by_manager "$window" "$pid"
[ "$(setting Left)" = $((left * 15)) ] || fail "Left is $(setting Left)"
[ "$(setting Height)" = $((height * 15)) ] || fail "Height is $(setting Height)"
grep -q 'ID_ZoomPercentage.*text="75"' "$work/program/Image Processing.atb" || fail "the zoom is not in the layout"

begin "the next start stands where the last one ended"
launch
until_true 3 geometry_is "$window" "$moved" || fail "$(geometry "$window") instead of $moved"
close_by_manager "$window" "$pid"

begin "an end by force leaves the settings whole"
for pause in 0.02 0.31 0.34; do
  launch "$work/two.png"
  sleep "$pause"
  kill -9 "$pid"
  wait "$pid" 2>/dev/null || true
  head -1 "$work/settings/local_machine.registry" | grep -q 'registry, version 1' || fail "the hive has no head"
  [ "$(setting Left)" = $((left * 15)) ] || fail "the placement is lost"
done
ls "$work/settings" | grep -q broken && fail "a broken hive was kept aside"

begin "two instances at once keep both recent files"
launch "$work/two.png"
first=$pid first_window=$window
launch "$work/three.png"
close_by_manager "$window" "$pid"
close_by_manager "$first_window" "$first"
for name in one two three; do remembers "$name.png" || fail "$name.png is forgotten"; done

[ -s "$work/program.log" ] && { cat "$work/program.log"; fail "the program complained"; }
echo "all steps passed"
