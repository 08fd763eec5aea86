#!/bin/sh
# run.sh BUILD [packages|lists|database|descriptor|crc]: compares whole commands, warm cache, same run: over a signed package of
# 512 MiB in 64 members, over file lists of 200,000 records, over databases of up to 10,000 packages, and over
# a descriptor of 10,000 lines.
set -eu
build=$1
tarn=$build/bin/tarn
compare=$build/bin/compare_commands
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT INT TERM
runs=${RUNS:-11}

packages() {
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
}

lists() {
    old=$dir/old.txt new=$dir/new.txt
    "$build/bin/record_lists" make 200000 "$old" "$new"
    cat "$old" "$new" >/dev/null
    echo "load, sort, compare and release two lists of 200000 shuffled records, against sort of both and comm"
    "$compare" "$runs" "exec $build/bin/record_lists update $old $new" \
        "export LC_ALL=C; sort -o $old.s $old && sort -o $new.s $new && comm -3 $old.s $new.s"
    "$build/bin/record_lists" phases "$old" "$new"
    echo "memory at the peak of loading one of them"
    "$build/bin/record_lists" load "$old"
    rm -f "$old"* "$new"*
    "$build/bin/record_lists" growth
    echo "over 10000 installed files of 16 KiB, against reading and hashing them"
    "$build/bin/installed_files"
}

database() {
    job=$build/bin/database
    for packages in 10 100 1000 10000; do
        base=$dir/$packages.xml
        "$job" make $packages "$base"
        echo "database of $packages packages: looking one up, against xmllint --noout"
        "$compare" "$runs" "exec $job lookup $base" "exec xmllint --noout $base"
        for change in add remove; do
            echo "  $change, against bare libxml2"
            "$compare" "$runs" "cp $base $dir/ours.xml && exec $job $change $dir/ours.xml" \
                "cp $base $dir/bare.xml && exec $job bare-$change $dir/bare.xml"
        done
        "$job" cc "$base"
    done
}

descriptor() {
    desc=$dir/package_desc.txt
    seq -f 'file-%.0f.bin /opt/app yes shared' 10000 >"$desc"
    echo 'last_key: 1.3.0' >>"$desc"
    echo "reading the last key of a descriptor of 10000 lines, against grep -m1, as whole processes"
    "$compare" $((runs * 5)) "exec $build/bin/descriptor $desc last_key" "exec grep -m1 last_key $desc"
    echo "  a descriptor of one line: what starting the two costs"
    echo 'last_key: 1.3.0' >"$dir/one.txt"
    "$compare" $((runs * 5)) "exec $build/bin/descriptor $dir/one.txt last_key" "exec grep -m1 last_key $dir/one.txt"
    rm -f "$desc"
}

crc() {
    echo "CRC of 64 MiB"
    "$build/bin/crc"
}

case ${2:-all} in
    packages | lists | database | descriptor | crc) "$2" ;;
    *)
        packages
        lists
        database
        descriptor
        crc
        ;;
esac
echo "size and dependencies of the library"
cp "$build/lib/libtarn_boot.so" "$dir/stripped.so"
strip "$dir/stripped.so"
printf '  %s bytes stripped; needs %s\n' "$(wc -c <"$dir/stripped.so")" \
    "$(readelf -d "$dir/stripped.so" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | tr '\n' ' ')"
