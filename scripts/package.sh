#!/usr/bin/env bash
# Builds the Debian package of KandorPE into dist/ (kandorpe_VERSION_ARCH.deb): the five
# programs of the dev build (built here when they are missing or out of date), stripped, with
# the help pages, menu entry, file types, icon, metainfo and manual pages.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev -j "$(nproc 2>/dev/null || echo 2)" \
    --target kandorpe kandor-lint kandor-convert kandor-host kandor-settings

staging=build/cpack
rm -rf "$staging"
mkdir -p "$staging"
if ! cpack --config build/CPackConfig.cmake -G DEB -B "$staging" >"$staging/cpack.log" 2>&1; then
    cat "$staging/cpack.log" >&2
    exit 1
fi
mkdir -p dist
rm -f dist/kandorpe_*.deb
mv "$staging"/kandorpe_*.deb dist/
rm -rf "$staging"
ls dist/kandorpe_*.deb
