#!/usr/bin/env bash
# Fuzzes for long, over the instrumented SIP stack.
#
#   scripts/fuzz_night.sh [hours]    all targets in turn, altogether so long (8); what is found lies in build/fuzz/found/
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. scripts/fuzz.sh
scripts/fuzz_stack.sh

targets=(build/fuzz-stack/tests/fuzz/*_fuzz)
# The two that run the stack get half of the time.
heavy=(build/fuzz-stack/tests/fuzz/{request,datagram}_fuzz)
seconds=$((${1:-8} * 3600))
failed=()
for target in "${targets[@]}"; do
    share=$((seconds / 2 / (${#targets[@]} - ${#heavy[@]})))
    case " ${heavy[*]} " in *" $target "*) share=$((seconds / 2 / ${#heavy[@]})) ;; esac
    echo "Fuzzing $(basename "$target" _fuzz) for $share s"
    fuzz_target "$target" "$share" || failed+=("$(basename "$target" _fuzz)")
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "Found something: ${failed[*]} (build/fuzz/found/)" >&2
    exit 1
fi
