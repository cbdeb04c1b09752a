#!/bin/sh
# SPDX-FileCopyrightText: 2026 The Vantles Authors
# SPDX-License-Identifier: BSD-3-Clause

# Runs a command in an X server of its own with a screen of SIZE pixels.
#   run-in-xvfb.sh SIZE COMMAND [ARGUMENTS...]
# The server picks a free display number itself (-displayfd) and says which
# once it accepts clients: runs started at the same moment, by this script or
# anything else on the machine, never share one, as they could with the
# number that xvfb-run -a guesses from the lock files it sees. -noreset: an
# X server resets when its last client leaves and refuses clients meanwhile,
# so a program that connects just as a helper (the accessibility bus
# launcher, xdotool) disconnects would find no display.
size=$1
shift
dir=$(mktemp -d) || exit 1
server=
stop() {
    [ -n "$server" ] && kill "$server" 2>/dev/null && wait "$server" 2>/dev/null
    rm -rf "$dir"
}
trap 'stop; exit 130' INT TERM HUP

Xvfb -displayfd 3 -screen 0 "${size}x24" -nolisten tcp -noreset 3>"$dir/display" >"$dir/log" 2>&1 &
server=$!
tries=0
until grep -q '^[0-9][0-9]*$' "$dir/display" 2>/dev/null; do
    if ! kill -0 "$server" 2>/dev/null || [ $tries -ge 300 ]; then
        echo "run-in-xvfb.sh: Xvfb did not start:" >&2
        cat "$dir/log" >&2
        stop
        exit 1
    fi
    tries=$((tries + 1))
    sleep 0.1
done

DISPLAY=:$(cat "$dir/display") "$@"
status=$?
stop
exit $status
