#!/usr/bin/env bash
# Editing sessions of kandor-host edit as a user has them when something goes wrong: the disk,
# another program, a second editor, links, a dying host. Runs inside an X server (xvfb-run).
#   file_sessions.sh BIN_DIR SCENARIO FILE
# Prints one observation per line ("box=yes", "editor-open=yes", "host-exit=N", ...); the test
# checks them and the files.
set -u
bin=$1 scenario=$2 file=$3
dir=$(dirname "$file")

# The newest window whose title starts with $1 (10 s at most), or nothing.
wait_window() {
    local w
    for _ in $(seq 1 100); do
        w=$(xdotool search --onlyvisible --name "^$1" 2>/dev/null | tail -1)
        # Found before it is mapped; a key sent now would go nowhere.
        [ -n "$w" ] && { sleep 0.5; echo "$w"; return; }
        sleep 0.1
    done
}
press() {
    xdotool windowfocus --sync "$1" 2>/dev/null
    shift
    xdotool key "$@"
    sleep 0.4
}
type_lamps() {
    press "$1" alt+l
    press "$1" alt+n ctrl+a
    xdotool type "$2"
    sleep 0.3
}
# A process that ended but was not reaped (its parent died first) counts as gone.
alive() {
    local state
    state=$(ps -o stat= -p "$1" 2>/dev/null)
    [ -n "$state" ] && [ "${state#Z}" = "$state" ]
}
wait_gone() {
    for _ in $(seq 1 150); do alive "$1" || return 0; sleep 0.1; done
    return 1
}
start_host() {
    "$bin/kandor-host" edit "$@" >>"$file.out" 2>>"$file.err" &
    host=$!
}
finish() {
    if ! wait_gone "$host"; then
        echo "timed-out"
        pkill -P "$host" 2>/dev/null
        kill "$host" 2>/dev/null
    fi
    wait "$host"
    echo "host-exit=$?"
}
editor_open() {
    [ -n "$(xdotool search --name '^Edit:' 2>/dev/null)" ] && echo "editor-open=yes" || echo "editor-open=no"
}

case $scenario in
failed-save)
    start_host "$file"
    editor=$(wait_window 'Edit:')
    type_lamps "$editor" 3
    mv "$dir" "$dir.moved"
    press "$editor" ctrl+Return
    box=$(wait_window KandorPE)
    [ -n "$box" ] && echo "box=yes"
    mv "$dir.moved" "$dir"
    press "$box" Return
    editor_open
    press "$editor" ctrl+Return
    finish
    ;;
changed-on-disk)
    start_host "$file"
    editor=$(wait_window 'Edit:')
    type_lamps "$editor" 3
    printf 'another program\n' >"$file.other"
    cat "$file" "$file.other" >"$file.new" && cat "$file.new" >"$file"
    press "$editor" ctrl+Return
    box=$(wait_window KandorPE)
    [ -n "$box" ] && echo "box=yes"
    press "$box" Escape
    editor_open
    grep -q 'another program' "$file" && echo "other-kept=yes"
    press "$editor" ctrl+Return
    box=$(wait_window KandorPE)
    press "$box" Return
    finish
    ;;
second-editor)
    start_host "$file"
    first=$host
    editor=$(wait_window 'Edit:')
    start_host "$file"
    box=$(wait_window KandorPE)
    [ -n "$box" ] && echo "second-told=yes"
    press "$box" Return
    second=
    for _ in $(seq 1 100); do
        second=$(xdotool search --name '^Edit:' 2>/dev/null | grep -v "^$editor\$" | tail -1)
        [ -n "$second" ] && break
        sleep 0.1
    done
    sleep 0.5
    press "$second" ctrl+Return
    finish
    host=$first
    type_lamps "$editor" 3
    press "$editor" ctrl+Return
    finish
    ls -a "$dir" | grep -q 'kandorpe-lock' && echo "lock-left=yes"
    ;;
links)
    start_host "$file"
    editor=$(wait_window 'Edit:')
    echo "caption=$(xdotool getwindowname "$editor")"
    type_lamps "$editor" 3
    press "$editor" ctrl+Return
    finish
    ;;
host-killed)
    start_host "$file"
    editor=$(wait_window 'Edit:')
    pid=$(xdotool getwindowpid "$editor")
    type_lamps "$editor" 3
    kill -9 "$host"
    wait "$host" 2>/dev/null
    box=$(wait_window KandorPE)
    [ -n "$box" ] && echo "box=yes"
    press "$box" Return
    wait_gone "$pid" && echo "editor-ended=yes"
    [ -n "${SHOT:-}" ] && import -window root "$SHOT"
    ;;
escape-asks)
    start_host "$file"
    editor=$(wait_window 'Edit:')
    type_lamps "$editor" 3
    press "$editor" Escape
    box=$(wait_window KandorPE)
    [ -n "$box" ] && echo "asked=yes"
    press "$box" Escape
    editor_open
    press "$editor" Escape
    box=$(wait_window KandorPE)
    press "$box" Return
    finish
    ;;
desktop-open)
    # As a file manager opens it: the editor's own program with the file.
    "$bin/kandorpe" "$file" >>"$file.out" 2>>"$file.err" &
    host=$!
    editor=$(wait_window 'Edit:')
    type_lamps "$editor" 3
    press "$editor" ctrl+Return
    finish
    "$bin/kandorpe" "$file.missing" >>"$file.out" 2>>"$file.err" &
    host=$!
    box=$(wait_window KandorPE)
    [ -n "$box" ] && echo "missing-told=yes"
    press "$box" Return
    finish
    ;;
*)
    echo "unknown scenario $scenario"
    ;;
esac
