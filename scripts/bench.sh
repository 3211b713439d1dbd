#!/usr/bin/env bash
# Measures the product's performance figures and prints one table, each
# figure against a baseline measured in the same run, for the i386 build (the
# product) and the x86_64 build:
# - the transport per path against a bare ioctl() on the same descriptor, on
#   /dev/null (fails in the kernel) and on an answering descriptor (copy back);
#   the translation tables against the node-based maps they replaced;
# - enumeration per node against the system calls it makes on the same nodes;
# - discovery: notify to delegate, in one process and across processes;
# - the program: time to the first dialog against an empty Qt dialog program,
#   and the idle daemon against an empty Qt program, both of the same ABI.
# Subject and baseline run interleaved or in alternating rounds, so that a
# load on the machine falls on both alike; each figure is a median.
#
#   scripts/bench.sh [--short] [i386] [native]
#
# --short takes seconds per build (for CI): it exits 0 when every row printed
# and judges no target. A full run takes a few minutes; it also checks the
# i386 transport targets and exits 1 when a row is missing or a target missed.
# Builds what it needs with the presets (build/<preset>), as -j2.
set -uo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"

short=0
presets=()
for arg in "$@"; do
    case $arg in
        --short) short=1 ;;
        i386|native) presets+=("$arg") ;;
        *) echo "usage: $0 [--short] [i386] [native]" >&2; exit 2 ;;
    esac
done
[ ${#presets[@]} -gt 0 ] || presets=(i386 native)

if [ $short = 1 ]; then
    reps=3 min_time=0.01 enum_reps=3 enum_time=0.01 samples=100 rounds=1 idle=2
else
    reps=41 min_time=0.03 enum_reps=9 enum_time=0.2 samples=1000 rounds=10 idle=30
fi
rows_per_build=20

log=$(mktemp -d "${TMPDIR:-/tmp}/bench.XXXXXX")
trap 'rm -rf "$log"' EXIT

# ---- build -----------------------------------------------------------------
targets=(transport_benchmark transport_answered_benchmark enumeration_benchmark
         discovery_latency_benchmark discovery_peer_fake VantorixFirmwareUpdaterGui
         empty_dialog_program empty_program)
build() {  # build PRESET TARGET...
    local preset=$1; shift
    if [ "$preset" = i386 ]; then
        scripts/make-i386-sysroot.sh > "$log/sysroot.log" 2>&1 || { cat "$log/sysroot.log" >&2; return 1; }
    fi
    { [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset"; } > "$log/configure-$preset.log" 2>&1 \
        && cmake --build --preset "$preset" -j2 --target "$@" > "$log/build-$preset.log" 2>&1 \
        || { echo "build of $preset failed:" >&2; tail -n 30 "$log/build-$preset.log" "$log/configure-$preset.log" >&2; return 1; }
}
# The first-window helper runs on the build machine whatever the ABI measured.
build native first_window || exit 1
for preset in "${presets[@]}"; do
    build "$preset" "${targets[@]}" || exit 1
done
first_window=$top/build/native/tests/bench/first_window

# ---- measure ---------------------------------------------------------------
gbench=(--benchmark_repetitions=$reps --benchmark_min_time=$min_time
        --benchmark_enable_random_interleaving=true)

measure() {  # measure PRESET: prints "row ..." lines
    local preset=$1 dir=$top/build/$1 run=""
    [ "$preset" = i386 ] && run=$dir/run-i386
    $run "$dir/tests/transport/transport_benchmark" "${gbench[@]}" > "$log/$preset-transport.txt" 2>&1
    $run "$dir/tests/transport/transport_answered_benchmark" "${gbench[@]}" > "$log/$preset-answered.txt" 2>&1
    "$dir/tests/devicelib/enumeration_benchmark-launcher.sh" "$dir/tests/devicelib/enumeration_benchmark" \
        --benchmark_repetitions=$enum_reps --benchmark_min_time=$enum_time \
        --benchmark_enable_random_interleaving=true > "$log/$preset-enumeration.txt" 2>&1
    tests/support/run-with-private-shm.sh $run "$dir/tests/discovery/discovery_latency_benchmark" "$samples" \
        > "$log/$preset-discovery.txt" 2>&1
    tests/support/run-with-xvfb.sh tests/bench/program-rows.sh "$dir" "$first_window" "$rounds" "$idle" \
        > "$log/$preset-program.txt" 2>&1
    cat "$log/$preset"-{transport,answered,enumeration,discovery,program}.txt | grep '^row '
}

abi_name() { [ "$1" = i386 ] && echo i386 || echo x86_64; }

# Targets of the i386 transport rows (ratios to the bare ioctl).
target_of() {
    case $1 in
        "transport: legacy call") echo 1.05 ;;
        "transport: legacy readScalar") echo 1.10 ;;
        "transport: VantorixIO renumbered") echo 1.10 ;;
        "transport: VantorixIO message") echo 1.20 ;;
    esac
}

status=0
started=$(date +%s)
{
    echo "| ABI | figure | subject | baseline | ratio | target | n |"
    echo "|---|---|---|---|---|---|---|"
} > "$log/table.md"
for preset in "${presets[@]}"; do
    abi=$(abi_name "$preset")
    measure "$preset" > "$log/$preset.rows"
    count=$(wc -l < "$log/$preset.rows")
    if [ "$count" -ne $rows_per_build ]; then
        echo "$abi: $count of $rows_per_build rows printed; outputs:" >&2
        for f in "$log/$preset"-*.txt; do echo "--- $f" >&2; tail -n 15 "$f" >&2; done
        status=1
    fi
    while IFS='|' read -r label subject baseline ratio n; do
        label=${label#row }; label=${label% }
        subject=${subject# }; subject=${subject% }
        baseline=${baseline# }; baseline=${baseline% }
        ratio=${ratio# }; ratio=${ratio% }
        n=${n# }
        target=""
        if [ "$preset" = i386 ] && t=$(target_of "$label") && [ -n "$t" ]; then
            if awk -v r="$ratio" -v t="$t" 'BEGIN { exit !(r <= t) }'; then
                target="<= $t held"
            else
                target="<= $t MISSED"
                [ $short = 1 ] || status=1
            fi
        fi
        echo "| $abi | $label | $subject | $baseline | $ratio | $target | $n |" >> "$log/table.md"
    done < "$log/$preset.rows"
done

echo
echo "Benchmarks of $(git log -1 --format=%h 2> /dev/null || echo '?') on $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores, $(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1)$([ $short = 1 ] && echo ', short run')"
echo
cat "$log/table.md"
echo
echo "measured in $(( $(date +%s) - started )) s; n: repetitions (medians taken), events or rounds"
exit $status
