#!/usr/bin/env bash
# Black-box tests of quorvalectl: the built tool on simulated cards and on the
# discovery channel, with other processes of the device family posting.
#
#   tools.sh SCENARIO
#
# Environment (set by CMake): VX_CTL VX_SIMCARDS VX_POST VX_RUN VX_ABI
# VX_COMPLETION VANTORIX_ARTIFACTS_DIR. Outputs stay in
# ${VANTORIX_ARTIFACTS_DIR}/tools/SCENARIO/.
set -uo pipefail

scenario=$1
work=${VANTORIX_ARTIFACTS_DIR:-/tmp}/tools/$scenario
rm -rf "$work" && mkdir -p "$work"
cd "$work" || exit 1

failures=0
check() {  # check DESCRIPTION COMMAND...
    local what=$1; shift
    if "$@"; then
        echo "ok: $what"
    else
        echo "NOT OK: $what"
        failures=$((failures + 1))
    fi
}
same() {  # same DESCRIPTION WANT GOT
    if [ "$2" = "$3" ]; then
        echo "ok: $1"
    else
        echo "NOT OK: $1"
        diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") | sed 's/^/    /'
        failures=$((failures + 1))
    fi
}
finish() {
    echo "$failures failure(s)"
    [ "$failures" -eq 0 ]
    exit
}

ctl() { ${VX_RUN:-} "$VX_CTL" "$@"; }
# quorvalectl watch in the background, its pid in $watcher (the tool's own:
# run-i386 execs it, so signals reach it and not a shell).
start_watch() {
    (exec ${VX_RUN:-} "$VX_CTL" watch > watch.out 2> watch.err) &
    watcher=$!
}
post() { ${VX_RUN:-} "$VX_POST" "$@"; }
# ctl on the simulated cards of cards.conf.
simctl() { ${VX_RUN:-} "$VX_SIMCARDS" --config cards.conf -- "$VX_CTL" "$@"; }

# Both generations, a card node, the two sub-devices of one card (listed in
# sub-device order, at the place of the first in name order), a node of the
# wrong shared data version, a node that is no card, and a node of another
# major number.
write_cards() {
    cat > cards.conf <<'CONF'
card dv0 subdevice=1,2,7 device-info=0,2 firmware=3,14 persistent-id=0x1234 busy=0
card dv1 subdevice=0,2,7 device-info=0,2 firmware=3,14 persistent-id=0x1235 busy=1
card card3 device-info=0,9 firmware=1,2 persistent-id=77
card dv2 version=188 firmware=8,8
card io0 device-info=0,24 firmware=9,1 persistent-id=5 busy=0 audio-channels=16
  hardware-description 0102030405
card dv6 kind=file
card dv5 major=11
CONF
}

# Milliseconds since the epoch of a watch line's local timestamp.
line_ms() { date -d "$(cut -d' ' -f1 <<< "$1" | tr T ' ')" +%s%3N; }

# wait_for FILE PATTERN: up to 20 s for a line matching PATTERN; prints it.
wait_for() {
    local i
    for i in $(seq 1 2000); do
        grep -m1 -E "$2" "$1" 2> /dev/null && return 0
        sleep 0.01
    done
    return 1
}

case $scenario in
list)
    write_cards
    simctl list --json > list.json 2> list.err
    check "list --json exits 0" test $? = 0
    check "list writes nothing to stderr" test ! -s list.err
    same "cards in enumeration order, as configured" \
