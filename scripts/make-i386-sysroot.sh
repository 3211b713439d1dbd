#!/usr/bin/env bash
# Builds a private i386 sysroot (Qt 5, GLib, umockdev, libudev, Google
# Benchmark) from Debian packages.
#
# i386 Qt cannot be installed system-wide next to the amd64 one on these
# machines, so the i386 build links against packages unpacked into a folder of
# its own. The host's g++-multilib supplies the compiler, libc and libstdc++;
# the host's moc and rcc (same Qt version) generate code.
#
# Usage: scripts/make-i386-sysroot.sh [SYSROOT]   (default: build/sysroot-i386)
# Re-running is cheap: nothing is done while the package list is unchanged.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
sysroot=${1:-$top/build/sysroot-i386}
sysroot=$(mkdir -p "$sysroot" && cd "$sysroot" && pwd)

roots=(qtbase5-dev libqt5core5a libqt5gui5 libqt5widgets5 libqt5test5 qt5-qmake
       libglib2.0-dev libumockdev-dev libumockdev0
       umockdev libunity9
       libqt5dbus5 libudev-dev libudev1)

# The benchmarks run in the product's ABI too.
roots+=(libbenchmark-dev)

# Supplied by the host's multilib toolchain, or tools that are never linked or run.
base='^(libc6|libc6-dev|libc-dev-bin|libgcc-s1|libstdc\+\+6|libstdc\+\+-12-dev|libgcc-12-dev|gcc-12-base|linux-libc-dev|libcrypt-dev|libnsl-dev|libtirpc-dev|rpcsvc-proto|debconf|debconf-2.0|perl|perl-base|perl-modules-.*|libperl.*|dpkg|dpkg-dev|tar|install-info|sensible-utils|make|binutils.*|gcc|gcc-12|g\+\+|g\+\+-12|cpp|cpp-12|python3.*|libpython3.*|qtchooser|dbus|dbus-.*|systemd.*|adduser|passwd|login|init-system-helpers|libglib2.0-bin|libglib2.0-dev-bin|shared-mime-info|xdg-user-dirs|fontconfig-config|fonts-.*|tzdata|media-types|readline-common|ucf|coreutils|util-linux.*|mount|bash|dash)$'

stamp=$sysroot/.packages
want=$(printf '%s\n' "${roots[@]}" "$base" | sha256sum | cut -c1-16)
if [ -f "$stamp" ] && [ "$(head -n1 "$stamp")" = "$want" ] \
   && [ -f "$sysroot/usr/lib/i386-linux-gnu/cmake/Qt5/Qt5Config.cmake" ]; then
    echo "i386 sysroot up to date: $sysroot"
    exit 0
fi

apt_dir=$sysroot/.apt
debs=$sysroot/.debs
mkdir -p "$apt_dir"/{state/lists/partial,cache/archives/partial,etc/preferences.d,etc/apt.conf.d} "$debs"
: > "$apt_dir/state/status"
cp /etc/apt/sources.list "$apt_dir/etc/" 2>/dev/null || : > "$apt_dir/etc/sources.list"
mkdir -p "$apt_dir/etc/sources.list.d"
cp /etc/apt/sources.list.d/* "$apt_dir/etc/sources.list.d/" 2>/dev/null || true
cat > "$apt_dir/apt.conf" <<EOF
APT::Architecture "i386";
APT::Architectures { "i386"; };
Dir::State "$apt_dir/state";
Dir::State::status "$apt_dir/state/status";
Dir::Cache "$apt_dir/cache";
Dir::Etc "$apt_dir/etc";
Dir::Etc::SourceList "$apt_dir/etc/sources.list";
Dir::Etc::SourceParts "$apt_dir/etc/sources.list.d";
Dir::Etc::Preferences "$apt_dir/etc/preferences";
Dir::Etc::PreferencesParts "$apt_dir/etc/preferences.d";
Dir::Etc::Parts "$apt_dir/etc/apt.conf.d";
Acquire::Languages "none";
EOF
export APT_CONFIG=$apt_dir/apt.conf

# The security suite's i386 index may fail to download; the main suite is enough.
apt-get -q update > "$apt_dir/update.log" 2>&1 || true
if ! apt-cache show libqt5core5a:i386 > /dev/null 2>&1; then
    echo "i386 package index unavailable (see $apt_dir/update.log)" >&2
    exit 1
fi

pkgs=()
for r in "${roots[@]}"; do pkgs+=("$r:i386"); done
apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
    --no-replaces --no-enhances "${pkgs[@]}" 2>/dev/null \
  | sed -n 's/^\([a-z0-9][a-z0-9.+-]*\)\(:i386\)\?$/\1/p' | sort -u \
  | grep -v -E "$base" > "$apt_dir/closure.txt"

echo "downloading $(wc -l < "$apt_dir/closure.txt") i386 packages into $debs"
(cd "$debs" && xargs -a "$apt_dir/closure.txt" -n 40 sh -c \
    'for p; do ls "${p}"_*_i386.deb "${p}"_*_all.deb >/dev/null 2>&1 || echo "$p:i386"; done' sh \
  | xargs -r apt-get -q download > "$apt_dir/download.log" 2>&1) || {
    echo "download failed (see $apt_dir/download.log)" >&2; exit 1; }

# Unpack only what is new, so that a re-run leaves files that builds and tests
# may be using in place.
extracted=$sysroot/.extracted
touch "$extracted"
for deb in "$debs"/*.deb; do
    name=$(basename "$deb")
    grep -qxF "$name" "$extracted" && continue
    dpkg -x "$deb" "$sysroot"
    echo "$name" >> "$extracted"
done

# Qt's CMake files check for these host tools; the host's are the same version.
mkdir -p "$sysroot/usr/lib/qt5/bin"
for tool in moc rcc uic qmake; do
    [ -x "/usr/lib/qt5/bin/$tool" ] && [ ! -L "$sysroot/usr/lib/qt5/bin/$tool" ] \
        && ln -sf "/usr/lib/qt5/bin/$tool" "$sysroot/usr/lib/qt5/bin/$tool"
done
# Absolute symlinks inside packages must resolve inside the sysroot.
find "$sysroot/usr" -type l | while read -r link; do
    target=$(readlink "$link")
    case $target in
        /usr/lib/qt5/bin/*) ;;
        /*) [ -e "$sysroot$target" ] && ln -sf "$sysroot$target" "$link" ;;
    esac
done

{ echo "$want"; ls "$debs"; } > "$stamp"
echo "i386 sysroot ready: $sysroot ($(ls "$debs" | wc -l) packages, $(du -sh "$debs" | cut -f1))"
