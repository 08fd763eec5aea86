#!/bin/sh
# The main job end to end on real input made on the spot: demo.sh PATH-OF-TARN
# Every step shows its command, and fails the demo when exit status or output are not as expected.
set -eu

here=$(cd "$(dirname "$0")" && pwd)
if [ $# -ne 1 ] || [ ! -x "$1" ]; then
    echo "usage: demo.sh PATH-OF-TARN" >&2
    exit 2
fi
tool=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")

# shellcheck source=tools/demo/steps.sh
. "$here/steps.sh"

umask 022
work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-demo.XXXXXX")
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
cd "$work"

for chapter in "$here"/chapters/*.sh; do
    # shellcheck source=/dev/null
    . "$chapter"
done

title "Everything as expected: $steps steps"
