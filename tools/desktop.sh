#!/usr/bin/env bash
# Runs a program on a private virtual display with a window manager, takes a screenshot once its window has
# settled, and ends it: tools/desktop.sh SCREENSHOT.png PROGRAM [ARGUMENT...]
# SIZE (1280x900x24) sets the display; HOLD=1 keeps the program running until it ends by itself.
set -euo pipefail
shot=$1
shift
work=$(mktemp -d)
pids=()
clean_up() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap clean_up EXIT

mkfifo "$work/display"
Xvfb -displayfd 3 -screen 0 "${SIZE:-1280x900x24}" -nolisten tcp +extension RANDR 3>"$work/display" >"$work/xvfb.log" 2>&1 &
pids+=($!)
read -r number <"$work/display"
export DISPLAY=:$number QT_QPA_PLATFORM=xcb XDG_RUNTIME_DIR=$work/run
mkdir -p -m 700 "$XDG_RUNTIME_DIR"

openbox >"$work/openbox.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do
  xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break
  sleep 0.05
done

"$@" &
program=$!
pids+=("$program")
for _ in $(seq 200); do
  xwininfo -root -tree 2>/dev/null | grep -q 'Image Processing' && break
  kill -0 "$program" 2>/dev/null || { wait "$program"; exit 1; }
  sleep 0.05
done
sleep "${SETTLE:-1.5}"
mkdir -p "$(dirname "$shot")"
import -window root "$shot"
if [ -n "${HOLD:-}" ]; then wait "$program"; fi
