#!/usr/bin/env bash
# The whole test suite, from a fresh clone: installs what is missing, makes the
# i386 sysroot, then configures, builds and tests the i386 product build, the
# native x86_64 build, the ASan+UBSan build, and the threaded subsystems under
# ThreadSanitizer.
#
#   scripts/test-all.sh [preset ...]     (default: i386 native asan tsan)
set -euo pipefail
cd "$(dirname "$0")/.."

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(i386 native asan tsan)

scripts/install-deps.sh
for preset in "${presets[@]}"; do
  [ "$preset" = i386 ] && scripts/make-i386-sysroot.sh build/sysroot-i386
done

status=0
summary=()
failures=()
for preset in "${presets[@]}"; do
  echo "=== $preset: configure and build"
  cmake --preset "$preset" > "build-$preset.configure.log" 2>&1 || {
    cat "build-$preset.configure.log"; exit 1; }
  rm -f "build-$preset.configure.log"
  cmake --build --preset "$preset"
  echo "=== $preset: test"
  if ctest --preset "$preset" 2>&1 | tee "build/$preset/ctest.log"; then
    summary+=("$preset: $(grep -E 'tests passed' "build/$preset/ctest.log" | tail -n1)")
  else
    status=1
    summary+=("$preset: FAILED ($(grep -E 'tests passed' "build/$preset/ctest.log" | tail -n1))")
    failed_log="build/$preset/Testing/Temporary/LastTestsFailed.log"
    [ -f "$failed_log" ] && while IFS= read -r line; do
      summary+=("    failed: ${line#*:}")
    done < "$failed_log"
    failures+=("$preset")
  fi
done

# CI keeps only the end of the output: repeat what the failed tests printed
# here, after everything else.
for preset in "${failures[@]}"; do
  echo
  echo "=== $preset: output of the failed tests"
  awk '/^ *Start [0-9]+: |^ *[0-9]+\/[0-9]+ Test +#/ { show = 0 }
       /^ *[0-9]+\/[0-9]+ Test +#.*\*\*\*/ && !/\*\*\*Skipped/ { show = 1 }
       show' \
    "build/$preset/ctest.log" | tail -n 200
done

echo
echo "=== summary"
printf '%s\n' "${summary[@]}"
exit $status
