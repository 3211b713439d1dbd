#!/usr/bin/env bash
# Runs one command inside a root folder made by scripts/package-roots.sh.
#
#   scripts/in-root.sh [--bind HOST_PATH:ROOT_PATH]... [--overlay DIR]
#                      [--env NAME=VALUE]... ROOT COMMAND [ARG...]
#
# The command runs in private mount and PID namespaces: /proc, /dev/pts,
# /dev/shm, /tmp, /etc/resolv.conf and the binds exist only for it and vanish when it ends,
# however it ends. A root therefore never keeps a mount inside it, and removing
# a root can never reach into the machine's /proc, /sys or /dev.
#
# --overlay DIR runs in a copy-on-write view of ROOT whose changes go to DIR
# (made empty first); ROOT itself is left untouched.
set -euo pipefail

if [ "${1:-}" = "--inside" ]; then
    shift
    root=$1 overlay=$2 binds=$3 envs=$4
    shift 4
    mount --make-rprivate /
    if [ -n "$overlay" ]; then
        mkdir -p "$overlay/upper" "$overlay/work" "$overlay/merged"
        mount -t overlay overlay \
            -o "lowerdir=$root,upperdir=$overlay/upper,workdir=$overlay/work" \
            "$overlay/merged"
        root=$overlay/merged
    fi
    mount -t proc proc "$root/proc"
    mkdir -p "$root/dev/shm" "$root/dev/pts" "$root/tmp"
    if mount -t devpts -o newinstance,ptmxmode=0666,mode=0620 devpts "$root/dev/pts" 2> /dev/null \
        && [ -e "$root/dev/ptmx" ] && [ ! -L "$root/dev/ptmx" ]; then
        mount --bind "$root/dev/pts/ptmx" "$root/dev/ptmx"
    fi
    mount -t tmpfs -o mode=1777 tmpfs "$root/dev/shm"
    mount -t tmpfs -o mode=1777 tmpfs "$root/tmp"
    if [ -f /etc/resolv.conf ]; then
        [ -e "$root/etc/resolv.conf" ] || [ -L "$root/etc/resolv.conf" ] \
            || : > "$root/etc/resolv.conf"
        [ -L "$root/etc/resolv.conf" ] || mount --bind -o ro /etc/resolv.conf "$root/etc/resolv.conf"
    fi
    while IFS= read -r bind; do
        [ -n "$bind" ] || continue
        src=${bind%%:*} dst=$root/${bind#*:}
        if [ -d "$src" ]; then mkdir -p "$dst"; else mkdir -p "$(dirname "$dst")"; [ -e "$dst" ] || : > "$dst"; fi
        mount --bind "$src" "$dst"
    done <<< "$binds"
    env_args=(PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
              HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive)
    while IFS= read -r e; do [ -n "$e" ] && env_args+=("$e"); done <<< "$envs"
    exec chroot "$root" /usr/bin/env -i "${env_args[@]}" "$@"
fi

binds="" envs="" overlay=""
while [ $# -gt 0 ]; do
    case $1 in
        --bind) binds+="$2"$'\n'; shift 2 ;;
        --env) envs+="$2"$'\n'; shift 2 ;;
        --overlay) overlay=$2; shift 2 ;;
        --) shift; break ;;
        -*) echo "in-root.sh: unknown option $1" >&2; exit 2 ;;
        *) break ;;
    esac
done
[ $# -ge 2 ] || { echo "usage: scripts/in-root.sh [--bind SRC:DST]... [--overlay DIR] [--env N=V]... ROOT COMMAND..." >&2; exit 2; }
root=$(cd "$1" && pwd)
shift
if [ -n "$overlay" ]; then
    rm -rf --one-file-system "$overlay"
    mkdir -p "$overlay"
    overlay=$(cd "$overlay" && pwd)
fi
exec unshare --mount --pid --fork --kill-child -- "$0" --inside "$root" "$overlay" "$binds" "$envs" "$@"
