#!/usr/bin/env bash
# Makes (once) and prints the clean Debian 12 roots that the packages are built
# and tested in, cached under build/roots/:
#
#   build        i386: the build dependencies of debian/control, build-essential, ccache
#   test         i386: a fresh system plus the tools of the install tests
#   test-amd64   amd64: a fresh system plus the tools of the install tests
#
#   scripts/package-roots.sh KIND...     prints one ready root folder per KIND
#
# Each root is bootstrapped with
#   debootstrap --arch=ARCH --variant=minbase bookworm ROOT MIRROR
# (MIRROR: the Debian mirror that this machine's APT sources name, or
# $VANTORIX_DEBIAN_MIRROR), then the packages above are installed with apt
# inside it. A root's folder name carries a key made from its architecture and
# its package list: an unchanged list reuses the root, a changed one makes a
# new root. A root is made under a temporary name and renamed only when
# complete; whatever a failed or killed run left is removed by the next run.
# All mounts live in private namespaces (scripts/in-root.sh), never in a root.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
roots_dir=$top/build/roots
suite=bookworm
in_root=$top/scripts/in-root.sh

die() { echo "package-roots: $*" >&2; exit 1; }

[ $# -gt 0 ] || die "usage: scripts/package-roots.sh build|test|test-amd64..."
[ "$(id -u)" -eq 0 ] || die "must run as root (debootstrap and chroot)"
command -v debootstrap > /dev/null || die "debootstrap is not installed (apt-get install debootstrap)"

# The Debian mirror of this machine's APT sources: the first source of the
# main suite, in deb822 (.sources) or one-line (.list) form.
host_mirror() {
    local f
    for f in /etc/apt/sources.list.d/*.sources; do
        [ -f "$f" ] || continue
        awk -v suite="$suite" 'BEGIN { RS = ""; FS = "\n" }
            {
                uris = ""; ok = 0; deb = 0; on = 1
                for (i = 1; i <= NF; i++) {
                    if ($i ~ /^URIs:/) { split($i, w, /[ \t]+/); uris = w[2] }
                    if ($i ~ /^Types:/ && $i ~ /[ \t]deb([ \t]|$)/) deb = 1
                    if ($i ~ /^Suites:/ && (" " $i " ") ~ ("[ \t]" suite "[ \t]")) ok = 1
                    if ($i ~ /^Enabled:[ \t]*no/) on = 0
                }
                if (uris != "" && ok && deb && on) { print uris; exit }
            }' "$f"
    done | head -n1 | grep . && return 0
    cat /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null \
        | sed -E 's/\[[^]]*\]//' \
        | awk -v suite="$suite" '$1 == "deb" && $3 == suite { print $2; exit }' | grep .
}

mirror=${VANTORIX_DEBIAN_MIRROR:-$(host_mirror || true)}
[ -n "$mirror" ] || die "no Debian $suite mirror found in /etc/apt/sources.list*; set VANTORIX_DEBIAN_MIRROR"

# Build-Depends of debian/control, as one line.
build_depends() {
    awk '/^Build-Depends:/ { on = 1; sub(/^Build-Depends:/, ""); print; next }
         on && /^[ \t]/ { print; next }
         { on = 0 }' "$top/debian/control" | tr '\n' ' ' | tr -s ' \t' ' ' | sed 's/^ //; s/ $//'
}

test_tools="xvfb xauth xdotool x11-utils"
root_arch() { case $1 in build|test) echo i386 ;; test-amd64) echo amd64 ;; *) die "unknown root kind '$1' (build, test, test-amd64)" ;; esac; }
root_packages() {
    case $1 in
        build) echo "build-essential ccache fakeroot | $(build_depends)" ;;
        test) echo "$test_tools cmake make gcc libc6-dev pkg-config |" ;;
        test-amd64) echo "$test_tools |" ;;
    esac
}

# Removes a root folder that no process uses; refuses while anything is mounted
# inside it.
remove_root() {
    local dir=$1
    [ -e "$dir" ] || return 0
    if awk -v d="$dir/" 'index($2 "/", d) == 1 { found = 1 } END { exit !found }' /proc/self/mounts; then
        die "refusing to remove $dir: something is mounted inside it"
    fi
    rm -rf --one-file-system "$dir"
}

make_root() {
    local kind=$1 arch=$2 packages=$3 final=$4 log=$5
    local tmp=$roots_dir/.tmp-$(basename "$final")
    local cache=$roots_dir/apt-cache-$arch
    remove_root "$tmp"
    mkdir -p "$tmp" "$cache/partial"
    : > "$log"
    local started=$SECONDS

    # First stage only: unpacks the base packages without running any of them.
    if ! unshare --mount --fork -- debootstrap --foreign --arch="$arch" --variant=minbase \
            --cache-dir="$cache" "$suite" "$tmp" "$mirror" >> "$log" 2>&1; then
        remove_root "$tmp"
        die "cannot make the $kind root: debootstrap could not fetch $suite/$arch from $mirror (see ${log#$top/})"
    fi
    if ! chroot "$tmp" /bin/true > /dev/null 2>&1; then
        remove_root "$tmp"
        die "this machine cannot run $arch programs (chroot ROOT /bin/true fails in a $arch root): build the packages on a machine that can"
    fi
    if ! unshare --mount --fork -- chroot "$tmp" /debootstrap/debootstrap --second-stage >> "$log" 2>&1; then
        remove_root "$tmp"
        die "cannot make the $kind root: debootstrap's second stage failed (see ${log#$top/})"
    fi

    cat > "$tmp/etc/apt/sources.list" <<EOF
deb $mirror $suite main
deb $mirror $suite-updates main
EOF
    # Downloaded packages are kept outside the root, in the shared cache.
    echo 'Binary::apt::APT::Keep-Downloaded-Packages "true";' > "$tmp/etc/apt/apt.conf.d/10keep-downloads"
    printf 'APT::Install-Recommends "false";\nAPT::Install-Suggests "false";\n' \
        > "$tmp/etc/apt/apt.conf.d/10no-recommends"

    local plain=${packages%%|*} satisfy=${packages#*|}
    satisfy=$(echo "$satisfy" | sed 's/^ *//')
    local script="set -e; apt-get -q update; apt-get -q -y install $plain"
    [ -z "$satisfy" ] || script+="; apt-get -q -y satisfy '$satisfy'"
    script+=""
    if ! "$in_root" --bind "$cache:/var/cache/apt/archives" "$tmp" sh -c "$script" >> "$log" 2>&1; then
        remove_root "$tmp"
        die "cannot make the $kind root: installing its packages from $mirror failed (see ${log#$top/})"
    fi
    rm -f "$tmp/etc/hostname"
    { echo "kind: $kind"; echo "arch: $arch"; echo "packages: $packages"; echo "mirror: $mirror"
      echo "seconds: $((SECONDS - started))"; } > "$tmp/.package-root"
    mv -T "$tmp" "$final"
    echo "package-roots: made the $kind root in $((SECONDS - started)) s: ${final#$top/}" >&2
}

mkdir -p "$roots_dir"
exec 9> "$roots_dir/.lock"
flock 9

# Leftovers of runs that were killed while making a root.
for stale in "$roots_dir"/.tmp-*; do
    [ -e "$stale" ] && remove_root "$stale"
done

for kind in "$@"; do
    arch=$(root_arch "$kind")
    packages=$(root_packages "$kind")
    key=$(printf '%s\n' 1 "$suite" "$arch" "$packages" | sha256sum | cut -c1-12)
    final=$roots_dir/$kind-$arch-$key
    if [ ! -f "$final/.package-root" ]; then
        remove_root "$final"
        make_root "$kind" "$arch" "$packages" "$final" "$roots_dir/$kind-$arch.log"
        # Roots of the same kind made for an older package list.
        for old in "$roots_dir/$kind-$arch-"*; do
            [ "$old" = "$final" ] || remove_root "$old"
        done
    fi
    echo "$final"
done
