#!/usr/bin/env bash
# Fuzzes the LM-63 reader for a bounded time: ./scripts/fuzz.sh [SECONDS] (default 60).
#
# Builds the fuzz preset (clang, libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer), seeds
# a scratch corpus with the LM-63 sample files and every input that crashed before, and runs
# the fuzzer. Any crash, leak, time-out or memory blow-up fails the script; the input that
# caused it is kept in tests/fuzz/regressions/ so that it can become a regression case.
# KANDOR_CORPUS_DIR overrides where the sample files are (default: ../shared/corpus/ies
# beside the repository).
set -euo pipefail

seconds="${1:-60}"
case "$seconds" in
    '' | *[!0-9]*) echo "usage: $0 [SECONDS]" >&2; exit 2 ;;
esac

repo="$(cd "$(dirname "$0")/.." && pwd)"
cd "$repo"
corpus="${KANDOR_CORPUS_DIR:-$repo/../shared/corpus/ies}"
regressions="$repo/tests/fuzz/regressions"
fuzzer="$repo/build-fuzz/bin/ies_reader_fuzz"
jobs="${KANDOR_FUZZ_JOBS:-2}"

echo "== building the fuzz target =="
cmake --preset fuzz
cmake --build --preset fuzz -j "$jobs" --target ies_reader_fuzz
if [ ! -x "$fuzzer" ]; then
    fuzzer="$(find "$repo/build-fuzz" -type f -name ies_reader_fuzz -perm -u+x | head -n 1)"
fi
if [ -z "$fuzzer" ] || [ ! -x "$fuzzer" ]; then
    echo "fuzz.sh: the fuzz target was not built (is clang installed?)" >&2
    exit 1
fi

scratch="$(mktemp -d "${TMPDIR:-/tmp}/kandor-fuzz.XXXXXX")"
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/corpus" "$regressions"

seeds=0
if [ -d "$corpus" ]; then
    while IFS= read -r -d '' f; do
        cp "$f" "$scratch/corpus/" && seeds=$((seeds + 1))
    done < <(find "$corpus" -maxdepth 1 -type f -iname '*.ies' -print0)
else
    echo "fuzz.sh: no sample files at $corpus; starting from the regression inputs only" >&2
fi
# Inputs that failed before are run first, as part of the initial corpus.
while IFS= read -r -d '' f; do
    cp "$f" "$scratch/corpus/regression-$(basename "$f")" && seeds=$((seeds + 1))
done < <(find "$regressions" -maxdepth 1 -type f \
    \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' \) -print0)
echo "== fuzzing the reader for ${seconds}s from $seeds seed inputs =="

before="$(find "$regressions" -maxdepth 1 -type f | wc -l)"
status=0
ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1}" \
UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}" \
"$fuzzer" "$scratch/corpus" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=200000 \
    -artifact_prefix="$regressions/" -print_final_stats=1 || status=$?
after="$(find "$regressions" -maxdepth 1 -type f | wc -l)"

if [ "$status" -ne 0 ] || [ "$after" -ne "$before" ]; then
    echo "fuzz.sh: the reader failed (exit $status); inputs kept in $regressions:" >&2
    find "$regressions" -maxdepth 1 -type f -newer "$scratch" -printf '  %f\n' >&2 || true
    exit 1
fi
echo "== fuzzing found nothing =="
