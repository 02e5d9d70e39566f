#!/usr/bin/env bash
# Installs what is missing, builds, and starts the editor:
#   ./run.sh            the editor on its built-in sample record
#   ./run.sh FILE.ies   FILE.ies opened in the editor; OK saves it (the original kept as FILE.ies.bak)
set -euo pipefail
cd "$(dirname "$0")"

./scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev -j "$(nproc 2>/dev/null || echo 2)"

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    echo "run.sh: no display to show the editor on; run it in a desktop session, or try it with: xvfb-run -a ./run.sh $*" >&2
    exit 2
fi
if [ "$#" -eq 0 ]; then
    exec build/bin/kandorpe
fi
exec build/bin/kandor-host edit "$@"
