#!/usr/bin/env bash
# Whole-process start-up of the editor, from the moment a command is started to the editor's
# first paint: `kandorpe` on its built-in sample record, and an ordinary file through
# `kandor-host edit` and `kandorpe FILE` (a host that writes "START" right after starting the
# editor). Needs a display; without one it runs itself under xvfb-run.
#   bench/startup.sh [RUNS] [FILE.ies]     (default 15 runs, a 73 x 5 corpus file)
# KANDOR_BIN names the folder of the executables (default build/bin).
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
if [ -z "${DISPLAY:-}" ]; then
    exec xvfb-run -a -s '-screen 0 1600x1200x24' "$0" "$@"
fi
bin=${KANDOR_BIN:-$here/build/bin}
runs=${1:-15}
file=${2:-$here/../shared/corpus/ies/lithonia-af10-1-32.ies}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export LUMIVEX_SETTINGS_DB=$scratch/settings.sqlite3 KANDOR_SHOWN_STAMP=1
unset QT_QPA_PLATFORM
cp "$file" "$scratch/edited.ies"

# Microseconds from starting "$@" to the editor's "shown at" line, printed; the run is ended.
one_run() {
    local log=$scratch/log start shown pid
    : >"$log"
    start=${EPOCHREALTIME/./}
    setsid "$@" >/dev/null 2>"$log" &
    pid=$!
    for _ in $(seq 1 2000); do
        grep -q 'shown at' "$log" && break
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.005
    done
    shown=$(sed -n 's/^kandorpe: shown at \([0-9]*\)\.\([0-9]*\)$/\1\2/p' "$log")
    kill -- "-$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    [ -n "$shown" ] || { echo "no window shown; its output:" >&2; cat "$log" >&2; return 1; }
    echo $(((shown - start) / 1000))
}

measure() {
    local label=$1 times=()
    shift
    one_run "$@" >/dev/null  # the first run warms the file cache
    for _ in $(seq 1 "$runs"); do
        times+=("$(one_run "$@")")
    done
    printf '%s\n' "${times[@]}" | sort -n | awk -v label="$label" '
        { t[NR] = $1 }
        END { printf "%-40s median %4d ms   min %4d   max %4d   (%d runs)\n",
                     label, t[int((NR + 1) / 2)], t[1], t[NR], NR }'
}

measure "kandorpe (built-in sample)" "$bin/kandorpe"
measure "kandor-host edit $(basename "$file")" "$bin/kandor-host" edit "$scratch/edited.ies"
measure "kandorpe $(basename "$file")" "$bin/kandorpe" "$scratch/edited.ies"
