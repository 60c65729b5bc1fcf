#!/usr/bin/env bash
# Makes the Debian package and tries it: installed, started from its menu entry, upgraded over its data, removed.
#
#   scripts/try_package.sh
#
# The machine stays as it is: all of this happens in a root of its own, whose /etc, /usr and /var are the machine's with
# changes kept in memory, and with no network but a loopback interface of its own. To make that root takes the right of the
# machine's.
set -euo pipefail
umask 022 # the root is open to the user in it

trial=/trial # where the root has the files of this trial

# --- Outside ----------------------------------------------------------------------------------------------------------

# make_packages <folder>: the package as $folder/parlovex.deb, and as $folder/newer.deb what its next version might be, with
# one file more and one less.
make_packages() {
    local folder=$1 tree=$1/tree
    # As somebody would make it whose files are nobody else's business.
    (umask 077 && cpack --config build/release/CPackConfig.cmake -B "$folder/cpack") >"$folder/log" 2>&1 ||
        { cat "$folder/log"; exit 1; }
    mv "$folder"/cpack/parlovex_*.deb "$folder/parlovex.deb"

    dpkg-deb --raw-extract "$folder/parlovex.deb" "$tree"
    sed -i 's/^Version: \(.*\)/Version: \1+1/' "$tree/DEBIAN/control"
    mv "$tree/usr/share/parlovex/res.spanish" "$tree/usr/share/parlovex/res.newer"
    sed -i '/res.spanish/d' "$tree/DEBIAN/md5sums"
    dpkg-deb --root-owner-group --build "$tree" "$folder/newer.deb" >"$folder/log"
}

