#!/bin/sh
# Installs the build into a scratch root with prefix /usr, checks that the
# companion, its unit and its man page land where they belong, and checks the
# unit with the service manager's own analyser (naming the staged program,
# its man page where man finds it). Prints the sandbox's exposure score.
#
#   verify-unit.sh CMAKE BUILD_DIR
# Exit status: 0 clean, 1 something is missing or the analyser found
# something, 77 no analyser here.
cmake=$1 build=$2
command -v systemd-analyze > /dev/null || { echo "systemd-analyze not installed"; exit 77; }

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
stage=$work/root
DESTDIR=$stage "$cmake" --install "$build" --prefix /usr > "$work/install.log" 2>&1 \
    || { cat "$work/install.log"; echo "install failed"; exit 1; }

program=$stage/usr/sbin/quorvale-hotplugd
unit=$stage/usr/lib/systemd/system/quorvale-hotplugd.service
manpage=$stage/usr/share/man/man8/quorvale-hotplugd.8
failed=0
for file in "$program" "$unit" "$manpage"; do
    [ -f "$file" ] || { echo "not installed: ${file#"$stage"}"; failed=1; }
done
[ -x "$program" ] || { echo "not executable: /usr/sbin/quorvale-hotplugd"; failed=1; }
grep -qx 'ExecStart=/usr/sbin/quorvale-hotplugd' "$unit" \
    || { echo "the unit does not start /usr/sbin/quorvale-hotplugd:"; grep ExecStart "$unit"; failed=1; }
[ "$failed" -eq 0 ] || exit 1
echo "installed: /usr/sbin/quorvale-hotplugd, /usr/lib/systemd/system/quorvale-hotplugd.service, /usr/share/man/man8/quorvale-hotplugd.8"

mkdir -p "$work/unit"
sed "s|^ExecStart=.*|ExecStart=$program|" "$unit" > "$work/unit/quorvale-hotplugd.service"
# The Documentation= line is checked with man, where man is installed.
man=yes
command -v man > /dev/null || { man=no; echo "man not installed: the man page reference is not checked"; }
MANPATH=$stage/usr/share/man systemd-analyze verify --man=$man "$work/unit/quorvale-hotplugd.service" \
    > "$work/verify.log" 2>&1
status=$?
cat "$work/verify.log"
if [ "$status" -ne 0 ] || [ -s "$work/verify.log" ]; then
    echo "systemd-analyze verify: not clean (exit status $status)"
    exit 1
fi
echo "systemd-analyze verify: clean"
systemd-analyze security --offline=true "$work/unit/quorvale-hotplugd.service" 2>&1 | grep 'Overall exposure level'
exit 0
