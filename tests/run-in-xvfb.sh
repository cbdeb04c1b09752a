#!/bin/sh
# SPDX-FileCopyrightText: 2026 The Vantles Authors
# SPDX-License-Identifier: BSD-3-Clause

# Runs a command in an X server of its own with a screen of SIZE pixels.
#   run-in-xvfb.sh SIZE COMMAND [ARGUMENTS...]
# xvfb-run -a takes the first free display number from the one it is given,
# and two runs that look at the same moment take the same one: each run
# starts looking at a number of its own, from its process number.
size=$1
shift
exec xvfb-run -a -n $((100 + $$ % 450 * 2)) -s "-screen 0 ${size}x24" "$@"
