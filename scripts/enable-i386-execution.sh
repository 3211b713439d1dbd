#!/usr/bin/env bash
# Makes sure this machine can run the i386 build's programs and prints how:
#   native     the kernel runs 32-bit x86 programs itself
#   emulated   it cannot (IA-32 emulation is off in its kernel), so every 32-bit
#              program now runs under qemu's user emulation, registered here
#              with binfmt_misc
# Exits non-zero, with one line saying why, when neither is possible.
#
# The probe registers an empty robust-futex list: the kernel accepts it, qemu's
# user emulation answers ENOSYS. So the answer is right even on a machine where
# an earlier run already registered qemu.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cat > "$work/probe.c" << 'EOF'
#include <errno.h>
#include <stddef.h>
#include <sys/syscall.h>
#include <unistd.h>
int main(void)
{
    static struct { void* next; long offset; void* pending; } head = { &head, 0, NULL };
    if (syscall(SYS_set_robust_list, &head, sizeof head) == 0)
        return 0;
    return errno == ENOSYS ? 38 : 1;
}
EOF
if ! gcc -m32 -static -O0 -o "$work/probe" "$work/probe.c" 2> "$work/cc.log"; then
  echo "enable-i386-execution: cannot build a 32-bit probe: $(head -n1 "$work/cc.log")" >&2
  exit 1
fi

probe() { "$work/probe" 2> /dev/null && echo 0 || echo $?; }

case "$(probe)" in
  0) echo native; exit 0 ;;
  38) echo emulated; exit 0 ;;
esac

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
if [ ! -x /usr/bin/qemu-i386-static ]; then
  $sudo apt-get update -q > /dev/null
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends qemu-user-static > /dev/null
fi
binfmt=/proc/sys/fs/binfmt_misc
[ -e "$binfmt/register" ] || $sudo mount -t binfmt_misc binfmt_misc "$binfmt"
if [ ! -e "$binfmt/qemu-i386" ]; then
  # ELF, 32-bit, little-endian, executable or shared object, machine 3 (i386).
  # F: the kernel opens the interpreter now, so it also serves other mount
  # namespaces and chroots.
  magic='\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00'
  mask='\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
  echo ":qemu-i386:M::$magic:$mask:/usr/bin/qemu-i386-static:F" | $sudo tee "$binfmt/register" > /dev/null
fi

if [ "$(probe)" = 38 ]; then
  echo emulated
else
  echo "enable-i386-execution: this machine runs no 32-bit x86 programs, not even under qemu-i386-static" >&2
  exit 1
fi
