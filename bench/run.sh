#!/bin/sh
# run.sh BUILD: makes a signed package of 512 MiB in 64 members and compares whole commands, warm cache, same run.
set -eu
build=$1
tarn=$build/bin/tarn
compare=$build/bin/compare_commands
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT INT TERM
runs=${RUNS:-11}

"$tarn" keys new "$dir/keys" >/dev/null
make_package() { # MEMBERS MIB OUTPUT
    set -- "$1" "$2" "$3" "$dir/members-$1"
    mkdir -p "$4"
    i=0
    while [ $i -lt "$1" ]; do
        head -c $(($2 * 1048576 / $1)) /dev/urandom >"$4/m$i"
        i=$((i + 1))
    done
    "$tarn" package create -o "$3" --key "$dir/keys/signer.key" --cert "$dir/keys/signer.pem" "$4"/m* >/dev/null
    rm -rf "$4"
}
make_package 64 512 "$dir/p512.cc"
make_package 16 128 "$dir/p128.cc"
cat "$dir/p512.cc" "$dir/p128.cc" >/dev/null

conf=$dir/keys/basic.conf
for size in 128 512; do
    echo "tarn package verify, $size MiB, against openssl dgst -sha256 of the file"
    "$compare" "$runs" "exec $tarn --config $conf package verify $dir/p$size.cc" "exec openssl dgst -sha256 $dir/p$size.cc"
done
echo "tarn package extract, one member of 8 MiB of 512, against a bare program that hashes, copies and syncs 8 MiB"
"$compare" $((runs * 3)) "exec $tarn --config $conf package extract $dir/p512.cc m9 -d $dir/out" \
    "exec $build/bin/hash_copy_sync $dir/p512.cc 6532 8388608 $dir/bare"
echo "a second extraction of 8 MiB in one process against hash, copy and sync"
"$build/bin/repeated_extraction" --benchmark_enable_random_interleaving --benchmark_repetitions=9 \
    --benchmark_report_aggregates_only --benchmark_counters_tabular 2>/dev/null | grep -E 'median'
echo "size and dependencies of the library"
cp "$build/lib/libtarn_boot.so" "$dir/stripped.so"
strip "$dir/stripped.so"
printf '  %s bytes stripped; needs %s\n' "$(wc -c <"$dir/stripped.so")" \
    "$(readelf -d "$dir/stripped.so" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | tr '\n' ' ')"
