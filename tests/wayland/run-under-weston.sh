#!/bin/sh
# SPDX-FileCopyrightText: 2026 The Vantles Authors
# SPDX-License-Identifier: BSD-3-Clause
# Runs a command as a client of a real Wayland compositor: weston, with its
# X11 backend in the X server the caller started (run-in-xvfb.sh), its output as
# large as that screen at its top-left corner, so that X11 and the output
# share coordinates. That backend has an input seat, which Qt's Wayland text
# input needs, and takes the pointer and keys that xdotool sends to the X
# server; --debug lets weston-screenshooter take screenshots.
#   run-under-weston.sh WIDTH HEIGHT COMMAND [ARGUMENTS...]
set -u
width=$1
height=$2
shift 2

runtime=$(mktemp -d)
chmod 700 "$runtime"
export XDG_RUNTIME_DIR="$runtime"
socket="vantles-test-$$"

weston --backend=x11-backend.so --use-pixman --width="$width" --height="$height" --socket="$socket" \
    --idle-time=0 --debug --log="$runtime/weston.log" &
weston_pid=$!
trap 'kill "$weston_pid" 2>/dev/null; wait "$weston_pid" 2>/dev/null; rm -rf "$runtime"' EXIT

i=0
while [ ! -S "$runtime/$socket" ] && [ "$i" -lt 600 ]; do
    sleep 0.1
    i=$((i + 1))
done
if [ ! -S "$runtime/$socket" ]; then
    echo "run-under-weston: weston did not start:" >&2
    cat "$runtime/weston.log" >&2
    exit 1
fi

WAYLAND_DISPLAY="$socket" QT_QPA_PLATFORM=wayland "$@"
status=$?
if [ "$status" -ne 0 ]; then
    echo "run-under-weston: weston's log:" >&2
    tail -n 30 "$runtime/weston.log" >&2
fi
exit "$status"
