# Debian packages that the commands of this repository need, and how they get onto the machine. Sourced by ./run and ./test.

build_packages=(g++ cmake ninja-build ccache pkg-config
    qtbase5-dev libsofia-sip-ua-dev libsqlite3-dev libcurl4-openssl-dev libssl-dev libminiupnpc-dev libmariadb-dev libjemalloc-dev)
run_packages=(qttranslations5-l10n fonts-dejavu-core fonts-wqy-microhei ca-certificates)
display_packages=(xvfb)
wayland_packages=(qtwayland5)
test_packages=(libgtest-dev mariadb-server-core sip-tester baresip-core sipvicious python3 iproute2 openssl xvfb xauth openbox trayer x11-utils xdotool
    appstream desktop-file-utils libglib2.0-bin)
bench_packages=(kamailio kamailio-extra-modules)
long_packages=(clang clang-tidy clang-format libclang-rt-dev)
picture_packages=(pngquant)
package_packages=(dpkg-dev)
stack_packages=(autoconf automake libtool dpkg-dev)

# need_packages <name>...: installs what is missing, or says in one command what somebody with the right to must run.
need_packages() {
    local package missing=()
    for package in "$@"; do
        dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null || ! { sudo -n true || { [ -t 0 ] && sudo -v; }; } 2>/dev/null; then
            echo "These packages are missing. Please run this command as root, then start again:" >&2
            echo "    apt-get update && apt-get install -y --no-install-recommends ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo)
    fi
    echo "Installing: ${missing[*]}"
    "${as_root[@]}" apt-get update -q
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -q --no-install-recommends -o DPkg::Lock::Timeout=300 "${missing[@]}"
}

# build <preset>: configures and builds; quiet unless something fails.
build() {
    local log
    log=$(mktemp)
    # Without a home that can be written the compiler cache would refuse to work.
    [ -n "${CCACHE_DIR:-}" ] || [ -w "${HOME:-/nonexistent}" ] || export CCACHE_DIR="$PWD/build/ccache"
    echo "Building (preset $1) ..."
    if ! { cmake --preset "$1" && cmake --build --preset "$1"; } >"$log" 2>&1; then
        cat "$log"
        rm -f "$log"
        exit 1
    fi
    rm -f "$log"
}