outside() {
    cd "$(dirname "${BASH_SOURCE[0]}")/.."
    . scripts/packages.sh
    need_packages "${build_packages[@]}" "${run_packages[@]}" "${test_packages[@]}" "${package_packages[@]}"
    build release

    local folder as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    folder=$(mktemp -d)
    # Now, as the name is gone when the function is.
    trap "rm -rf '$folder'" EXIT
    echo "Trying the Debian package ..."
    make_packages "$folder"
    mkdir "$folder/trial" "$folder/memory"
    cp "$folder"/*.deb build/release/apps/demo_office tests/data/sipp/{options,register}.xml scripts/try_package.sh \
        "$folder/trial"
    "${as_root[@]}" unshare --mount --net --pid --fork --kill-child scripts/try_package.sh beside "$folder"
    echo "The Debian package is fine."
}

# --- Beside the machine's root, which is still seen -------------------------------------------------------------------

# left_behind <folder>: what is in the changed files of the trial and not on the machine, and the other way round. The package
# manager's own notes do not count.
left_behind() {
    local path
    cd "$1"
    find . -mindepth 2 -printf '%P\n' | while read -r path; do
        case $path in
            var/lib/dpkg/* | var/log/*) continue ;;
        esac
        if [ -c "$path" ]; then
            echo "gone: /$path"
        elif [ ! -e "/$path" ] && [ ! -L "/$path" ]; then
            echo "left: /$path"
        fi
    done
}

beside() {
    local folder=$1 part device root=$1/memory/root left
    mount -t tmpfs -o mode=755 tmpfs "$folder/memory"
    mkdir -p "$root"/{dev/shm,home,proc,run,tmp,"$trial"}
    chmod 1777 "$root"/{dev/shm,tmp}
    for part in etc usr var; do
        mkdir -p "$folder/memory"/{changed,scratch}/$part "$root/$part"
        mount -t overlay overlay "$root/$part" \
            -o "lowerdir=/$part,upperdir=$folder/memory/changed/$part,workdir=$folder/memory/scratch/$part"
    done
    cp -P /bin /lib* /sbin "$root" # links into /usr
    for device in null zero full random urandom; do
        touch "$root/dev/$device"
        mount --bind "/dev/$device" "$root/dev/$device"
    done
    mount -t proc proc "$root/proc"
    cp "$folder/trial"/* "$root$trial"
    ip link set lo up

    env -i PATH="$PATH" LANG=C.UTF-8 TERM=dumb chroot "$root" "$trial/try_package.sh" inside

    left=$(left_behind "$folder/memory/changed")
    [ -z "$left" ] || fail "the package was removed, but not all of it, or more: $left"
}

# --- Inside -----------------------------------------------------------------------------------------------------------

fail() {
    echo "The Debian package: $*" >&2
    exit 1
}

# eventually <command>...: until it succeeds. False when it has not within a time that only a failure takes.
eventually() {
    local round
    for round in $(seq 600); do
        "$@" >"$trial/last" 2>&1 && return
        sleep 0.1
    done
    cat "$trial/last" >&2
    return 1
}

# as_user <command>...: as somebody who may write nowhere but at home.
as_user() {
    setpriv --reuid=1000 --regid=1000 --clear-groups \
        env -i PATH=/usr/bin:/bin LANG=C.UTF-8 HOME=/home/user XDG_RUNTIME_DIR=/run/user "$@"
}

# The number of the process that shows the main window.
program() {
    local window
    window=$(xdotool search --onlyvisible --name '^Parlovex V') && xdotool getwindowpid "$window"
}

is_serving() { ss --udp --listening --no-header 'sport = :5060' | grep -q .; }
is_gone() { [ ! -e "/proc/$1" ]; }

start_from_menu() {
    (cd / && as_user DISPLAY="$DISPLAY" gio launch /usr/share/applications/parlovex.desktop) >>"$trial/output" 2>&1
    eventually program || { cat "$trial/output" >&2; fail "no window came up"; }
    eventually is_serving || fail "it does not listen"
}

end_program() {
    local process
    process=$(program)
    kill -TERM "$process"
    eventually is_gone "$process" || fail "the program did not end"
}

# converse <scenario> [option...]: once with the server, from a port that it does not use.
converse() {
    sipp -sf "$trial/$1.xml" "${@:2}" -i 127.0.0.1 -p 5070 -m 1 -timeout 60 -timeout_error -nostdin 127.0.0.1:5060 \
        >"$trial/sipp" 2>&1 || { tail -n 30 "$trial/sipp" >&2; fail "no good answer to $1"; }
}

answers_to_everybody_and_to_1000() {
    converse options
    converse register -inf "$trial/users.csv"
}

inside() {
    local data=/home/user/.local/share/parlovex version saved
    cd "$trial"
    install -d -m 0700 -o 1000 -g 1000 /home/user /run/user
    install -d -m 1777 /tmp/.X11-unix
    as_user Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>display 2>>output &
    eventually test -s display || fail "no display: $(cat output)"
    DISPLAY=:$(cat display)
    export DISPLAY

    dpkg --install parlovex.deb >log 2>&1 || { cat log >&2; fail "it cannot be installed"; }
    version=$(dpkg-query -W -f '${Version}' parlovex)
    [ -z "$(dpkg --verify parlovex)" ] || fail "its files are not what its sums say"
    as_user desktop-file-validate /usr/share/applications/parlovex.desktop
    as_user appstreamcli validate-tree --no-net /usr >log || { cat log >&2; fail "its description is not valid"; }
    start_from_menu
    [ "$(readlink "/proc/$(program)/exe")" = /usr/lib/parlovex/parlovex ] || fail "another program runs"
    [ "$(readlink "/proc/$(program)/cwd")" = "$data/desktop" ] || fail "it runs in another folder"
    as_user test -r "$data/desktop/res.spanish" -a -r "$data/desktop/help/index.html" || fail "its files cannot be read"

    converse options
    end_program

    as_user ./demo_office >users 2>&1 || fail "no users: $(cat users)"
    awk '/^1000 / { print "SEQUENTIAL"; print "1000;[authentication username=1000 password=" $2 "]" }' users >users.csv
    start_from_menu
    answers_to_everybody_and_to_1000

    dpkg --install newer.deb >log 2>&1 || { cat log >&2; fail "it cannot be upgraded"; }
    [ "$(dpkg-query -W -f '${Version}' parlovex)" = "$version+1" ] || fail "it was not upgraded"
    answers_to_everybody_and_to_1000 # the one that ran before
    end_program
    start_from_menu
    [ -e "$data/desktop/res.newer" ] || fail "a file of the newer version is missing"
    [ ! -L "$data/desktop/res.spanish" ] || fail "a file of the older version is still there"
    answers_to_everybody_and_to_1000
    end_program

    saved=$(cd "$data" && sha256sum ./*.db)
    dpkg --remove parlovex >log 2>&1 || { cat log >&2; fail "it cannot be removed"; }
    ! dpkg-query -W -f '${db:Status-Status}' parlovex 2>/dev/null | grep -v not-installed || fail "it is not removed"
    [ "$(cd "$data" && sha256sum ./*.db)" = "$saved" ] || fail "the data of the user are not what they were"
}

case "${1:-}" in
    "") outside ;;
    beside) beside "$2" ;;
    inside) inside ;;
    *)
        echo "usage: scripts/try_package.sh" >&2
        exit 2
        ;;
esac
