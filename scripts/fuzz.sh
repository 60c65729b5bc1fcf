# Runs the fuzz targets. Sourced by scripts/long_tests.sh and scripts/fuzz_night.sh.

# fuzz_target <target> <seconds> [option...]: one target for so long. What it learns and what it finds goes to
# build/fuzz/found/; the seeds stay as they are.
fuzz_target() {
    local target=$1 seconds=$2 name found corpora
    shift 2
    name=$(basename "$target" _fuzz)
    found=build/fuzz/found/$name
    mkdir -p "$found/inputs"
    corpora=("$found/inputs" "tests/data/fuzz/$name")
    case $name in
        request | datagram)
            # The torture messages are seeds as they stand.
            corpora+=(tests/data/fuzz/request tests/data/torture)
            set -- "$@" -dict=tests/data/fuzz/sip.dict
            ;;
        call_datagram | framer | via) set -- "$@" -dict=tests/data/fuzz/sip.dict ;;
    esac
    # One input takes a moment; one that takes this long (s) is a find.
    "$target" -max_total_time="$seconds" -timeout=20 -print_final_stats=0 -verbosity=0 "$@" \
        -artifact_prefix="$found/" "${corpora[@]}"
}