'card3 /dev/vantorix/dv3 Quorvale 9 Quorvale Kestrine 1,2 0/1/0 77 0
dv1 /dev/vantorix/dv1 Quorvale 2 Quorvale Lumatrel Duo 3,14 0/2/7 4661 1
dv0 /dev/vantorix/dv0 Quorvale 2 Quorvale Lumatrel Duo 3,14 1/2/7 4660 0
io0 /dev/vantorix/io0 VantorixIO 24 Quorvale Quillet 4K 9,1 0/1/0 5 0' \
        "$(jq -r '.[] | "\(.node) \(.path) \(.driver) \(.modelIndex) \(.model) \(.firmware | join(",")) \(.subDevice.index)/\(.subDevice.count)/\(.subDevice.parent) \(.persistentId) \(.busy)"' list.json)"
    same "every object has the documented keys and no errors" \
        "true" "$(jq '[.[] | (keys == (["busy","driver","errors","firmware","model","modelIndex","node","path","persistentId","subDevice"] | sort)) and (.errors == {})] | all' list.json)"
    simctl list > list.txt 2>&1
    check "list exits 0" test $? = 0
    same "text lines in the same order" "card3 dv1 dv0 io0" "$(cut -d' ' -f1 list.txt | tr '\n' ' ' | sed 's/ $//')"
    check "text line of card3" grep -qx 'card3 path=/dev/vantorix/dv3 driver=Quorvale modelIndex=9 model="Quorvale Kestrine" firmware=1,2 subDevice=0/1,parent=0 persistentId=0x4d busy=0' list.txt
    : > empty.conf
    ${VX_RUN:-} "$VX_SIMCARDS" --config empty.conf -- "$VX_CTL" list --json > none.json
    check "no card: exit 0" test $? = 0
    same "no card: an empty array" "[]" "$(jq -c . none.json)"
    ;;
info)
    write_cards
    simctl info io0 --json > io0.json 2> io0.err
    check "info io0 --json exits 0" test $? = 0
    same "io0 as configured" \
        "io0 VantorixIO 16 0102030405000000 189 {}" \
        "$(jq -r '"\(.node) \(.driver) \(.audioChannels) \(.hardwareDescription[0:16]) \(.sharedDataVersion) \(.errors)"' io0.json)"
    same "descriptions are 104 and 65 bytes of hex" "208 130" \
        "$(jq -r '"\(.hardwareDescription | length) \(.serialPortDescription | length)"' io0.json)"
    simctl info /dev/vantorix/card3 > card3.txt
    check "info by path exits 0" test $? = 0
    check "info card3 shows its node and reported path" \
        grep -qx 'path: /dev/vantorix/dv3' card3.txt
    check "info card3 shows the model" grep -qx 'model: "Quorvale Kestrine"' card3.txt
    simctl info dv2 > dv2.out 2> dv2.err
    same "a node of the wrong version: exit 3" 3 $?
    check "...and says why" grep -q "dv2: not a card the library hands out" dv2.err
    simctl info dv9 > dv9.out 2> dv9.err
    same "a missing node: exit 3" 3 $?
    check "...and says so" grep -q "/dev/vantorix/dv9: No such file or directory" dv9.err
    printf 'card dv4\n  fail 0x996 5\n' > failing.conf
    ${VX_RUN:-} "$VX_SIMCARDS" --config failing.conf -- "$VX_CTL" info dv4 --json > dv4.json
    check "a refused request still gives the rest: exit 0" test $? = 0
    same "...null and the reason under errors" "null -1 Input/output error 189" \
        "$(jq -r '"\(.firmware) \(.errors.firmware.status) \(.errors.firmware.error) \(.sharedDataVersion)"' dv4.json)"
    ${VX_RUN:-} "$VX_SIMCARDS" --config failing.conf -- "$VX_CTL" info dv4 > dv4.txt
    check "...and in text, with the system error" \
        grep -qx 'firmware: unavailable (status -1: the driver refused the request: Input/output error)' dv4.txt
    ${VX_RUN:-} "$VX_SIMCARDS" --config failing.conf -- "$VX_CTL" list > dv4-list.txt
    check "...and list shows ?" grep -q ' firmware=? ' dv4-list.txt
    simctl info > usage.out 2> usage.err
    same "info without a node: exit 2" 2 $?
    ctl frobnicate > usage.out 2> usage.err
    same "unknown command: exit 2" 2 $?
    check "...named" grep -q 'unknown command "frobnicate"' usage.err
    for command in list info watch channel; do
        ctl $command --help > help.out 2>&1
        check "$command --help exits 0" test $? = 0
        check "$command --help shows its usage" grep -q "usage: quorvalectl $command" help.out
    done
    ctl list --bogus > usage.out 2> usage.err
    same "unknown option: exit 2" 2 $?
    ;;
