# shellcheck shell=sh
# What packages say of themselves, what their signatures are over, and a whole device verified.

title "Descriptors"
tell "A package brings files that say what it is. They are shown as the library reads them, once the package is verified:"
cat >cc_desc.txt <<'TXT'
package_format_ver: 1.3.0
is_startup: yes
version: 2.0
cc_include: web;log
TXT
cat >package_desc.txt <<'TXT'
package_name: web
version: 3.1
requires: libA>=1.0;libB
files:
web.bin /opt/web yes program
TXT
head -c 20000 /dev/urandom >web.bin
expect 0 '5 members' tarn package create -o web.cc --key keys/signer.key --cert keys/signer.pem \
    web.bin cc_desc.txt package_desc.txt
expect 0 'libA +>= +1.0' tarn --config keys/basic.conf package info web.cc
expect_also 'includes log' 'web.bin +/opt/web +yes +program' '2 descriptors, verified'
tell "Reading them is lenient: the first line that holds a key anywhere is taken, and any colon ends a section. Where that" \
    "gives another answer than the writer expects, a check says so:"
cat >odd_desc.txt <<'TXT'
package_name: web
package_version: 9
version: 3.1
files:
web.bin /opt/web:8080 yes program
notes /opt/web no text
TXT
expect 1 'line 2: "version" is found inside the key "package_version"' tarn desc check odd_desc.txt
expect_also 'line 5: the colon in this line ends the section' 'version +9'

title "Signed lists"
tell "The signature of a package is over a list of its members' digests:"
mkdir signed
expect 0 'signature_pss_cms' tarn --config keys/basic.conf package extract web.cc \
    signature_pss_filelist signature_pss_cms -d signed
expect 0 'created by "Korvel Technology Inc.", 3 files' tarn signed-list show signed/signature_pss_filelist
expect 0 'valid, signer "CN=' tarn --config keys/basic.conf signed-list check \
    signed/signature_pss_filelist --cms signed/signature_pss_cms
sed -i 's/^FILENUM.*/FILENUM=300/' signed/signature_pss_filelist
expect 1 'FILENUM is 300, from 1 to 256' tarn --config keys/basic.conf signed-list check \
    signed/signature_pss_filelist --cms signed/signature_pss_cms
expect_also 'the signed list was changed after it was signed'

title "A checksum"
printf 123456789 >digits
expect 0 '^31c3 ' tarn crc digits
head -c 1000 /dev/zero >erased
expect 1 'every byte is 0' tarn crc erased

title "A whole device"
tell "Packages and the files that lists say are installed, in one report that goes on behind the first finding:"
mkdir -p whole/opt
cp -r v2 whole/opt/service
expect 0 '2 good, 0 bad, 0 unchecked' tarn --config keys/basic.conf verify whole --package web.cc --list v2.list
flip whole/opt/service/bin/service 100
flip web.cc "$(($(place web.cc web.bin 4) + 400))"
expect 1 'bad +package web.cc' tarn --config keys/basic.conf verify whole --package web.cc --list v2.list
expect_also 'bad +installed files v2.list: 1 of 7 not as listed' '0 good, 2 bad, 0 unchecked'
