#!/usr/bin/env bash
# Installs what is missing, builds everything and runs every test:
#   1. the full build (core, host, tools, editor) and all CTest tests;
#   2. the Debian package from that build, checked (lintian, desktop entry, metainfo, MIME
#      file, manual pages, the programs run from the unpacked package);
#   3. the core and its tests again under AddressSanitizer and UndefinedBehaviorSanitizer;
#   4. every libFuzzer target (reader, writer/reader round trip, exchange slots, command
#      channel, start-up) for a bounded time each, after replaying their kept regression
#      inputs; KANDOR_FUZZ_SECONDS sets the time per target (default 60).
set -euo pipefail
cd "$(dirname "$0")"

./scripts/install-deps.sh

jobs=$(nproc 2>/dev/null || echo 2)
export QT_QPA_PLATFORM=offscreen

echo "== build and test (dev) =="
cmake --preset dev
cmake --build --preset dev -j "$jobs"
ctest --preset dev

echo "== Debian package =="
./scripts/check-package.sh

echo "== core under ASan/UBSan =="
cmake --preset asan
cmake --build --preset asan -j "$jobs"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --preset asan

if [ -x scripts/fuzz.sh ]; then
    echo "== fuzzing every outside input =="
    ./scripts/fuzz.sh "${KANDOR_FUZZ_SECONDS:-60}"
fi
