#!/usr/bin/env bash
# Black-box tests of the real program: the built binary on a private X server,
# simulated cards, the simulated updater, dialogs answered with xdotool.
#
#   endtoend.sh SCENARIO
#
# Environment (set by CMake): VX_PROGRAM VX_SIMCARDS VX_UPDATER VX_POST VX_RUN
# VX_HOTPLUGD VX_HOSTILE VX_OPENWATCH VX_PRELOAD VX_PRELOAD_DIR
# VANTORIX_ARTIFACTS_DIR; VX_SEED, if set, seeds the hostile writer. Screenshots, the step account and the logs of every
# scenario stay in ${VANTORIX_ARTIFACTS_DIR}/endtoend/SCENARIO/.
set -uo pipefail

scenario=$1
source "$(dirname "$0")/../support/program-session.sh"

export QT_QPA_PLATFORM=xcb
# The dialogs draw without OpenGL; the GL stack of the X server's software
# renderer would only add its own allocations to the leak report.
export QT_XCB_GL_INTEGRATION=none
unset QT_QPA_PLATFORMTHEME SESSION_MANAGER
work=${VANTORIX_ARTIFACTS_DIR:-/tmp}/endtoend/$scenario
rm -rf "$work"
vx_session_init "$work"

failures=0
check() {  # check DESCRIPTION COMMAND...
    local what=$1; shift
    if "$@"; then
        vx_step "ok: $what"
    else
        vx_step "NOT OK: $what"
        failures=$((failures + 1))
    fi
}

expect_status() { check "exit status $1" test "$VX_STATUS" = "$1"; }

# The updater's runs of one command, e.g. `runs update`.
runs() { vx_updater_runs | awk -v c="$1" '$2 == c' ; }

# status_checks NODE COUNT: the updater was asked COUNT times about NODE.
status_checks() { test "$(runs status | grep -c "$1")" = "$2"; }

expect_runs() {  # expect_runs COMMAND LINE...
    local command=$1; shift
    local want got
    want=$(printf '%s\n' "$@" | sed '/^$/d')
    got=$(runs "$command")
    check "updater $command runs: $(printf '%s' "${want:-none}" | tr '\n' ';' | sed 's/;/; /g')" test "$got" = "$want"
}

# Device nodes the program holds open right now.
open_nodes() {
    local pid=$1 fd
    for fd in /proc/"$pid"/fd/*; do readlink "$fd"; done 2> /dev/null | grep -o 'vantorix/[a-z]*[0-9]*$' | sort -u
}

# Fails unless the window list stays free of our dialogs for SECONDS.
no_dialog_for() {
    vx_expect_no_window "$VX_DIALOG_TITLE" "$1" && vx_expect_no_window "$VX_PROGRESS_TITLE" 0
}

send() {  # send SIGNAL: to the program itself
    local pid
    pid=$(vx_program_pid) || return 1
    vx_step "sent SIG$1 to the program ($pid)"
    kill -s "$1" "$pid"
}

fresh_channel() { ${VX_RUN:-} "$VX_POST" --unlink; }
empty_channel() { fresh_channel && ${VX_RUN:-} "$VX_POST"; }
post() { vx_step "another process posted: $*"; ${VX_RUN:-} "$VX_POST" "$@"; }

running() { kill -0 "$VX_PID" 2> /dev/null; }

# eventually SECONDS COMMAND...: polls COMMAND until it succeeds.
eventually() {
    local deadline=$(( $(date +%s) + $1 )); shift
    until "$@"; do
        [ "$(date +%s)" -lt "$deadline" ] || return 1
        sleep 0.1
    done
}

# The program catches SIGHUP, SIGINT and SIGTERM (bits 0, 1 and 14 of SigCgt):
# before that, a termination signal would simply kill it.
catches_signals() {
    local pid mask
    pid=$(vx_program_pid) || return 1
    mask=$(awk '/^SigCgt:/ {print $2}' /proc/"$pid"/status 2> /dev/null) || return 1
    [ -n "$mask" ] && (( (16#$mask & 0x4003) == 0x4003 ))
}

# Sum of context switches of every thread, and utime+stime in ticks.
switches() { cat /proc/"$1"/task/*/status 2> /dev/null | awk '/ctxt_switches/ {s += $2} END {print s}'; }
cputicks() { awk '{print $14 + $15}' /proc/"$1"/stat; }

