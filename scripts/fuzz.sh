#!/bin/sh
# Builds the libFuzzer targets (preset `fuzz`, clang-14 with ASan and UBSan)
# and runs one of them, or all of them one after another, for SECONDS each
# (default 30). Findings land in build/fuzz/findings/; the committed seeds in
# fuzz/corpus/<target> are read, never written.
#
#   scripts/fuzz.sh status|progress|nodepath|transport|segment [SECONDS]
#   scripts/fuzz.sh all [SECONDS]
set -eu
cd "$(dirname "$0")/.."

targets="status progress nodepath transport segment"
target=${1:-}
seconds=${2:-30}
case "$target" in
    all) ;;
    status|progress|nodepath|transport|segment) targets=$target ;;
    *) echo "usage: $0 {$(echo "$targets" | tr ' ' '|')|all} [SECONDS]" >&2; exit 2 ;;
esac

[ -f build/fuzz/build.ninja ] || cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j2 >/dev/null

export ASAN_OPTIONS="abort_on_error=1:detect_leaks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
status=0
for name in $targets; do
    work=build/fuzz/findings/$name
    rm -rf "$work/corpus"
    mkdir -p "$work/corpus"
    echo "fuzz_$name: ${seconds}s"
    if ! build/fuzz/fuzz/fuzz_$name -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
            -print_final_stats=1 -artifact_prefix="$work/" \
            "$work/corpus" "fuzz/corpus/$name" > "$work/log" 2>&1; then
        echo "fuzz_$name FAILED:"
        tail -n 60 "$work/log"
        status=1
    else
        grep -E '^stat::number_of_executed_units' "$work/log" | sed "s/^/fuzz_$name /"
    fi
done
exit $status
