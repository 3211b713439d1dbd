#!/bin/sh
# Checks the companion's unit with the service manager's own analyser: the
# unit as installed, except that it names the program of this build, and
# its man page where man finds it. Prints the sandbox's exposure score.
#
#   verify-unit.sh UNIT PROGRAM MANPAGE
# Exit status: 0 clean, 1 the analyser found something, 77 no analyser here.
unit=$1 program=$2 manpage=$3
command -v systemd-analyze > /dev/null || { echo "systemd-analyze not installed"; exit 77; }

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/man/man8" "$work/unit"
cp "$manpage" "$work/man/man8/"
sed "s|^ExecStart=.*|ExecStart=$program|" "$unit" > "$work/unit/quorvale-hotplugd.service"

# The Documentation= line is checked with man, where man is installed.
man=yes
command -v man > /dev/null || { man=no; echo "man not installed: the man page reference is not checked"; }
MANPATH=$work/man systemd-analyze verify --man=$man "$work/unit/quorvale-hotplugd.service" > "$work/verify.log" 2>&1
status=$?
cat "$work/verify.log"
if [ "$status" -ne 0 ] || [ -s "$work/verify.log" ]; then
    echo "systemd-analyze verify: not clean (exit status $status)"
    exit 1
fi
echo "systemd-analyze verify: clean"
systemd-analyze security --offline=true "$work/unit/quorvale-hotplugd.service" 2>&1 | grep 'Overall exposure level'
exit 0
