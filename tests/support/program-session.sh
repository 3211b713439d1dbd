# Runs the real program on simulated hardware: simulated cards (the
# simulated_cards runner), the simulated updater with a scenario, an X display.
# Shared by scripts/demo.sh and the end-to-end tests, together with
# dialog-driver.sh (sourced from here), so that every flow exists once.
#
# Set before use:
#   VX_PROGRAM   the VantorixFirmwareUpdaterGui binary
#   VX_SIMCARDS  the simulated_cards runner
#   VX_UPDATER   the simulated_updater
#   VX_RUN       a wrapper that runs this build's binaries (build/i386/run-i386), or empty

source "$(dirname "${BASH_SOURCE[0]}")/dialog-driver.sh"

# Prepares the folder of one run: screenshots, the step account, the card
# configuration, the updater's scenario and argument log.
vx_session_init() {
    VX_WORK=$1
    mkdir -p "$VX_WORK"
    VX_SHOTS=$VX_WORK/screenshots
    VX_STEPS=$VX_WORK/steps.txt
    VX_CARDS=$VX_WORK/cards.conf
    : > "$VX_STEPS"
    : > "$VX_CARDS"
    export VANTORIX_FIRMWARE_UPDATER_PATH=$VX_UPDATER
    export SIMULATED_UPDATER_SCENARIO=$VX_WORK/updater-scenario
    export SIMULATED_UPDATER_LOG=$VX_WORK/updater-arguments.log
    : > "$SIMULATED_UPDATER_SCENARIO"
    : > "$SIMULATED_UPDATER_LOG"
    export XDG_RUNTIME_DIR=$VX_WORK/runtime
    mkdir -p -m 0700 "$XDG_RUNTIME_DIR"
    VX_PID=""
    VX_CONTROL=""
}

# Adds simulated cards, one configuration line each (e.g. "card dv0").
vx_cards() { printf '%s\n' "$@" >> "$VX_CARDS"; }

# Adds lines to the updater's scenario (see SimulatedUpdater.cpp).
vx_updater() { printf '%s\n' "$@" >> "$SIMULATED_UPDATER_SCENARIO"; }

# The updater's status answer for card NODE: "vx_status dv0 1 1f Quorvale Duo".
vx_status() {
    local node=$1 required=$2 flags=$3; shift 3
    vx_updater "status /dev/vantorix/$node out $required:/dev/vantorix/$node:$flags:$*\\n"
}

# An update of NODE (or * for any) that counts to 100 over about SECONDS and
# ends with EXIT.
vx_update_runs() {
    local node=$1 seconds=$2 code=$3 target percent step
    [ "$node" = "*" ] && target="*" || target=/dev/vantorix/$node
    step=$(( seconds * 1000 / 10 ))
    for percent in 0 10 20 30 40 50 60 70 80 90 100; do
        vx_updater "update $target out $percent\\n"
        [ "$percent" -lt 100 ] && vx_updater "update $target sleep $step"
    done
    vx_updater "update $target exit $code"
}

# Cards plugged in and out while the program runs (vx_plug, vx_unplug): the
# simulated cards take commands from a FIFO, and other processes can join
# their emulation (the testbed's root is written to $VX_TESTBED).
vx_hotplug_init() {
    VX_CONTROL=$VX_WORK/cards.control
    VX_TESTBED=$VX_WORK/testbed
    rm -f "$VX_CONTROL" "$VX_TESTBED"
    mkfifo "$VX_CONTROL"
    grep -q . "$VX_CARDS" || echo "# cards are plugged in while the program runs" >> "$VX_CARDS"
}

# vx_plug NAME [SETTING...] (as on a "card" line); vx_unplug NAME.
vx_plug() { vx_step "plugged in $1"; echo "plug $*" > "$VX_CONTROL"; }
vx_unplug() { vx_step "unplugged $1"; echo "unplug $1" > "$VX_CONTROL"; }

