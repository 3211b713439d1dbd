#!/usr/bin/env bash
# The program's main job, from a fresh clone: installs what is missing, builds
# the product (the i386 build), and runs VantorixFirmwareUpdaterGui once over
# the cards present.
#
# Without cards in /dev/vantorix (the usual case on a development machine) it
# runs the real program on simulated hardware: two simulated Quorvale cards,
# one up to date and one that needs new firmware, and a simulated firmware
# updater that answers the status questions and flashes the second card over
# a few seconds.
#
#   With a display ($DISPLAY set) you answer the dialogs yourself.
#   Without one, or with --headless, it runs on a private Xvfb, answers the
#   dialogs itself as a user would, and leaves a screenshot of every dialog
#   and a one-line-per-step account (steps.txt) in demo-output/<time>/.
#
#   scripts/demo.sh [--headless]
set -euo pipefail
cd "$(dirname "$0")/.."
top=$(pwd)

headless=no
[ "${1:-}" = "--headless" ] && headless=yes
[ -n "${DISPLAY:-}" ] || headless=yes

say() { printf '\n=== %s\n' "$*"; }

say "installing what is missing"
scripts/install-deps.sh
scripts/make-i386-sysroot.sh build/sysroot-i386

say "building the product (i386)"
cmake --preset i386 > build-i386.configure.log 2>&1 || { cat build-i386.configure.log; exit 1; }
rm -f build-i386.configure.log
cmake --build --preset i386 --target VantorixFirmwareUpdaterGui simulated_cards simulated_updater

build=$top/build/i386
program=$build/app/VantorixFirmwareUpdaterGui
file -L "$program" | sed "s|$top/||"

if compgen -G "/dev/vantorix/*" > /dev/null; then
    say "cards found in /dev/vantorix: running the program on them"
    exec "$build/run-i386" "$program"
fi

export VX_PROGRAM=$program
export VX_SIMCARDS=$build/tests/support/simcard/simulated_cards
export VX_UPDATER=$build/tests/support/simulated_updater
export VX_RUN=$build/run-i386
source tests/support/program-session.sh

out=$top/demo-output/$(date +%Y%m%d-%H%M%S)
vx_session_init "$out"

# Two cards: dv0 is up to date, dv1 needs new firmware.
vx_cards "card dv0 firmware=3,14" "card dv1 firmware=2,7"
vx_status dv0 0 00 Quorvale Duo
vx_status dv1 1 1f Quorvale Quad 4K
vx_update_runs dv1 6 0

if [ "$headless" = no ]; then
    say "running on your display $DISPLAY"
    cat <<'TEXT'
Two simulated cards are present; "Quorvale Quad 4K" needs new firmware.
You will see:
  1. "Vantorix Software Update": click "Update Now" (or "Don't Update";
     hold Control while clicking it to stop being asked for this version).
  2. "Updating Software...": the simulated updater flashes the card (6 s).
  3. "Please Power Cycle": click OK. The program then ends.
TEXT
    vx_start_program
    vx_wait_program 600 || true
else
    say "no display: running on a private Xvfb and answering the dialogs"
    export QT_QPA_PLATFORM=xcb
    vx_start_xvfb
    trap 'vx_stop_xvfb' EXIT
    vx_step "simulated cards: dv0 \"Quorvale Duo\" (up to date), dv1 \"Quorvale Quad 4K\" (needs new firmware)"
    vx_start_program
    if ! vx_flow_update_card; then
        kill "$VX_PID" 2> /dev/null || true
    fi
    vx_wait_program 30 || true
fi

vx_step "the updater was run as:"
while IFS= read -r line; do vx_step "  $(basename "$VX_UPDATER") $line"; done < <(vx_updater_runs)

say "what happened (steps.txt)"
cat "$VX_STEPS"
[ -d "$VX_SHOTS" ] && { echo; echo "screenshots:"; ls "$VX_SHOTS" | sed 's/^/  /'; }
echo
echo "everything is in ${out#$top/}/"
[ "${VX_STATUS:-1}" -eq 0 ] && ! grep -q '^FAILED' "$VX_STEPS"
