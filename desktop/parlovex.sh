#!/bin/sh
# Starts the installed Parlovex; the arguments go to the toolkit.
#
# The program finds its language files and the pages of its help in the current directory, and its dialogs for files open
# there. So it runs in a folder of the user's own, `desktop` in the data folder, that holds links to the installed files.
set -eu

prefix=$(dirname "$(dirname "$(readlink -f "$0")")")
files=$prefix/share/parlovex

# Relative folders count from where the command was given.
[ -z "${XDG_DATA_HOME:-}" ] || XDG_DATA_HOME=$(realpath -m -- "$XDG_DATA_HOME")
[ -z "${PARLOVEX_HOME:-}" ] || PARLOVEX_HOME=$(realpath -m -- "$PARLOVEX_HOME")
home=${HOME:-$(getent passwd "$(id -u)" | cut -d: -f6)}
folder=${PARLOVEX_HOME:-${XDG_DATA_HOME:-$home/.local/share}/parlovex}/desktop

# Only links change, and only those that are not right: what the user put there stays, and a full disk does not matter once
# they are made.
prepare_folder() {
    (umask 077 && mkdir -p -- "$folder") || return
    for link in "$folder"/*; do
        [ -L "$link" ] && [ ! -e "$link" ] || continue
        # A file of another version or of another installation.
        case $(readlink "$link") in
            */share/parlovex/*) rm -f -- "$link" || return ;;
        esac
    done
    for file in "$files"/*; do
        link=$folder/${file##*/}
        [ "$(readlink "$link")" != "$file" ] || continue
        [ -L "$link" ] || [ ! -e "$link" ] || continue
        ln -sfn -- "$file" "$link" || return
    done
}

# Without that folder the program still runs, and tells in its log what is wrong with the data folder.
if prepare_folder 2>/dev/null; then
    cd -- "$folder"
else
    cd -- "$files"
fi
exec "$prefix/lib/parlovex/parlovex" "$@"