sim)
    write_cards
    { echo "# cards for quorvale-sim"; echo "format 1"; cat cards.conf; } > sim.conf
    "$VX_SIM" --config sim.conf --log requests.jsonl -- "$VX_FOREIGN" > foreign.out 2> foreign.err
    same "the foreign program ran and succeeded" 0 $?
    same "it saw the configured cards, in enumeration order" \
"/dev/vantorix/dv3 Quorvale Quorvale Kestrine 1.2
/dev/vantorix/dv1 Quorvale Quorvale Lumatrel Duo 3.14
/dev/vantorix/dv0 Quorvale Quorvale Lumatrel Duo 3.14
/dev/vantorix/io0 VantorixIO Quorvale Quillet 4K 9.1
4 cards" "$(cat foreign.out)"
    check "nothing on stderr" test ! -s foreign.err
    check "request log: JSON lines" jq -e . requests.jsonl > /dev/null
    same "request log: firmware of io0 asked as a message" "gfwv" \
        "$(jq -r 'select(.node == "io0" and .code != null) | .code' requests.jsonl | grep -m1 gfwv)"
    same "request log: firmware of dv0 asked by number" '"0x996"' \
        "$(jq -c 'select(.node == "dv0") | .request' requests.jsonl | grep -m1 0x996)"
    : > empty.conf
    "$VX_SIM" --config empty.conf -- "$VX_FOREIGN" > none.out
    same "the program's exit status is passed on" 3 $?
    printf 'format 2\ncard dv0\n' > future.conf
    "$VX_SIM" --config future.conf -- "$VX_FOREIGN" > future.out 2> future.err
    same "a later format: exit 2" 2 $?
    check "...saying so" grep -q "quorvale-sim: future.conf: line 1: format 2 is not understood here" future.err
    "$VX_SIM" --config sim.conf -- no-such-program-here 2> missing.err
    same "a missing program: exit 127" 127 $?
    # The class this tree has no harness for: a bare ELF header is enough.
    if [ "$VX_ABI" = i386 ]; then other=64 class='\002'; else other=32 class='\001'; fi
    printf "\177ELF$class" > other-class && chmod +x other-class
    env -u QUORVALE_SIM_HARNESS_$other "$VX_SIM" --config sim.conf -- ./other-class 2> other.err
    same "a $other-bit program without its harness: exit 2" 2 $?
    check "...naming what to install or set" grep -q "no harness for $other-bit programs" other.err
    "$VX_SIM" --help > help.out
    check "--help exits 0 with the usage" grep -q "^usage: quorvale-sim --config FILE" help.out
    "$VX_SIM" --config sim.conf > usage.out 2> usage.err
    same "no program: exit 2" 2 $?
    ;;
watch)
    post --unlink
    post +dv7 > /dev/null
    check "a poster created the channel" test $? = 0
    start_watch
    check "replay first: dv7 present" wait_for watch.out ' present dv7$'
    before=$(date +%s%3N)
    post +io3
    line=$(wait_for watch.out ' arrived io3$')
    check "an arrival posted by another process is printed" test -n "$line"
    if [ -n "$line" ]; then
        latency=$(( $(line_ms "$line") - before ))
        echo "measured: arrival printed ${latency} ms after the poster started (process start included)"
        echo "$latency" > latency-ms
    fi
    post -io3
    check "a removal is printed" wait_for watch.out ' removed io3$'
    post +io3 -io3 +dv8
    check "events of one post in order" wait_for watch.out ' arrived dv8$'
    same "all events, in order" "present dv7
arrived io3
removed io3
arrived io3
removed io3
arrived dv8" "$(cut -d' ' -f2- watch.out)"
    check "timestamped lines" test -z "$(grep -vE '^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}\.[0-9]{3} ' watch.out)"
    kill -INT $watcher
    wait $watcher
    same "Ctrl-C: exit 0" 0 $?
    check "nothing on stderr" test ! -s watch.err
    ;;
