#!/bin/sh
# Runs a command with a /dev/shm of its own, so that the shared-memory objects
# a test creates can neither meet nor outlive those of the machine. Needs a
# private mount namespace (root, as on CI); where that is not permitted the
# command runs directly, against the machine's /dev/shm.
#
#   run-with-private-shm.sh <command> [args...]
if [ -z "$VANTORIX_PRIVATE_SHM" ] && unshare --mount --propagation private true 2>/dev/null; then
    VANTORIX_PRIVATE_SHM=1 exec unshare --mount --propagation private sh -c '
        mount -t tmpfs -o mode=1777,size=16m tmpfs /dev/shm 2>/dev/null || VANTORIX_PRIVATE_SHM=0
        export VANTORIX_PRIVATE_SHM
        exec "$@"' run-with-private-shm "$@"
fi
exec "$@"