# The program's threads have stopped switching for a second: start-up is over.
settled() {
    local pid before
    pid=$(vx_program_pid) || return 1
    before=$(switches "$pid")
    sleep 1
    [ "$(switches "$pid")" = "$before" ]
}

# In the sanitizer build: a leak that this scenario's behaviour requires,
# suppressed by name for this scenario only.
allow_leak() {
    case "${LSAN_OPTIONS:-}" in *suppressions=*) ;; *) return 0 ;; esac
    local base=${LSAN_OPTIONS#*suppressions=}
    base=${base%%:*}
    local combined=$work/lsan.supp
    [ -f "$combined" ] || cp "$base" "$combined"
    echo "leak:$1" >> "$combined"
    export LSAN_OPTIONS=${LSAN_OPTIONS/suppressions=$base/suppressions=$combined}
}

# The hotplug companion, in the simulated cards' emulation: it hears their
# udev events and announces them on the channel the program listens to.
COMPANION_PID=""
companion_ready() { grep -q '^ready' "$work/companion.log" 2> /dev/null; }
companion_start() {
    eventually 30 test -s "$VX_TESTBED" || return 1
    UMOCKDEV_DIR=$(cat "$VX_TESTBED") LD_PRELOAD=$VX_PRELOAD \
        LD_LIBRARY_PATH=${VX_PRELOAD_DIR:+$VX_PRELOAD_DIR${LD_LIBRARY_PATH:+:}}${LD_LIBRARY_PATH:-} \
        ${VX_RUN:-} "$VX_HOTPLUGD" --verbose >> "$work/companion.log" 2>&1 &
    COMPANION_PID=$!
    vx_step "started $(basename "$VX_HOTPLUGD") ($COMPANION_PID)"
    eventually 30 companion_ready
}
# Ends the companion with SIGTERM; sets COMPANION_STATUS.
companion_stop() {
    vx_step "sent SIGTERM to the companion"
    kill -TERM "$COMPANION_PID"
    local deadline=$(( $(date +%s) + 20 ))
    while kill -0 "$COMPANION_PID" 2> /dev/null && [ "$(date +%s)" -lt "$deadline" ]; do sleep 0.1; done
    kill -0 "$COMPANION_PID" 2> /dev/null && kill -KILL "$COMPANION_PID"
    wait "$COMPANION_PID"
    COMPANION_STATUS=$?
    vx_step "companion ended with exit status $COMPANION_STATUS"
    COMPANION_PID=""
}
announced() { grep -q "^$1 " "$work/companion.log"; }

# ---- normal mode -----------------------------------------------------------

scenario_normal_no_card() {
    vx_start_program
    vx_flow_message uptodate || failures=$((failures + 1))
    vx_wait_program 20
    expect_status 0
    expect_runs status
}

scenario_normal_quiet_no_window() {
    vx_start_program -q
    local seen=""
    while running; do
        seen+=$(xdotool search --onlyvisible --name '.' 2> /dev/null)
        sleep 0.05
    done
    vx_wait_program 20
    check "no window at all" test -z "$seen"
    expect_status 0
}

# The bar of progress dialog WID shows PERCENT.
bar_shows() { test "$(vx_progress_percent "$1")" = "$2"; }

