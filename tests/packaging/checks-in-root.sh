#!/bin/bash
# The checks of tests/packaging/install-tests.sh, run inside a fresh root:
# /packages holds the .debs, /checks this folder, /readme the README.
#
#   bash /checks/checks-in-root.sh i386|amd64
set -u

arch=$1
passed=0
failed=0
title="Vantorix Software Update"
program=VantorixFirmwareUpdaterGui
shm=/dev/shm/com_vantorixlabs_QuorvaleDiscoveryNotifier

# check NAME FUNCTION: one line per check; the output of a failed one follows.
check() {
    local name=$1 out
    shift
    if out=$("$@" 2>&1); then
        echo "PASS: $name"
        passed=$((passed + 1))
    else
        echo "FAIL: $name"
        printf '%s\n' "$out" | tail -n 25 | sed 's/^/    /'
        failed=$((failed + 1))
    fi
}

# As a user's system: Recommends are installed, nothing asks questions.
rm -f /etc/apt/apt.conf.d/10no-recommends
echo 'APT::Get::Assume-Yes "true";' > /etc/apt/apt.conf.d/90assume-yes
mkdir -p /tmp/debs
cp /packages/*.deb /tmp/debs/

our_packages() {
    dpkg-query -W -f='${db:Status-Abbrev} ${binary:Package}\n' 'libquorvale*' 'quorvale-*' 'vantorix-*' 2> /dev/null \
        | awk '$1 ~ /^.i/ { print $2 }'
}

install_all() {
    cd /tmp/debs && apt-get -q update && apt-get -q install ./*.deb
}

# The commands of the README's section for 64-bit systems, as written there,
# run in the folder that holds the packages.
install_as_readme_says() {
    local commands
    commands=$(awk '/^### 64-bit Debian and Ubuntu/ { section = 1; next }
                    section && /^#/ { exit }
                    section && /^```/ { if (block) exit; block = 1; next }
                    section && block { print }' /readme/README.md)
    [ -n "$commands" ] || { echo "no commands under \"### 64-bit Debian and Ubuntu\" in README.md"; return 1; }
    printf '%s\n' "$commands"
    cd /tmp/debs && bash -c 'sudo() { "$@"; }; set -ex; '"$commands"
    dpkg-query -W -f='${Status}\n' "vantorix-firmware-updater-gui:i386" | grep -q 'install ok installed'
}

start_display() {
    Xvfb :57 -screen 0 1024x768x24 -nolisten tcp -noreset > /tmp/xvfb.log 2>&1 &
    export DISPLAY=:57
    local i
    for i in $(seq 100); do
        xdpyinfo > /dev/null 2>&1 && return 0
        sleep 0.1
    done
    echo "Xvfb did not start"; cat /tmp/xvfb.log
    return 1
}

windows() { xdotool search --onlyvisible --name "^$title\$" 2> /dev/null; }

# Waits up to SECONDS for process PID to end; leaves its status in $exit_status.
wait_exit() {
    local pid=$1 seconds=$2 i
    for i in $(seq $((seconds * 10))); do
        if ! kill -0 "$pid" 2> /dev/null; then
            wait "$pid"; exit_status=$?
            return 0
        fi
        sleep 0.1
    done
    kill -KILL "$pid" 2> /dev/null; wait "$pid" 2> /dev/null
    echo "still running after ${seconds}s"
    return 1
}

# With no cards: exactly one "Vantorix Software Update" window of 540x150
# (the up-to-date message); Return accepts it and the program exits 0.
up_to_date_window() {
    local pid wid count size i
    "$program" > /tmp/program.log 2>&1 &
    pid=$!
    for i in $(seq 300); do
        [ -n "$(windows)" ] && break
        kill -0 "$pid" 2> /dev/null || { echo "ended without a window"; cat /tmp/program.log; return 1; }
        sleep 0.1
    done
    sleep 1
    count=$(windows | wc -l)
    [ "$count" -eq 1 ] || { echo "$count windows titled \"$title\""; kill "$pid"; return 1; }
    wid=$(windows)
    size=$(xwininfo -id "$wid" | awk '/^  Width:/ { w = $2 } /^  Height:/ { h = $2 } END { print w "x" h }')
    echo "window $wid: $size"
    [ "$size" = 540x150 ] || { kill "$pid"; return 1; }
    xdotool windowfocus --sync "$wid" 2> /dev/null || xdotool windowfocus "$wid"
    xdotool key --clearmodifiers Return
    wait_exit "$pid" 15 || return 1
    echo "exit status $exit_status"
    [ "$exit_status" -eq 0 ] || { cat /tmp/program.log; return 1; }
}

# -q: no window at all, exit status 0.
quiet_run() {
    local pid
    "$program" -q > /tmp/program.log 2>&1 &
    pid=$!
    while kill -0 "$pid" 2> /dev/null; do
        [ -z "$(windows)" ] || { echo "a window appeared"; kill "$pid"; return 1; }
        sleep 0.05
    done
    wait "$pid"; exit_status=$?
    echo "exit status $exit_status"
    [ "$exit_status" -eq 0 ] || { cat /tmp/program.log; return 1; }
}

# -d: keeps running without a window, joins the discovery channel, exits 0
# on SIGTERM.
daemon_run() {
    local pid
    "$program" -d > /tmp/program.log 2>&1 &
    pid=$!
    sleep 3
    kill -0 "$pid" 2> /dev/null || { echo "ended by itself"; cat /tmp/program.log; return 1; }
    [ -z "$(windows)" ] || { echo "a window appeared"; kill "$pid"; return 1; }
    ls -l "$shm" || { kill "$pid"; return 1; }
    kill -TERM "$pid"
    wait_exit "$pid" 15 || return 1
    echo "exit status $exit_status"
    [ "$exit_status" -eq 0 ] || { cat /tmp/program.log; return 1; }
}

dev_pkg_config() {
    mkdir -p /tmp/dev && cd /tmp/dev || return 1
    echo "pkg-config --cflags --libs quorvale: $(pkg-config --cflags --libs quorvale)"
    # shellcheck disable=SC2046
    gcc -Wall -Wextra -Werror -o count-cards /checks/consumer/count-cards.c $(pkg-config --cflags --libs quorvale) \
        && ./count-cards | tee /dev/stderr | grep -qx '0 cards'
}

dev_cmake() {
    cmake -S /checks/consumer -B /tmp/dev-cmake -DCMAKE_BUILD_TYPE=Release > /tmp/dev-cmake.log 2>&1 \
        && cmake --build /tmp/dev-cmake >> /tmp/dev-cmake.log 2>&1 \
        || { cat /tmp/dev-cmake.log; return 1; }
    /tmp/dev-cmake/count-cards | tee /dev/stderr | grep -qx '0 cards'
}

# The support tool, installed: no cards, an empty list.
tools_list() {
    local out
    out=$(quorvalectl list --json) || return 1
    printf '%s\n' "$out"
    [ "$(printf '%s' "$out" | tr -d ' \n')" = "[]" ]
}

# apt-get purge of every package of ours leaves no file or folder of ours.
purge_all() {
    local pkgs path left=0
    pkgs=$(our_packages)
    [ -n "$pkgs" ] || { echo "none of our packages is installed"; return 1; }
    # shellcheck disable=SC2086
    dpkg -L $pkgs | sort -u > /tmp/our-files
    # shellcheck disable=SC2086
    apt-get -q purge $pkgs || return 1
    [ -z "$(our_packages)" ] || { echo "still installed: $(our_packages)"; return 1; }
    while IFS= read -r path; do
        [ -e "$path" ] || [ -L "$path" ] || continue
        if [ -d "$path" ] && [ ! -L "$path" ] && dpkg -S "$path" > /dev/null 2>&1; then
            continue   # a folder other packages share
        fi
        [ -d "$path" ] && [ -n "$(ls -A "$path")" ] && continue
        echo "left behind: $path"; left=1
    done < /tmp/our-files
    find / -xdev \( -iname '*quorvale*' -o -iname '*vantorix*' \) -print > /tmp/found
    grep -v -E '^/var/log/' /tmp/found | sed 's/^/left behind: /'
    [ "$left" -eq 0 ] && ! grep -q -v -E '^/var/log/' /tmp/found
}

if [ "$arch" = i386 ]; then
    check "apt-get install ./*.deb on a fresh i386 Debian 12" install_all
else
    check "the README's commands install the i386 program on a fresh amd64 Debian 12" install_as_readme_says
fi
check "Xvfb starts" start_display
export DISPLAY=:57
check "$program with no cards: one 540x150 \"$title\" window, exit 0 once accepted" up_to_date_window
check "$program -q: no window, exit 0" quiet_run
check "$program -d: runs in the background, joins $shm, exit 0 on SIGTERM" daemon_run
if [ "$arch" = i386 ]; then
    check "a C program builds with pkg-config --cflags --libs quorvale and runs" dev_pkg_config
    check "a C program builds with find_package(Quorvale) and Quorvale::quorvale and runs" dev_cmake
    check "quorvalectl list --json with no cards: an empty list" tools_list
fi
check "apt-get purge of every package leaves no file of ours" purge_all

echo "packaging $arch: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