# Starts the program with ARGS in the background; under simulated_cards when
# cards are configured, bare otherwise (then no /dev/vantorix exists).
vx_start_program() {
    local hotplug=()
    [ -n "${VX_CONTROL:-}" ] && hotplug=(--control "$VX_CONTROL" --testbed "$VX_TESTBED")
    if [ -s "$VX_CARDS" ]; then
        ${VX_RUN:-} "$VX_SIMCARDS" --config "$VX_CARDS" --log "$VX_WORK/card-requests.log" "${hotplug[@]}" \
            -- "$VX_PROGRAM" "$@" > "$VX_WORK/program-output.log" 2>&1 &
    else
        ${VX_RUN:-} "$VX_PROGRAM" "$@" > "$VX_WORK/program-output.log" 2>&1 &
    fi
    VX_PID=$!
    local what
    what="started $(basename "$VX_PROGRAM")${*:+ $*}"
    [ -s "$VX_CARDS" ] && what+=" on $(grep -c '^card' "$VX_CARDS") simulated card(s)"
    vx_step "$what"
}

# The program's own process id (the runner's child when under simulated_cards).
vx_program_pid() {
    local child exe deadline=$(( $(date +%s) + 10 ))
    while [ "$(date +%s)" -lt "$deadline" ]; do
        exe=$(readlink "/proc/$VX_PID/exe" 2> /dev/null)
        [ "$(basename "$exe")" = "$(basename "$VX_PROGRAM")" ] && { echo "$VX_PID"; return 0; }
        for child in $(pgrep -P "$VX_PID"); do
            exe=$(readlink "/proc/$child/exe" 2> /dev/null)
            [ "$(basename "$exe")" = "$(basename "$VX_PROGRAM")" ] && { echo "$child"; return 0; }
        done
        sleep 0.1
    done
    vx_fail "program process not found"
}

# Waits up to SECONDS for the program to end; sets VX_STATUS.
vx_wait_program() {
    local seconds=${1:-30} deadline
    deadline=$(( $(date +%s) + seconds ))
    while kill -0 "$VX_PID" 2> /dev/null && [ "$(date +%s)" -lt "$deadline" ]; do sleep 0.1; done
    if kill -0 "$VX_PID" 2> /dev/null; then
        vx_fail "program still running after ${seconds}s"
        kill -KILL "$VX_PID" 2> /dev/null
    fi
    wait "$VX_PID"
    VX_STATUS=$?
    vx_step "program ended with exit status $VX_STATUS"
}

# The updater's runs so far, one per line, arguments separated by blanks.
vx_updater_runs() { tr '\t' ' ' < "$SIMULATED_UPDATER_LOG"; }

# ---- Flows shared by the demo and the tests -------------------------------

# The prompt for a card: checks it, answers it (update, decline, ignore).
vx_flow_prompt() {
    local answer=$1 wid
    wid=$(vx_expect_dialog prompt 60) || return 1
    vx_answer_prompt "$wid" "$answer"
}

# Answers an open prompt: update, decline or ignore (decline with Control).
vx_answer_prompt() {
    local wid=$1 answer=$2 said
    said="prompt \"Software Update Required!\" for \"$(vx_prompt_card "$wid")\" (540x150):"
    case "$answer" in
        update)  vx_step "$said clicked \"Update Now\""; vx_prompt_update "$wid" ;;
        decline) vx_step "$said clicked \"Don't Update\""; vx_prompt_decline "$wid" ;;
        ignore)  vx_step "$said clicked \"Don't Update\" with Control held"; vx_prompt_ignore "$wid" ;;
    esac
    vx_wait_closed "$wid" 10
}

# The progress dialog, followed until the update ends.
vx_flow_progress() {
    vx_follow_progress 120 > /dev/null || return 1
    vx_step "progress \"Updating Software...\" (602x70) ran until the updater finished"
}

# A closing message of KIND (powercycle, error, uptodate), confirmed with OK.
vx_flow_message() {
    local kind=$1 wid
    wid=$(vx_expect_dialog "$kind" 30) || return 1
    vx_step "message \"$(vx_dialog_text "$wid" | sed 's/ *$//')\" (540x150): pressed Return (OK)"
    vx_message_ok "$wid"
    vx_wait_closed "$wid" 10
}

# One card updated: prompt, "Update Now", progress, "Please Power Cycle".
vx_flow_update_card() {
    vx_flow_prompt update && vx_flow_progress && vx_flow_message powercycle
}