scenario_normal_update_one_card() {
    vx_cards "card dv0"
    vx_status dv0 1 1f Quorvale Duo
    # Held at 42 long enough to be read off the bar.
    vx_updater "update /dev/vantorix/dv0 out 42\\n"
    vx_updater "update /dev/vantorix/dv0 sleep 8000"
    vx_updater "update /dev/vantorix/dv0 out 100\\n"
    vx_updater "update /dev/vantorix/dv0 exit 0"
    vx_start_program
    local wid bar
    wid=$(vx_expect_dialog prompt 60) || failures=$((failures + 1))
    check "the prompt names the card" grep -q "Your Quorvale Duo needs" <(vx_dialog_text "$wid")
    check "the prompt shows the card icon" vx_icon_shown "$wid"
    vx_answer_prompt "$wid" update
    bar=$(vx_wait_window "$VX_PROGRESS_TITLE" 30) || failures=$((failures + 1))
    check "the progress bar shows the updater's 42%" eventually 7 bar_shows "$bar" 42
    { vx_follow_progress 120 "$bar" > /dev/null \
        && vx_step "progress \"Updating Software...\" (602x70) ran until the updater finished" \
        && vx_flow_message powercycle; } || failures=$((failures + 1))
    vx_wait_program 20
    expect_status 0
    expect_runs status "-gui status /dev/vantorix/dv0"
    expect_runs update "-gui update /dev/vantorix/dv0"
}

scenario_normal_declined() {
    vx_cards "card dv0"
    vx_status dv0 1 1f Quorvale Duo
    vx_start_program
    vx_flow_prompt decline || failures=$((failures + 1))
    check "no closing message" no_dialog_for 3
    vx_wait_program 20
    expect_status 0
    expect_runs update
    expect_runs ignore-version
}

scenario_normal_control_declined() {
    vx_cards "card dv0"
    vx_updater "status /dev/vantorix/dv0 out 1:QV-7F21:1f:Quorvale Duo\\n" "ignore-version * exit 0"
    vx_start_program
    vx_flow_prompt ignore || failures=$((failures + 1))
    check "no closing message" no_dialog_for 3
    vx_wait_program 20
    expect_status 0
    expect_runs ignore-version "-gui ignore-version QV-7F21"
    expect_runs update
}

scenario_normal_second_card_fails() {
    # The failed card's connection stays open on purpose: the process ends.
    allow_leak ConnectToDriverCore
    vx_cards "card dv0" "card dv1" "card dv2"
    vx_status dv0 1 1f Quorvale Duo
    vx_status dv1 1 1f Quorvale Quad
    vx_status dv2 1 1f Quorvale Mini
    vx_update_runs dv0 2 0
    vx_update_runs dv1 2 1
    vx_start_program
    { vx_flow_prompt update && vx_flow_progress && vx_flow_prompt update && vx_flow_progress \
        && vx_flow_message error && vx_flow_message powercycle; } || failures=$((failures + 1))
    vx_wait_program 20
    expect_status 0
    # The pass stops at the failure: the third card is never visited.
    expect_runs status "-gui status /dev/vantorix/dv0" "-gui status /dev/vantorix/dv1"
    expect_runs update "-gui update /dev/vantorix/dv0" "-gui update /dev/vantorix/dv1"
}

scenario_normal_unreadable_card_skipped() {
    # The updater cannot tell anything about dv0: it is skipped and closed.
    vx_cards "card dv0" "card dv1"
    vx_updater "status /dev/vantorix/dv0 exit 1"
    vx_status dv1 1 1f Quorvale Quad
    vx_start_program
    local wid pid
    wid=$(vx_expect_dialog prompt 60) || failures=$((failures + 1))
    pid=$(vx_program_pid)
    local nodes
    nodes=$(open_nodes "$pid" | tr '\n' ' ')
    vx_step "device nodes open during the prompt for dv1: $nodes"
    check "dv0 closed, dv1 open" test "$nodes" = "vantorix/dv1 "
    vx_answer_prompt "$wid" decline
    check "no closing message" no_dialog_for 3
    vx_wait_program 20
    expect_status 0
    expect_runs status "-gui status /dev/vantorix/dv0" "-gui status /dev/vantorix/dv1"
}

