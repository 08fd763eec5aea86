#!/bin/sh
# The arrows between folders run one way. Prints every include that breaks a rule and fails.
set -eu
broken=0

# forbid FOLDER PATTERN WHY
forbid() {
    if grep -rnE "^#include [<\"]($2)" "$1" --include='*.h' --include='*.cpp'; then
        echo "  ^ $1: $3"
        broken=1
    fi
}

forbid include/tarn_basic 'tarn_boot/' 'the platform interface knows nothing of the library'
forbid include 'iostream|string>|vector>' 'public headers compile as C'
forbid platform '(\.\./)*(include/)?tarn_boot/|common/|tarn_package/' 'the platform knows nothing of the library'
forbid src 'iostream>|string>|vector>|map>|openssl/|packaging/' 'the library uses no containers, streams, OpenSSL or tool code'
forbid src/common 'tarn_package/|swm_xml/' 'helpers use no unit'
forbid src/tarn_package 'swm_xml/' 'the subsystems do not include each other'
[ ! -d src/swm_xml ] || forbid src/swm_xml 'tarn_package/' 'the subsystems do not include each other'
forbid tools '(\.\./)+src/|common/|tarn_package/' 'the tool uses exported interfaces only'
exit $broken
