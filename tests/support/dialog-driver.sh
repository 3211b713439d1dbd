# Drives the program's dialogs on an X display as a user would: finds windows
# by title, reads what they show, answers with keys and clicks, and keeps
# screenshots. Shared by scripts/demo.sh and the end-to-end tests.
#
#   source tests/support/dialog-driver.sh
#   VX_SHOTS=<folder for screenshots>   VX_STEPS=<file, one line per step> (optional)
#
# Every function returns non-zero (and says why on stderr) when the screen
# does not show what it expects.

VX_DIALOG_TITLE="Vantorix Software Update"
VX_PROGRESS_TITLE="Updating Software..."
# Windows already answered, kept in a file because callers often run the
# functions in a subshell.
VX_HANDLED_FILE=$(mktemp)
# What each dialog showed, as read from its pixels: one file per window.
VX_TEXT_DIR=$(mktemp -d)

vx_step() {
    [ -n "${VX_STEPS:-}" ] && printf '%s\n' "$*" >> "$VX_STEPS"
    printf 'step: %s\n' "$*" >&2
}

vx_fail() {
    printf 'FAIL: %s\n' "$*" >&2
    [ -n "${VX_STEPS:-}" ] && printf 'FAILED: %s\n' "$*" >> "$VX_STEPS"
    return 1
}

# Starts a private Xvfb and exports DISPLAY. Sets VX_XVFB_PID.
vx_start_xvfb() {
    local fifo display
    fifo=$(mktemp -u) && mkfifo "$fifo"
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp -noreset 3> "$fifo" 2> /dev/null &
    VX_XVFB_PID=$!
    read -r display < "$fifo"
    rm -f "$fifo"
    [ -n "$display" ] || { vx_fail "Xvfb did not start"; return 1; }
    export DISPLAY=":$display"
}

vx_stop_xvfb() {
    [ -n "${VX_XVFB_PID:-}" ] && kill "$VX_XVFB_PID" 2> /dev/null && wait "$VX_XVFB_PID" 2> /dev/null
    VX_XVFB_PID=""
}

_vx_regex() { printf '^%s$' "$(printf '%s' "$1" | sed 's/[].[^$*+?(){}|\\]/\\&/g')"; }

# Prints the ids of the visible windows titled exactly TITLE, oldest first.
vx_windows() {
    xdotool search --onlyvisible --name "$(_vx_regex "$1")" 2> /dev/null
}

# Waits up to SECONDS (default 30) for a visible window titled TITLE that has
# not been handled yet; prints its id. The window is marked handled.
vx_wait_window() {
    local title=$1 seconds=${2:-30} deadline wid
    deadline=$(( $(date +%s) + seconds ))
    while [ "$(date +%s)" -lt "$deadline" ]; do
        for wid in $(vx_windows "$title"); do
            grep -qx "$wid" "$VX_HANDLED_FILE" && continue
            echo "$wid" >> "$VX_HANDLED_FILE"
            sleep 0.4   # let it paint before anyone looks at it
            echo "$wid"
            return 0
        done
        sleep 0.1
    done
    vx_fail "no new window \"$title\" within ${seconds}s"
}

# Succeeds when no new window titled TITLE appears within SECONDS.
vx_expect_no_window() {
    local title=$1 seconds=$2 wid
    local deadline=$(( $(date +%s) + seconds ))
    while [ "$(date +%s)" -lt "$deadline" ]; do
        for wid in $(vx_windows "$title"); do
            grep -qx "$wid" "$VX_HANDLED_FILE" && continue
            vx_shot "$wid" unexpected > /dev/null
            vx_fail "unexpected window \"$title\" ($wid)"
            return 1
        done
        sleep 0.2
    done
}

vx_wait_closed() {
    local wid=$1 seconds=${2:-30}
    local deadline=$(( $(date +%s) + seconds ))
    while [ "$(date +%s)" -lt "$deadline" ]; do
        xwininfo -id "$wid" 2> /dev/null | grep -q 'Map State: IsViewable' || return 0
        sleep 0.1
    done
    vx_fail "window $wid still open after ${seconds}s"
}

# Prints "WIDTHxHEIGHT" of a window.
vx_size() {
    xwininfo -id "$1" | awk '/^  Width:/ {w=$2} /^  Height:/ {h=$2} END {print w "x" h}'
}

# Succeeds when the window asks the window manager for a fixed size W x H.
vx_fixed_size() {
    local hints
    hints=$(xprop -id "$1" WM_NORMAL_HINTS)
    grep -q "minimum size: $2 by $3" <<< "$hints" && grep -q "maximum size: $2 by $3" <<< "$hints"
}

# Screenshot of the whole screen (the dialog as the user sees it); prints the path.
vx_shot() {
    local wid=$1 name=$2 dir=${VX_SHOTS:-.} count file
    mkdir -p "$dir"
    # Numbered by what is already there: callers often run in a subshell.
    count=$(find "$dir" -maxdepth 1 -name '*.png' | wc -l)
    file=$(printf '%s/%02d-%s.png' "$dir" $((count + 1)) "$name")
    import -window root "$file" 2> /dev/null || import -window "$wid" "$file"
    echo "$file"
}

# Prints the text a window shows, read from its pixels.
vx_read_text() {
    local wid=$1 tmp
    tmp=$(mktemp --suffix=.png)
    import -window "$wid" "$tmp" 2> /dev/null
    convert "$tmp" -colorspace Gray -resize 300% "$tmp"
    tesseract "$tmp" - 2> /dev/null | tr -s ' \n' ' '
    rm -f "$tmp"
}