scenario_normal_signal_during_prompt() {
    vx_cards "card dv0"
    vx_status dv0 1 1f Quorvale Duo
    vx_start_program
    local wid
    wid=$(vx_expect_dialog prompt 60) || failures=$((failures + 1))
    send TERM
    check "prompt closed by its own loop" vx_wait_closed "$wid" 10
    vx_wait_program 20
    expect_status 0
    expect_runs update
}

# ---- daemon mode -----------------------------------------------------------

scenario_daemon_replay_prompts_present_cards() {
    fresh_channel
    vx_cards "card dv0" "card dv1"
    vx_status dv0 0 00 Quorvale Duo
    vx_status dv1 1 1f Quorvale Quad
    vx_update_runs dv1 2 0
    vx_start_program -d
    vx_flow_update_card || failures=$((failures + 1))
    check "no further dialog" no_dialog_for 2
    check "still running after its dialogs closed" running
    send TERM
    vx_wait_program 20
    expect_status 0
    expect_runs status "-gui status /dev/vantorix/dv0" "-gui status /dev/vantorix/dv1"
    expect_runs update "-gui update /dev/vantorix/dv1"
}

scenario_daemon_posted_arrival_prompted() {
    empty_channel
    vx_cards "card dv0"
    vx_status dv0 1 1f Quorvale Duo
    vx_start_program -d
    check "nothing to replay" no_dialog_for 3
    post +dv0
    vx_flow_prompt decline || failures=$((failures + 1))
    check "no closing message" no_dialog_for 2
    check "closing the last dialog did not end the program" running
    send INT
    vx_wait_program 20
    expect_status 0
    expect_runs status "-gui status /dev/vantorix/dv0"
}

scenario_daemon_same_card_twice_prompted_once() {
    empty_channel
    vx_cards "card dv0" "card dv1"
    vx_status dv0 1 1f Quorvale Duo
    vx_status dv1 1 2a Quorvale Quad
    vx_start_program -d
    post +dv0
    local wid
    wid=$(vx_expect_dialog prompt 60) || failures=$((failures + 1))
    # While the first prompt waits, dv1 arrives, leaves and arrives again.
    post +dv1 -dv1 +dv1
    eventually 30 status_checks dv1 2
    check "dv1 was checked twice" status_checks dv1 2
    vx_answer_prompt "$wid" decline
    vx_flow_prompt decline || failures=$((failures + 1))
    check "dv1 prompted once" no_dialog_for 3
    send HUP
    vx_wait_program 20
    expect_status 0
}

scenario_daemon_failed_update_stops_prompts() {
    empty_channel
    vx_cards "card dv0" "card dv1"
    vx_status dv0 1 1f Quorvale Duo
    vx_status dv1 1 1f Quorvale Quad
    vx_update_runs dv0 2 1
    vx_start_program -d
    post +dv0
    { vx_flow_prompt update && vx_flow_progress && vx_flow_message error; } || failures=$((failures + 1))
    post +dv1
    check "later arrival not prompted" no_dialog_for 4
    check "later arrival checked" eventually 30 status_checks dv1 1
    send TERM
    vx_wait_program 20
    expect_status 0
}

daemon_ends_on() {
    fresh_channel
    vx_start_program -d
    check "catches termination signals" eventually 60 catches_signals
    check "running" running
    send "$1"
    vx_wait_program 20
    # exec() returned 0 after quit(); the signal itself did not kill it.
    expect_status 0
}

scenario_daemon_sigterm() { daemon_ends_on TERM; }
scenario_daemon_sigint() { daemon_ends_on INT; }
scenario_daemon_sighup() { daemon_ends_on HUP; }

scenario_daemon_signal_during_prompt() {
    empty_channel
    vx_cards "card dv0"
    vx_status dv0 1 1f Quorvale Duo
    vx_start_program -d
    post +dv0
    local wid
    wid=$(vx_expect_dialog prompt 60) || failures=$((failures + 1))
    send TERM
    check "prompt closed by its own loop" vx_wait_closed "$wid" 10
    vx_wait_program 20
    expect_status 0
    expect_runs update
}

