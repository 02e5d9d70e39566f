#!/usr/bin/env bash
# Fuzzes every input the tool takes from outside, each for a bounded time:
#   ./scripts/fuzz.sh [SECONDS_PER_TARGET] [TARGET...]     (default 60 s, every target)
#
# Targets: ies_reader_fuzz (the LM-63 reader), ies_roundtrip_fuzz (writer and reader agree),
# ldt_reader_fuzz (the EULUMDAT reader and the conversions), ldt_roundtrip_fuzz (EULUMDAT
# writer and reader agree), exchange_fuzz (the exchange slots), channel_fuzz (the host's
# commands) and startup_fuzz (the command line and start-up). The fuzz preset builds them with
# clang, libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer.
#
# For each target the kept regression inputs (tests/fuzz/regressions/TARGET/) are replayed
# first, one by one; then the fuzzer runs from those, the checked-in seeds
# (tests/fuzz/seeds/TARGET/) and, for the LM-63, EULUMDAT and exchange targets, the sample
# files. Any crash, broken invariant, leak, time-out or memory blow-up fails the script, and
# the input that caused it is kept in tests/fuzz/regressions/TARGET/ to become a regression
# input (add its one line to tests/fuzz/regressions/README.md).
#
# KANDOR_CORPUS_DIR and KANDOR_LDT_CORPUS_DIR override where the sample files are (default:
# ../shared/corpus/ies and ../shared/corpus/ldt beside the repository);
# KANDOR_FUZZ_KEEP_CORPUS=DIR keeps each target's grown corpus in DIR/TARGET.
set -euo pipefail

seconds="${1:-60}"
case "$seconds" in
    '' | *[!0-9]*) echo "usage: $0 [SECONDS_PER_TARGET] [TARGET...]" >&2; exit 2 ;;
esac
shift || true
all_targets=(ies_reader_fuzz ies_roundtrip_fuzz ldt_reader_fuzz ldt_roundtrip_fuzz exchange_fuzz
    channel_fuzz startup_fuzz)
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=("${all_targets[@]}")

repo="$(cd "$(dirname "$0")/.." && pwd)"
cd "$repo"
corpus="${KANDOR_CORPUS_DIR:-$repo/../shared/corpus/ies}"
ldt_corpus="${KANDOR_LDT_CORPUS_DIR:-$repo/../shared/corpus/ldt}"
jobs="${KANDOR_FUZZ_JOBS:-2}"
bin="$repo/build-fuzz/bin"

echo "== building the fuzz targets =="
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j "$jobs" --target "${targets[@]}"
for t in "${targets[@]}"; do
    if [ ! -x "$bin/$t" ]; then
        echo "fuzz.sh: $t was not built (is clang installed?)" >&2
        exit 1
    fi
done

scratch="$(mktemp -d "${TMPDIR:-/tmp}/kandor-fuzz.XXXXXX")"
trap 'rm -rf "$scratch"' EXIT

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
limits=(-rss_limit_mb=2048 -malloc_limit_mb=512 -timeout=10)

failed=()
for t in "${targets[@]}"; do
    fuzzer="$bin/$t"
    regressions="$repo/tests/fuzz/regressions/$t"
    seeds="$repo/tests/fuzz/seeds/$t"
    work="$scratch/$t"
    mkdir -p "$work/corpus" "$regressions"

    kept=()
    while IFS= read -r -d '' f; do kept+=("$f"); done \
        < <(find "$regressions" -maxdepth 1 -type f -print0 | sort -z)
    if [ ${#kept[@]} -gt 0 ]; then
        echo "== $t: replaying ${#kept[@]} kept regression inputs =="
        if ! "$fuzzer" "${limits[@]}" "${kept[@]}" >"$work/replay.log" 2>&1; then
            tail -n 30 "$work/replay.log" >&2
            echo "fuzz.sh: $t fails on a kept regression input" >&2
            failed+=("$t")
            continue
        fi
        cp "${kept[@]}" "$work/corpus/"
    fi
    [ -d "$seeds" ] && cp "$seeds"/* "$work/corpus/" 2>/dev/null || true
    if [ -d "$corpus" ]; then
        case "$t" in
            ies_*) find "$corpus" -maxdepth 1 -type f -iname '*.ies' -exec cp {} "$work/corpus/" \; ;;
            exchange_fuzz)
                "$fuzzer" "--kandor-seeds-from=$corpus" "--kandor-seeds-to=$work/corpus" \
                    >/dev/null 2>&1 ;;
        esac
    fi

    if [[ "$t" == ldt_* && -d "$ldt_corpus" ]]; then
        find "$ldt_corpus" -maxdepth 1 -type f -iname '*.ldt' -exec cp {} "$work/corpus/" \;
    fi

    echo "== $t: fuzzing for ${seconds}s from $(find "$work/corpus" -type f | wc -l) inputs =="
    before="$(find "$regressions" -maxdepth 1 -type f | wc -l)"
    touch "$work/started"
    status=0
    "$fuzzer" "$work/corpus" -max_total_time="$seconds" "${limits[@]}" -max_len=200000 \
        -artifact_prefix="$regressions/" -print_final_stats=1 >"$work/fuzz.log" 2>&1 || status=$?
    grep -E '^(#[0-9]+[[:space:]]+DONE|stat::number_of_executed_units|stat::average_exec_per_sec)' \
        "$work/fuzz.log" || true
    after="$(find "$regressions" -maxdepth 1 -type f | wc -l)"
    if [ "$status" -ne 0 ] || [ "$after" -ne "$before" ]; then
        grep -E 'invariant broken|ERROR: (AddressSanitizer|libFuzzer|LeakSanitizer)|runtime error' \
            "$work/fuzz.log" | head -n 5 >&2 || true
        echo "fuzz.sh: $t failed (exit $status); the input is kept in $regressions:" >&2
        find "$regressions" -maxdepth 1 -type f -newer "$work/started" -printf '  %f\n' >&2 || true
        failed+=("$t")
    fi
    if [ -n "${KANDOR_FUZZ_KEEP_CORPUS:-}" ]; then
        mkdir -p "$KANDOR_FUZZ_KEEP_CORPUS/$t"
        cp "$work/corpus"/* "$KANDOR_FUZZ_KEEP_CORPUS/$t/" 2>/dev/null || true
    fi
done

if [ ${#failed[@]} -gt 0 ]; then
    echo "fuzz.sh: failed: ${failed[*]}" >&2
    exit 1
fi
echo "== fuzzing found nothing =="
