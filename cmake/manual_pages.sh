#!/bin/sh
# manual_pages.sh TARN [--check]: writes docs/man/*.1, one page for the tool and one for each of its groups, from
# docs/man/*.1.in and from what the tool's --help says. With --check says instead whether the committed pages are those.
# Lines of a template that stand for more: @SYNOPSIS@, @OPTIONS@, @COMMANDS@, @COMMON@, @PAGES@.
set -eu
tool=$1
mode=${2:-}
cd "$(dirname "$0")/.."
scripts=$PWD/cmake
man=$PWD/docs/man
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# help PART [COMMAND...]
help() {
    part=$1
    shift
    "$tool" "$@" --help | awk -v part="$part" -f "$scripts/manual_pages.awk"
}

subcommands() {
    "$tool" "$@" --help |
        awk '/^Subcommands:/ { inside = 1; next } /^$/ { inside = 0 } inside && /^  [^ ]/ { print $1 }'
}

# commands_of [GROUP]: lines "GROUP COMMAND"; a command without subcommands stands for itself.
commands_of() {
    found=$(subcommands "$@")
    [ -n "$found" ] || { echo "$*"; return; }
    for command in $found; do
        echo "$* $command"
    done
}

escaped() { printf '%s' "$*" | sed 's/-/\\-/g'; }

# page NAME [GROUP]: fills in a template.
page() {
    name=$1
    shift
    [ -f "$man/$name.1.in" ] || { echo "manual_pages: write $man/$name.1.in for the new group" >&2; exit 1; }
    while IFS= read -r line; do
        case $line in
            @SYNOPSIS@)
                commands_of "$@" | while read -r words; do
                    # shellcheck disable=SC2086
                    help synopsis $words
                done ;;
            @COMMANDS@)
                if [ $# = 0 ]; then
                    help commands
                else
                    commands_of "$@" | while read -r words; do
                        printf '.SS "tarn %s"\n' "$(escaped "$words")"
                        # shellcheck disable=SC2086
                        help command $words
                    done
                fi ;;
            @OPTIONS@) help options ;;
            @PAGES@)
                subcommands | sort | sed '$!s/$/,/' | while IFS= read -r group; do
                    printf '.BR tarn\\-%s (1)%s\n' "$(escaped "${group%,}")" "${group##*[!,]}"
                done ;;
            @COMMON@)
                echo '.SH COMMON OPTIONS'
                help common
                cat "$man/common.in" ;;
            *) printf '%s\n' "$line" ;;
        esac
    done <"$man/$name.1.in" >"$work/$name.1"
}

page tarn
for group in $(subcommands); do
    page "tarn-$group" "$group"
done
if [ "$mode" != --check ]; then
    rm -f "$man"/*.1
    cp "$work"/*.1 "$man"
    exit
fi
for written in "$work"/*.1 "$man"/*.1; do
    diff "$man/$(basename "$written")" "$work/$(basename "$written")" || {
        echo "manual_pages: $(basename "$written") is out of date: sh cmake/manual_pages.sh build/release/bin/tarn" >&2
        exit 1
    }
done