scenario_daemon_idle() {
    fresh_channel
    vx_start_program -d
    check "start-up over" eventually 60 settled
    local pid s0 c0 s1 c1 rss threads
    pid=$(vx_program_pid)
    s0=$(switches "$pid"); c0=$(cputicks "$pid")
    sleep 30
    s1=$(switches "$pid"); c1=$(cputicks "$pid")
    rss=$(awk '/VmRSS/ {print $2 " " $3}' /proc/"$pid"/status)
    threads=$(ls /proc/"$pid"/task | wc -l)
    local bits
    # e_ident[EI_CLASS] of the running image: 1 is a 32-bit process, 2 a 64-bit one.
    bits=$(od -An -tu1 -j4 -N1 "/proc/$pid/exe" | tr -d ' ')
    bits=$([ "$bits" = 1 ] && echo 32-bit || echo 64-bit)
    [ -n "${VX_RUN:-}" ] && check "the i386 build runs as a 32-bit process" test "$bits" = 32-bit
    local line="idle daemon ($bits process) over 30 s: context switches $((s1 - s0)) (all $threads threads), CPU ticks $((c1 - c0)), VmRSS $rss"
    echo "$line"
    vx_step "$line"
    echo "$line" > "$work/idle-measurement.txt"
    check "no wake-ups while idle" test $((s1 - s0)) -eq 0
    check "no CPU while idle" test $((c1 - c0)) -eq 0
    send TERM
    vx_wait_program 20
    expect_status 0
}

# ---- daemon mode with the hotplug companion --------------------------------

scenario_daemon_hotplug_prompts_plugged_card() {
    fresh_channel
    vx_hotplug_init
    vx_status dv5 1 1f Quorvale Duo
    vx_start_program -d
    check "companion ready" companion_start
    check "catches termination signals" eventually 60 catches_signals
    check "no card, no dialog for 2 s" no_dialog_for 2
    vx_plug dv5
    vx_flow_prompt decline || failures=$((failures + 1))
    check "prompted once" no_dialog_for 3
    check "dv5 checked once" status_checks dv5 1
    vx_unplug dv5
    check "removal announced" eventually 30 announced "removal dv5"
    vx_plug dv5
    vx_flow_prompt decline || failures=$((failures + 1))
    check "prompted once again" no_dialog_for 3
    check "dv5 checked twice" status_checks dv5 2
    send TERM
    vx_wait_program 20
    expect_status 0
    companion_stop
    check "companion exit status 0" test "$COMPANION_STATUS" = 0
    [ -s "$work/companion.log" ] && { echo "--- companion output"; cat "$work/companion.log"; }
}

# ---- daemon mode against hostile users of the channel ----------------------
# Every user may write the channel's shared object: these scenarios do what
# any of them can, beside the real program.

# Helper processes of a scenario, killed (with their children) if it ends early.
BACKGROUND=()
background() { BACKGROUND+=("$1"); }
stop_background() {
    local pid
    for pid in "${BACKGROUND[@]}"; do
        kill -KILL $(pgrep -P "$pid") "$pid" 2> /dev/null
    done
}

hostile() { ${VX_RUN:-} "$VX_HOSTILE" "$@"; }
ended() { ! kill -0 "$1" 2> /dev/null; }

HOLDER_PID=""
# Another process takes the channel's mutex and keeps it.
hold_mutex() {
    hostile hold > "$work/holder.log" 2>&1 &
    HOLDER_PID=$!
    background "$HOLDER_PID"
    eventually 60 grep -q '^holding' "$work/holder.log"
}
release_mutex() { kill -KILL "$HOLDER_PID"; wait "$HOLDER_PID" 2> /dev/null; }

maps_channel() { grep -q com_vantorixlabs_QuorvaleDiscoveryNotifier /proc/"$1"/maps 2> /dev/null; }
no_longer_maps_channel() { ! maps_channel "$1"; }

