#!/bin/sh
# run.sh BUILD [SECONDS [TARGET...]]: explores each target for that long (60 s). New inputs go to build/fuzz/corpus-TARGET,
# findings to build/fuzz/crash-*.
set -eu
build=$1
seconds=${2:-60}
[ $# -le 2 ] && set -- "$build" "$seconds" container signed_list cms file_list image_list \
    link_list biosload_list list_update database database_model digest_list descriptor package_desc rpm_list
shift 2
here=$(cd "$(dirname "$0")" && pwd)
for target in "$@"; do
    echo "== $target for $seconds s"
    mkdir -p "$build/corpus-$target"
    dictionary=$here/$target.dict
    [ -f "$dictionary" ] || dictionary=
    ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1} "$build/bin/${target}_fuzz" -max_total_time="$seconds" -max_len=16384 -timeout=10 \
        -artifact_prefix="$build/crash-$target-" -print_final_stats=1 ${dictionary:+-dict="$dictionary"} \
        "$build/corpus-$target" "$here/corpus/$target"
done