watch_waits)
    post --unlink
    start_watch
    check "says it waits for the channel" wait_for watch.err 'no discovery channel .* yet'
    ctl channel > /dev/null 2>&1
    same "does not create it" 3 $?
    post +io2
    check "joins once it exists and hears the arrival" wait_for watch.out ' (present|arrived) io2$'
    kill -TERM $watcher
    wait $watcher
    same "SIGTERM: exit 0" 0 $?
    ;;
channel)
    post --unlink
    ctl channel > none.out 2> none.err
    same "no channel: exit 3" 3 $?
    check "...and says so" grep -q "no discovery channel" none.err
    post +dv3 +io1 +card0 -dv3 +dv60
    ctl channel --json > channel.json
    check "channel --json exits 0" test $? = 0
    name=$(jq -r .object channel.json)
    object=/dev/shm$name
    check "object exists" test -f "$object"
    case $VX_ABI in
        i386) size=444 presence=76 events=100 write=440 ;;
        *) size=464 presence=96 events=120 write=460 ;;
    esac
    u32() { od -An -tu4 -j"$1" -N4 "$object" | tr -d ' '; }
    u64() { printf '0x%x' "$(od -An -tu8 -j"$1" -N8 "$object" | tr -d ' ')"; }
    slots=""
    for i in $(seq 0 19); do
        at=$((events + 17 * i))
        flags=$(od -An -tu1 -j$at -N1 "$object" | tr -d ' ')
        prefix=$(dd if="$object" bs=1 skip=$((at + 1)) count=15 2> /dev/null | tr -d '\0')
        unit=$(od -An -tu1 -j$((at + 16)) -N1 "$object" | tr -d ' ')
        slots+="$i $flags $prefix$unit;"
    done
    same "matches an independent read of the object" \
        "$size $(stat -c %a "$object") $(u32 0) $(u64 $presence) $(u64 $((presence + 8))) $(u64 $((presence + 16))) $(u32 $write) $slots" \
        "$(jq -r '"\(.size) \(.mode | ltrimstr("0")) \(.initState) \(.presence | join(" ")) \(.writeIndex) \([.slots[] | "\(.index) \(.flags) \(.node);"] | join(""))"' channel.json)"
    same "present nodes, in bit order" '["dv60","card0","io1"]' "$(jq -c .present channel.json)"
    same "the events posted" "dv3 io1 card0 dv3 dv60" \
        "$(jq -r '[.slots[0:5][] | .node] | join(" ")' channel.json)"
    same "arrival flags" "true true true false true" \
        "$(jq -r '[.slots[0:5][] | .arrived] | map(tostring) | join(" ")' channel.json)"
    ctl channel > channel.txt
    check "text: writeIndex" grep -qx 'writeIndex: 5' channel.txt
    check "text: present" grep -qx 'present: dv60 card0 io1' channel.txt
    check "text: the removal in slot 3" grep -q '^slot  3: flags=0x00 removal dv3$' channel.txt
    check "reading changed nothing" cmp -s <(jq -c 'del(.object)' channel.json) <(ctl channel --json | jq -c 'del(.object)')
    ;;
completion)
    source "$VX_COMPLETION"
    complete_words() {  # complete_words WORD... : the completions of the last word
        COMP_WORDS=("$@")
        COMP_CWORD=$(($# - 1))
        COMPREPLY=()
        _quorvalectl
        printf '%s\n' "${COMPREPLY[@]}" | sort | tr '\n' ' ' | sed 's/ $//'
    }
    same "commands" "--help channel info list watch" "$(complete_words quorvalectl '')"
    same "commands by prefix" "channel" "$(complete_words quorvalectl ch)"
    same "list options" "--help --json" "$(complete_words quorvalectl list -)"
    same "watch options" "--help" "$(complete_words quorvalectl watch -)"
    ;;
*)
    echo "unknown scenario $scenario"
    exit 2
    ;;
esac
finish
