#!/usr/bin/env bash
# Builds the i386 Debian packages the way Debian builds them, inside a clean
# i386 Debian 12 root (scripts/package-roots.sh), then checks them with
# lintian. Output: build/packages/ (the .debs, .buildinfo and .changes).
#
#   scripts/package.sh [--rebuild]
#
# The source is the work tree's tracked files (committed or not).
# SOURCE_DATE_EPOCH is the time of the last commit, so an unchanged tree gives
# byte-identical packages; for an unchanged tree the packages already in
# build/packages/ are kept unless --rebuild is given. Compiler output is
# cached (ccache, build/ccache-i386) across builds.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
cd "$top"
out=$top/build/packages
work=$top/build/package-work
ccache_dir=$top/build/ccache-i386

die() { echo "package.sh: $*" >&2; exit 1; }

rebuild=no
for arg in "$@"; do
    case $arg in
        --rebuild) rebuild=yes ;;
        *) die "usage: scripts/package.sh [--rebuild]" ;;
    esac
done
[ "$(id -u)" -eq 0 ] || die "must run as root (debootstrap and chroot)"

# Host tools: debootstrap makes the roots, lintian checks the packages.
missing=()
for tool in debootstrap:debootstrap lintian:lintian unshare:util-linux git:git dpkg-parsechangelog:dpkg-dev; do
    command -v "${tool%%:*}" > /dev/null || missing+=("${tool#*:}")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "installing: ${missing[*]}"
    { apt-get -q update && DEBIAN_FRONTEND=noninteractive apt-get -q -y install --no-install-recommends "${missing[@]}"; } \
        > build-host-tools.log 2>&1 || die "cannot install ${missing[*]} (see build-host-tools.log)"
    rm -f build-host-tools.log
fi

mkdir -p "$top/build"
exec 8> "$top/build/.package.lock"
flock 8 || die "cannot lock build/.package.lock"

started=$SECONDS
root=$(scripts/package-roots.sh build) || exit 1
chroot "$root" /bin/true > /dev/null 2>&1 \
    || die "this machine cannot run i386 programs (chroot ROOT /bin/true fails in the i386 root): build the packages on a machine that can"

# The work tree's tracked files as a git tree, without touching the index.
index=$(mktemp)
trap 'rm -f "$index"' EXIT
cp "$(git rev-parse --git-path index)" "$index"
GIT_INDEX_FILE=$index git add -u
tree=$(GIT_INDEX_FILE=$index git write-tree)
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
version=$(dpkg-parsechangelog -l debian/changelog -S Version)
key="$tree $SOURCE_DATE_EPOCH $(basename "$root")"

if [ "$rebuild" = no ] && [ -f "$out/.key" ] && [ "$(cat "$out/.key")" = "$key" ]; then
    echo "packages up to date for this tree (scripts/package.sh --rebuild builds them again):"
else
    rm -rf "$work"
    mkdir -p "$work/src" "$ccache_dir"
    git archive "$tree" | tar -x -C "$work/src"
    build_started=$SECONDS
    if ! scripts/in-root.sh \
            --bind "$work:/build" --bind "$ccache_dir:/ccache" \
            --env SOURCE_DATE_EPOCH="$SOURCE_DATE_EPOCH" \
            --env DEB_BUILD_OPTIONS="nocheck parallel=2" \
            --env CCACHE_DIR=/ccache --env CCACHE_MAXSIZE=2G \
            --env CMAKE_C_COMPILER_LAUNCHER=ccache --env CMAKE_CXX_COMPILER_LAUNCHER=ccache \
            "$root" sh -c 'cd /build && mv src vantorix-firmware-updater-"$1" && cd vantorix-firmware-updater-"$1" && dpkg-buildpackage -b -Pnocheck -us -uc -j2' sh "$version" \
            > "$top/build/package-build.log" 2>&1; then
        tail -n 30 "$top/build/package-build.log" >&2
        die "dpkg-buildpackage failed in the i386 root (whole log: build/package-build.log)"
    fi
    rm -rf "$out"
    mkdir -p "$out"
    cp "$work"/*.deb "$work"/*.buildinfo "$work"/*.changes "$out"/
    echo "$key" > "$out/.key"
    echo "built in $((SECONDS - build_started)) s (log: build/package-build.log):"
fi
(cd "$out" && ls -1 -- *.deb *.buildinfo *.changes | sed 's/^/  /')

# lintian over the .changes checks every .deb and the .buildinfo too.
if ! lintian --allow-root --display-info --display-experimental --fail-on error,warning "$out"/*.changes > "$top/build/lintian.log" 2>&1; then
    cat "$top/build/lintian.log" >&2
    die "lintian reports errors or warnings (above)"
fi
echo "lintian: no error or warning; $(grep -c . "$top/build/lintian.log" || true) other remarks (build/lintian.log)"
echo "done in $((SECONDS - started)) s"
