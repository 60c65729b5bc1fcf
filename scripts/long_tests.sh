# What ./test long does before the normal tests: sourced by ./test, after scripts/packages.sh. The numbers of rounds and
# seconds can be set in the environment.

echo "Style"
find apps bench platform tests ui \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 clang-format --dry-run --Werror
build tidy

for sanitizer in asan tsan; do
    build "$sanitizer"
    echo "Tests (preset $sanitizer)"
    ctest --preset "$sanitizer" -j 2
done

build fuzz
. scripts/fuzz.sh
PARLOVEX_FUZZ_SECONDS=${PARLOVEX_FUZZ_SECONDS:-10}
for target in build/fuzz/tests/fuzz/*_fuzz; do
    echo "Fuzzing $(basename "$target" _fuzz) for $PARLOVEX_FUZZ_SECONDS s"
    fuzz_target "$target" "$PARLOVEX_FUZZ_SECONDS"
done

scripts/try_package.sh

# More rounds of the tests that count them.
export PARLOVEX_KILL_ROUNDS=${PARLOVEX_KILL_ROUNDS:-200}
export PARLOVEX_LEAVE_ROUNDS=${PARLOVEX_LEAVE_ROUNDS:-200}
# Longer and heavier load, in seconds.
export PARLOVEX_LOAD_SECONDS=${PARLOVEX_LOAD_SECONDS:-60}
export PARLOVEX_JUNK_SECONDS=${PARLOVEX_JUNK_SECONDS:-30}
# An hour of calls.
export PARLOVEX_SOAK_SECONDS=${PARLOVEX_SOAK_SECONDS:-3600}