# Prints what a "Vantorix Software Update" window is: prompt, uptodate,
# powercycle, error or unknown.
vx_classify() {
    local text kind attempt
    # A loaded machine may not have painted the window yet: read it again.
    for attempt in 1 2 3 4 5 6 7 8 9 10; do
        text=$(vx_read_text "$1")
        case "$text" in
            *"Update Required"*|*"Update Now"*) kind=prompt ;;
            *"up to date"*) kind=uptodate ;;
            *"Power Cycle"*|*"reboot"*) kind=powercycle ;;
            *"could not be upgraded"*|*"error has occurred"*) kind=error ;;
            *) kind="unknown: $text"; sleep 0.5; continue ;;
        esac
        break
    done
    printf '%s\n' "$text" > "$VX_TEXT_DIR/$1"
    echo "$kind"
}

# The text a classified dialog showed.
vx_dialog_text() { cat "$VX_TEXT_DIR/$1" 2> /dev/null; }

# The card a prompt names ("Your <name> needs a software update").
vx_prompt_card() { vx_dialog_text "$1" | sed -n 's/.*Your \(.*\) needs a software.*/\1/p'; }

# Succeeds when the card icon is drawn at the dialog's left: the area there
# is not a flat background.
vx_icon_shown() {
    local tmp deviation
    tmp=$(mktemp --suffix=.png)
    import -window "$1" "$tmp" 2> /dev/null
    deviation=$(convert "$tmp" -crop 100x100+0+0 -colorspace Gray -format '%[fx:standard_deviation]' info:)
    rm -f "$tmp"
    awk -v d="$deviation" 'BEGIN { exit !(d > 0.05) }'
}

# Waits for the next dialog titled "Vantorix Software Update", checks its size,
# keeps a screenshot and prints "WID KIND".
vx_next_dialog() {
    local seconds=${1:-30} wid kind
    wid=$(vx_wait_window "$VX_DIALOG_TITLE" "$seconds") || return 1
    kind=$(vx_classify "$wid")
    [ "$(vx_size "$wid")" = 540x150 ] || { vx_fail "dialog $wid is $(vx_size "$wid"), not 540x150"; return 1; }
    vx_fixed_size "$wid" 540 150 || { vx_fail "dialog $wid can be resized"; return 1; }
    vx_shot "$wid" "${kind%%:*}" > /dev/null
    echo "$wid $kind"
}

# Like vx_next_dialog, and fails unless the dialog is of KIND.
vx_expect_dialog() {
    local want=$1 seconds=${2:-30} got
    got=$(vx_next_dialog "$seconds") || return 1
    set -- $got
    [ "$2" = "$want" ] || { vx_fail "expected the $want dialog, saw: ${got#* }"; return 1; }
    echo "$1"
}

_vx_focus() { xdotool windowfocus --sync "$1" 2> /dev/null || xdotool windowfocus "$1"; }

vx_key() { _vx_focus "$1"; xdotool key --clearmodifiers "$2"; }

# Clicks at X,Y inside the window; negative values count from the right or
# bottom edge. A third argument "ctrl" holds Control during the click.
vx_click() {
    local wid=$1 x=$2 y=$3 mod=${4:-} size w h
    size=$(vx_size "$wid"); w=${size%x*}; h=${size#*x}
    [ "$x" -lt 0 ] && x=$((w + x))
    [ "$y" -lt 0 ] && y=$((h + y))
    _vx_focus "$wid"
    xdotool mousemove --window "$wid" "$x" "$y"
    sleep 0.1
    [ "$mod" = ctrl ] && xdotool keydown ctrl && sleep 0.1
    xdotool click 1
    [ "$mod" = ctrl ] && sleep 0.1 && xdotool keyup ctrl
    return 0
}

# Button centres in the 540x150 prompt, from its bottom-right corner.
VX_UPDATE_NOW_AT=(-56 -24)
VX_DONT_UPDATE_AT=(-152 -24)

vx_prompt_update()  { vx_click "$1" "${VX_UPDATE_NOW_AT[@]}"; }
vx_prompt_decline() { vx_click "$1" "${VX_DONT_UPDATE_AT[@]}"; }
vx_prompt_ignore()  { vx_click "$1" "${VX_DONT_UPDATE_AT[@]}" ctrl; }
vx_message_ok()     { vx_key "$1" Return; }

# The percentage the progress dialog's bar shows, read from the pixels of
# the bar's row alone, as one line (nothing when the bar shows none).
vx_progress_percent() {
    local tmp
    tmp=$(mktemp --suffix=.png)
    import -window "$1" "$tmp" 2> /dev/null
    convert "$tmp" -crop 602x32+0+34 +repage -colorspace Gray -resize 300% "$tmp"
    tesseract "$tmp" - --psm 7 2> /dev/null | grep -o '[0-9]\{1,3\} *%' | head -n 1 | tr -dc '0-9'
    rm -f "$tmp"
}

# Waits for the progress dialog (or takes WID, already found), checks its
# size, keeps a screenshot while it runs and waits until it closes. Prints its
# id.
vx_follow_progress() {
    local seconds=${1:-60} wid=${2:-}
    [ -n "$wid" ] || wid=$(vx_wait_window "$VX_PROGRESS_TITLE" 30) || return 1
    [ "$(vx_size "$wid")" = 602x70 ] || { vx_fail "progress dialog is $(vx_size "$wid"), not 602x70"; return 1; }
    vx_fixed_size "$wid" 602 70 || { vx_fail "progress dialog can be resized"; return 1; }
    vx_shot "$wid" progress > /dev/null
    # A second look a little later shows the bar moving on longer updates.
    sleep 2.5
    xwininfo -id "$wid" 2> /dev/null | grep -q 'Map State: IsViewable' && vx_shot "$wid" progress-later > /dev/null
    vx_wait_closed "$wid" "$seconds" || return 1
    echo "$wid"
}