sanitizers_silent() { ! grep -qE 'Sanitizer|runtime error' "$@"; }

# Sends SIGTERM and holds the program to ending within SECONDS, with the
# status of an orderly end and nothing from the sanitizers. The program's
# own process is timed: under the simulated cards their runner ends after it.
ends_on_sigterm_within() {
    local seconds=$1 pid sent deadline
    pid=$(vx_program_pid) || return 1
    sent=$(date +%s%3N)
    deadline=$(( sent + seconds * 1000 ))
    send TERM
    while kill -0 "$pid" 2> /dev/null && [ "$(date +%s%3N)" -lt "$deadline" ]; do sleep 0.05; done
    if kill -0 "$pid" 2> /dev/null; then
        check "the program ended within $seconds s of SIGTERM" false
        kill -KILL "$pid"
    else
        vx_step "the program ended $(( $(date +%s%3N) - sent )) ms after SIGTERM"
    fi
    vx_wait_program 20
    expect_status 0
    check "nothing from the sanitizers" sanitizers_silent "$work/program-output.log"
}

# The updater was asked about NODE more than COUNT times.
checked_more_than() { test "$(runs status | grep -c "$1")" -gt "$2"; }

# post_for SECONDS: posters one after another, each run's status in
# posters.status. They post nodes that no card has: the removal of a present
# card costs the listener a descriptor for good, by the family's design.
post_for() {
    local deadline=$(( $(date +%s) + $1 ))
    while [ "$(date +%s)" -lt "$deadline" ]; do
        ${VX_RUN:-} "$VX_POST" +dv7 -dv7 +io3 -io3 >> "$work/posters.log" 2>&1
        echo $? >> "$work/posters.status"
    done
}

decoy_opens() { grep -c '^opened' "$work/decoy-opens.log"; }
decoy_opened_once() { test "$(decoy_opens)" = 1; }

# A minute of garbage from another user, with a poster at work: the program
# never crashes, never opens the decoy that the garbage's "../" prefixes
# point at, still hears valid arrivals afterwards, and ends on SIGTERM.
scenario_daemon_hostile_writer() {
    fresh_channel
    vx_cards "card dv0"
    vx_status dv0 0 00 Quorvale Duo
    vx_start_program -d
    check "listening: the present card was replayed" eventually 60 status_checks dv0 1
    local pid testbed decoy fd seed=${VX_SEED:-$RANDOM}
    pid=$(vx_program_pid)
    # Under the emulation /dev/vantorix lies in the testbed, so that the
    # writer's prefix "../../vxdecoy" with unit 0 leads to this FIFO.
    testbed=$(tr '\0' '\n' < /proc/"$pid"/environ | sed -n 's/^UMOCKDEV_DIR=//p')
    decoy=$testbed/vxdecoy0
    check "the decoy FIFO is made" mkfifo "$decoy"
    ${VX_RUN:-} "$VX_OPENWATCH" "$decoy" > "$work/decoy-opens.log" 2>&1 &
    background $!
    check "the decoy is watched" eventually 30 grep -q '^watching' "$work/decoy-opens.log"
    # The watch is seen to work: the test opens the decoy once itself.
    exec {fd}<> "$decoy"
    exec {fd}>&-
    check "the watch saw the test's own open" eventually 10 decoy_opened_once

    vx_step "a hostile writer (seed $seed) and a poster for 60 s"
    hostile write "$seed" 60 ../../vxdecoy > "$work/writer.log" 2>&1 &
    local writer=$!
    background "$writer"
    post_for 60 &
    local posters=$!
    background "$posters"
    local survived=yes
    while kill -0 "$writer" 2> /dev/null; do
        running || { survived=no; break; }
        sleep 0.5
    done
    check "the program ran through the minute" test "$survived" = yes
    wait "$writer"
    check "the writer ended with status 0" test $? = 0
    vx_step "writer: $(cat "$work/writer.log")"
    check "the writer pointed events at the decoy" grep -qE 'decoys [1-9]' "$work/writer.log"
    check "the writer woke the listeners" grep -qE 'wakeups [1-9]' "$work/writer.log"
    # Each poster waits for the channel only so long: the loop ends soon after its minute.
    check "the posters stopped" eventually 60 ended "$posters"
    vx_step "posters: $(wc -l < "$work/posters.status") runs, $(grep -c '^0$' "$work/posters.status") of them joined and posted"
    check "no poster crashed" test -z "$(grep -vE '^[01]$' "$work/posters.status")"
    check "nothing from the posters' sanitizers" sanitizers_silent "$work/posters.log"
    check "the program ran on" running

    local before
    before=$(runs status | grep -c dv0)
    # The ring the writer left may hide the first post from the listener
    # (its read index may lie just past it): the next one is heard.
    vx_step "another process posts -dv0 +dv0 until the program checks dv0 again"
    post_and_check() {
        ${VX_RUN:-} "$VX_POST" -dv0 +dv0 2>> "$work/posters.log"
        eventually 10 checked_more_than dv0 "$before"
    }
    check "a valid arrival is still heard" eventually 60 post_and_check
    vx_step "the decoy was opened $(decoy_opens) time(s), the test's own open included"
    check "nothing but the test opened the decoy" decoy_opened_once
    ends_on_sigterm_within 5
}

