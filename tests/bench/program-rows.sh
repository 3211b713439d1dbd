#!/usr/bin/env bash
# The program's rows of scripts/bench.sh, for one build, on the X display it
# is given (run it under tests/support/run-with-xvfb.sh):
# - time to the first dialog (normal mode, no card: the up-to-date message)
#   against an empty Qt dialog program of the same ABI, in alternating rounds;
# - the idle daemon against an empty Qt program of the same ABI, both running
#   over the same seconds: resident memory, threads, context switches.
#
#   program-rows.sh BUILD_DIR FIRST_WINDOW ROUNDS IDLE_SECONDS
set -uo pipefail

build=$1 first_window=$2 rounds=$3 idle=$4
run=""
[ -x "$build/run-i386" ] && run=$build/run-i386
program=$build/app/VantorixFirmwareUpdaterGui
empty_dialog=$build/tests/bench/empty_dialog_program
empty=$build/tests/bench/empty_program
private_shm=$(cd "$(dirname "$0")/../support" && pwd)/run-with-private-shm.sh

export QT_QPA_PLATFORM=xcb QT_XCB_GL_INTEGRATION=none
unset QT_QPA_PLATFORMTHEME SESSION_MANAGER
work=$(mktemp -d "${TMPDIR:-/tmp}/bench-program.XXXXXX")
export XDG_RUNTIME_DIR=$work/runtime
mkdir -p -m 0700 "$XDG_RUNTIME_DIR"
# No card is present, so no updater runs; should one, it does nothing.
export VANTORIX_FIRMWARE_UPDATER_PATH=/bin/false
pids=()
cleanup() {
    local pid
    for pid in "${pids[@]}"; do kill -TERM "$pid" 2> /dev/null; done
    for pid in "${pids[@]}"; do wait "$pid" 2> /dev/null; done
    rm -rf "$work"
}
trap cleanup EXIT

median() { sort -n | awk '{ v[NR] = $1 } END { if (NR == 0) exit 1; print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# ---- time to the first dialog ----------------------------------------------
# One unmeasured start of each first, so that both start from a warm cache.
$first_window 30 $run "$program" > /dev/null
$first_window 30 $run "$empty_dialog" > /dev/null
: > "$work/program.us"
: > "$work/empty.us"
for round in $(seq "$rounds"); do
    # Alternate which goes first, so that neither always follows the other.
    if [ $((round % 2)) = 1 ]; then
        $first_window 30 $run "$program" >> "$work/program.us"
        $first_window 30 $run "$empty_dialog" >> "$work/empty.us"
    else
        $first_window 30 $run "$empty_dialog" >> "$work/empty.us"
        $first_window 30 $run "$program" >> "$work/program.us"
    fi
done
p=$(median < "$work/program.us") && e=$(median < "$work/empty.us") && \
    awk -v p="$p" -v e="$e" -v n="$(wc -l < "$work/program.us")" 'BEGIN {
        printf "row program: time to the first dialog / empty Qt dialog program | %.1f ms | %.1f ms | %.3f | %d\n",
               p / 1000, e / 1000, p / e, n }'

# ---- the idle daemon -------------------------------------------------------
switches() { cat /proc/"$1"/task/*/status 2> /dev/null | awk '/ctxt_switches/ { s += $2 } END { print s + 0 }'; }
rss_kib() { awk '/^VmRSS/ { print $2 }' /proc/"$1"/status; }
threads() { ls /proc/"$1"/task | wc -l; }

# The daemon meets the discovery channel, whose name is global: a /dev/shm of
# its own where the machine allows it.
"$private_shm" $run "$program" -d > "$work/daemon.log" 2>&1 &
daemon=$!
pids+=("$daemon")
$run "$empty" > "$work/empty.log" 2>&1 &
baseline=$!
pids+=("$baseline")

# Start-up is over once neither has switched for a second (60 s at most).
deadline=$(( $(date +%s) + 60 ))
while [ "$(date +%s)" -lt "$deadline" ]; do
    a=$(switches "$daemon"); b=$(switches "$baseline")
    sleep 1
    [ "$(switches "$daemon")" = "$a" ] && [ "$(switches "$baseline")" = "$b" ] && break
done
d0=$(switches "$daemon"); b0=$(switches "$baseline")
sleep "$idle"
d1=$(switches "$daemon"); b1=$(switches "$baseline")
if kill -0 "$daemon" 2> /dev/null && kill -0 "$baseline" 2> /dev/null; then
    awk -v p="$(rss_kib "$daemon")" -v e="$(rss_kib "$baseline")" -v s="$idle" 'BEGIN {
        printf "row program: idle daemon resident memory / empty Qt program | %.1f MiB | %.1f MiB | %.3f | %ss\n",
               p / 1024, e / 1024, p / e, s }'
    awk -v p="$(threads "$daemon")" -v e="$(threads "$baseline")" -v s="$idle" 'BEGIN {
        printf "row program: idle daemon threads / empty Qt program | %d | %d | %.3f | %ss\n", p, e, p / e, s }'
    echo "row program: idle daemon context switches over ${idle} s / empty Qt program | $((d1 - d0)) | $((b1 - b0)) | - | ${idle}s"
fi
