#!/usr/bin/env bash
# Installs what is missing, builds, and starts the main program.
set -euo pipefail
cd "$(dirname "$0")"

./scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev -j "$(nproc 2>/dev/null || echo 2)"

if [ -x build/bin/kandorpe ]; then
    exec build/bin/kandorpe "$@"
fi
# Until the editor exists: the newest command-line tool, on the corpus when no file is given.
if [ "$#" -eq 0 ]; then
    set -- ../shared/corpus/ies/*.ies
fi
exec build/bin/kandor-lint "$@"
