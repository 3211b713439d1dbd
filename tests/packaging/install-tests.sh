#!/usr/bin/env bash
# Installs the packages of build/packages/ (scripts/package.sh) on a fresh
# Debian 12 system and checks what a user and a developer get, then removes
# them again. Prints one line per check and ends with "N passed, M failed";
# exits 0 only when every check passed.
#
#   tests/packaging/install-tests.sh i386    a fresh i386 system: apt-get install ./*.deb,
#                                            the program under Xvfb, a C program built
#                                            with pkg-config and with CMake, apt-get purge
#   tests/packaging/install-tests.sh amd64   a fresh amd64 system: the README's install
#                                            commands for 64-bit systems, then the program
#
# Each run starts from the cached clean root of scripts/package-roots.sh,
# seen through a copy-on-write overlay that is thrown away afterwards.
set -euo pipefail

top=$(cd "$(dirname "$0")/../.." && pwd)
die() { echo "install-tests: $*" >&2; exit 1; }

case ${1:-} in
    i386) kind=test root_arch=i386 ;;
    amd64) kind=test-amd64 root_arch=amd64 ;;
    *) die "usage: tests/packaging/install-tests.sh i386|amd64" ;;
esac
[ "$(id -u)" -eq 0 ] || die "must run as root (chroot)"
packages=$top/build/packages
compgen -G "$packages/*.deb" > /dev/null || die "no packages in build/packages: run scripts/package.sh first"

root=$("$top/scripts/package-roots.sh" "$kind") || exit 1
overlay=$top/build/install-test-$1
cache=$top/build/roots/apt-cache-$root_arch
status=0
"$top/scripts/in-root.sh" --overlay "$overlay" \
    --bind "$packages:/packages" \
    --bind "$top/tests/packaging:/checks" \
    --bind "$top/README.md:/readme/README.md" \
    --bind "$cache:/var/cache/apt/archives" \
    "$root" bash /checks/checks-in-root.sh "$1" || status=$?
rm -rf --one-file-system "$overlay"
exit $status
