#!/bin/sh
# run.sh BUILD SCRATCH: installs BUILD into SCRATCH and builds the consumer against it twice, through the CMake package and
# through the pkg-config file.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=$1
scratch=$2
rm -rf "$scratch"
mkdir -p "$scratch"
prefix=$scratch/prefix

DESTDIR='' "$CMAKE" --install "$build" --prefix "$prefix" >"$scratch/install.log"

if [ "${WITH_TOOL:-}" = ON ]; then
    for page in "$here"/../../docs/man/*.1; do
        cmp "$page" "$prefix/$MANDIR/man1/$(basename "$page")"
    done
    [ ! -e "$prefix/$MANDIR/man1/tarn.1.in" ]
    bash -n "$prefix/$DATADIR/bash-completion/completions/tarn"
    $EMULATOR "$prefix/bin/tarn" --version
fi
"$CMAKE" -S "$here" -B "$scratch/cmake" ${TOOLCHAIN:+"-DCMAKE_TOOLCHAIN_FILE=$TOOLCHAIN"} \
    "-DCMAKE_C_COMPILER=$C_COMPILER" "-Dtarn_boot_DIR=$prefix/$LIBDIR/cmake/tarn_boot" >"$scratch/configure.log"
"$CMAKE" --build "$scratch/cmake"
export LD_LIBRARY_PATH="$prefix/$LIBDIR"
$EMULATOR "$scratch/cmake/consumer" some.cc

# shellcheck disable=SC2046 # words of a command line
"$C_COMPILER" "$here/consumer.c" -o "$scratch/consumer" \
    $(PKG_CONFIG_LIBDIR="$prefix/$LIBDIR/pkgconfig" pkg-config --cflags --libs tarn_boot)
$EMULATOR "$scratch/consumer" other.cch
