#!/usr/bin/env bash
# Runs a command against a private X server and returns the command's status.
#
#   tests/support/run-with-xvfb.sh [-s WIDTHxHEIGHTxDEPTH] COMMAND [ARG...]
#
# Xvfb picks a free display itself (-displayfd); access needs a cookie kept in
# a private XAUTHORITY file. DISPLAY and XAUTHORITY are exported to the
# command; the server is stopped afterwards whatever the command did.
set -euo pipefail

screen=1280x1024x24
if [ "${1:-}" = "-s" ]; then
    screen=$2
    shift 2
fi
[ $# -gt 0 ] || { echo "usage: $0 [-s WxHxD] COMMAND [ARG...]" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/xvfb.XXXXXX")
xvfb_pid=
cleanup() {
    if [ -n "$xvfb_pid" ]; then
        kill "$xvfb_pid" 2>/dev/null || true
        wait "$xvfb_pid" 2>/dev/null || true
    fi
    rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# The server reads every cookie of its -auth file whatever display it names;
# the client looks one up by display, so the entry is added again for the
# display the server chose.
export XAUTHORITY=$work/Xauthority
cookie=$(mcookie)
: > "$XAUTHORITY"
xauth -q -f "$XAUTHORITY" add ":0" MIT-MAGIC-COOKIE-1 "$cookie"

mkfifo "$work/displayfd"
Xvfb -displayfd 3 -screen 0 "$screen" -nolisten tcp -auth "$XAUTHORITY" \
    3> "$work/displayfd" > "$work/xvfb.log" 2>&1 &
xvfb_pid=$!

display=
if ! read -r -t 30 display < "$work/displayfd" || [ -z "$display" ]; then
    echo "Xvfb did not start:" >&2
    cat "$work/xvfb.log" >&2
    exit 1
fi
xauth -q -f "$XAUTHORITY" add ":$display" MIT-MAGIC-COOKIE-1 "$cookie"
export DISPLAY=":$display"

status=0
"$@" || status=$?
exit "$status"
