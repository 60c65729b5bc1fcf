# What ./test long does before the normal tests: sourced by ./test, after scripts/packages.sh.

echo "Style"
find apps platform tests ui \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 clang-format --dry-run --Werror
build tidy

for sanitizer in asan tsan; do
    build "$sanitizer"
    echo "Tests (preset $sanitizer)"
    ctest --preset "$sanitizer" -j 2
done

build fuzz
for target in build/fuzz/tests/fuzz/*_fuzz; do
    name=$(basename "$target" _fuzz)
    echo "Fuzzing $name for ${PARLOVEX_FUZZ_SECONDS:=10} s"
    found=build/fuzz/found/$name
    mkdir -p "$found"
    # New inputs go to the first folder; the seeds stay as they are.
    "$target" -max_total_time="$PARLOVEX_FUZZ_SECONDS" -print_final_stats=0 -verbosity=0 \
        -artifact_prefix="$found/" "$found" "tests/data/fuzz/$name"
done

# More rounds of the tests that count them.
export PARLOVEX_KILL_ROUNDS=200
export PARLOVEX_LEAVE_ROUNDS=200
