#!/bin/bash
# check.bash TARN SOURCE_DIR: the manual pages are those of this tool and please groff; every command and option that its
# --help prints stands in the page of its group and is offered by the completion.
set -u
tool=$1 source_dir=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
broken=0
checked=0

complain() {
    echo "$*"
    broken=1
}

sh "$source_dir/cmake/manual_pages.sh" "$tool" --check || broken=1
if command -v groff >/dev/null; then
    for page in "$source_dir"/docs/man/*.1; do
        groff -man -Tutf8 -ww -z "$page" 2>"$work/warnings" || complain "$page does not format"
        [ ! -s "$work/warnings" ] || { cat "$work/warnings"; complain "$page has warnings"; }
    done
fi

# Completion calls what it finds under the name of the first word.
# shellcheck disable=SC2317 # completion calls both
tarn() { "$tool" "$@"; }
# shellcheck disable=SC2317
compopt() { :; }
# shellcheck source=/dev/null
. "$source_dir/packaging/completion/tarn.bash"

# offered WORD...: what completion answers behind these words, the last being the one under the cursor.
offered() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    _tarn
    printf '%s\n' "${COMPREPLY[@]}" | LC_ALL=C sort
}

# same NAMES OFFERED PAGE WORD...: help and completion agree, and the page has each.
same() {
    local names=$1 answers=$2 page=$3
    shift 3
    [ "$names" = "$answers" ] || complain "completion of '$*' offers:" "$answers" "-- help prints:" "$names"
    for name in $names; do
        sed 's/\\-/-/g' "$page" | grep -qE -e "(^|[^a-z-])$name([^a-z-]|\$)" ||
            complain "$(basename "$page") does not know $name of '$*'"
        checked=$((checked + 1))
    done
}

# check PAGE WORD...: one command and those below it.
check() {
    local page=$1 help options commands
    shift
    help=$("$@" --help) || complain "$* --help failed"
    # Names as they stand at the beginning of a line of options.
    options=$(grep -oE '^  -[^ ]+' <<<"$help" | tr -d ' ' | tr , '\n' | LC_ALL=C sort)
    [ -n "$options" ] || complain "$* --help prints no options"
    same "$options" "$(offered "$@" -)" "$page" "$*"
    commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p' <<<"$help" | LC_ALL=C sort)
    [ -n "$commands" ] || return
    same "$commands" "$(offered "$@" "")" "$page" "$*"
    for name in $commands; do
        if [ $# = 1 ]; then
            check "$source_dir/docs/man/tarn-$name.1" "$@" "$name"
        else
            check "$page" "$@" "$name"
        fi
    done
}

check "$source_dir/docs/man/tarn.1" tarn
[ "$(offered tarn --log-level w)" = warning ] || complain "no levels are offered"
[ "$(offered tarn --config x package ver)" = verify ] || complain "a value was taken for a command"
echo "$checked names of commands and options in pages and completion"
[ "$checked" -gt 50 ] || complain "help was not understood"
exit $broken