# A holder of the mutex that never lets go blocks the family by design: the
# program, already listening, must still end on SIGTERM.
scenario_daemon_mutex_held_while_listening() {
    fresh_channel
    vx_cards "card dv0"
    vx_status dv0 0 00 Quorvale Duo
    vx_start_program -d
    check "listening: the present card was replayed" eventually 60 status_checks dv0 1
    check "another process holds the channel's mutex" hold_mutex
    ${VX_RUN:-} "$VX_POST" +dv0 > "$work/posters.log" 2>&1 &
    local poster=$!
    background "$poster"
    vx_step "another process posts +dv0 and waits for the mutex"
    ends_on_sigterm_within 5
    check "the poster still waits: the mutex was held throughout" kill -0 "$poster"
    kill -KILL "$poster"
    release_mutex
}

# The mutex is already held when the program starts: it gives the channel
# up without spinning, runs its event loop and ends on SIGTERM.
scenario_daemon_mutex_held_before_start() {
    empty_channel
    check "another process holds the channel's mutex" hold_mutex
    vx_start_program -d
    local pid since ticks0 waited ticks
    pid=$(vx_program_pid)
    check "the program maps the channel" eventually 60 maps_channel "$pid"
    since=$(date +%s%3N)
    ticks0=$(cputicks "$pid")
    check "and gives it up" eventually 120 no_longer_maps_channel "$pid"
    waited=$(( $(date +%s%3N) - since ))
    ticks=$(( $(cputicks "$pid") - ticks0 ))
    vx_step "the program waited about $waited ms for the mutex, using $ticks CPU ticks"
    # A tick is 10 ms: less than half a core, where a spinning wait takes all of one.
    check "without spinning" test $(( ticks * 10 * 2 )) -lt "$waited"
    check "still running" running
    ends_on_sigterm_within 5
    release_mutex
}

vx_start_xvfb || exit 1
trap 'vx_stop_xvfb; running && kill -KILL "$VX_PID" 2> /dev/null; [ -n "$COMPANION_PID" ] && kill -KILL "$COMPANION_PID" 2> /dev/null; stop_background' EXIT
if ! declare -F "scenario_$scenario" > /dev/null; then
    echo "unknown scenario $scenario" >&2
    exit 2
fi
"scenario_$scenario"
[ -s "$work/program-output.log" ] && { echo "--- program output"; cat "$work/program-output.log"; }
echo "--- steps"; cat "$VX_STEPS"
echo "artefacts: $work"
[ "$failures" -eq 0 ]
