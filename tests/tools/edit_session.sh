#!/usr/bin/env bash
# One editing session as a user has it: kandor-host edit opens FILE in the editor, the user
# types a new number of lamps and presses Ctrl+Enter (OK). Runs inside an X server (xvfb-run).
#   edit_session.sh BIN_DIR FILE LAMPS [--child]
# Prints "host-exit=N" and, with --child, "embedded=yes|no" from the window tree.
set -u
bin=$1 file=$2 lamps=$3 mode=${4:-}

"$bin/kandor-host" edit $mode "$file" >"$file.out" 2>"$file.err" &
host=$!

win=
for _ in $(seq 1 100); do
    win=$(xdotool search --name '^Edit:' 2>/dev/null | head -1)
    [ -n "$win" ] && break
    sleep 0.1
done
if [ -z "$win" ]; then
    echo "no-editor-window"
    kill "$host" 2>/dev/null
    wait "$host"
    echo "host-exit=$?"
    exit 0
fi
sleep 0.5

if [ "$mode" = "--child" ]; then
    hostwin=$(xdotool search --name '^kandor-host:' | head -1)
    if xwininfo -id "$hostwin" -tree | grep -q "\"Edit: "; then
        echo "embedded=yes"
    else
        echo "embedded=no"
    fi
fi

xdotool windowfocus --sync "$win"
xdotool key alt+l       # the lamp tab
sleep 0.2
xdotool key alt+n       # number of lamps
xdotool key ctrl+a
xdotool type "$lamps"
sleep 0.2
xdotool key ctrl+Return # OK (Enter in the field only moves on)
# An editor that never hands back must not hang the test run.
for _ in $(seq 1 150); do
    kill -0 "$host" 2>/dev/null || break
    sleep 0.1
done
if kill -0 "$host" 2>/dev/null; then
    echo "timed-out"
    pkill -P "$host" 2>/dev/null
    kill "$host" 2>/dev/null
fi
wait "$host"
echo "host-exit=$?"
