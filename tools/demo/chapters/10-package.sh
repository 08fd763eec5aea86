# shellcheck shell=sh
# A signed package from real files: built, listed, verified, taken apart again.

title "Keys"
tell "A package is only worth what its signature is worth. A device trusts anchors, certificates that may end a chain;" \
    "the maker holds the key of a certificate that such an anchor has issued. For this demo both are made on the spot," \
    "with a configuration that makes the tool behave like a device that trusts them."
expect 0 'DEVELOPMENT ONLY' tarn keys new keys
expect 3 'is there already' tarn keys new keys

title "A package"
tell "Five real files: 64 MiB of random data, the tool itself, the list of users, a small text and an empty file."
head -c 67108864 /dev/urandom >firmware.img
cp "${tool:?}" tarn-tool
cp /etc/passwd users
echo "Tarn demo package, version 1" >version.txt
: >empty
wc -c firmware.img tarn-tool users version.txt empty | sed 's/^/    /'
tell "\"FILE=NAME\" gives a member another name than the file's. A key is needed:"
expect 2 'no signing key' tarn package create -o demo.cc firmware.img
expect 0 'demo.cc: 7 members, .* signed' tarn package create -o demo.cc --key keys/signer.key --cert keys/signer.pem \
    firmware.img tarn-tool users=users.txt version.txt empty

title "What is in it"
tell "Every member has two names. By its subfile name one gets its content; by its file name the content behind its" \
    "352-byte header. The last two members are the signed list, which names every other member with its SHA-256" \
    "digest, and the signature over that list."
expect 0 'signature_pss_filelist .* signature$' tarn package list demo.cc

title "Is it genuine?"
tell "Structure, signature, then the digest of every listed member:"
expect 0 'demo.cc: valid, signature trusted, 5 members as signed' tarn package verify --config keys/basic.conf demo.cc
: >nobody.conf
tell "Without a trust anchor nothing is decided, which is no answer about the package:"
expect 3 'no trust anchors are configured' tarn package verify --config nobody.conf demo.cc
tell "Member by member:"
expect 0 'ok .*firmware.img, 64.0 MiB' tarn package verify --config keys/basic.conf --members demo.cc

title "Taking members out"
tell "Each member's digest is checked before a byte of it is written. By subfile name: the content."
expect 0 '"users.txt" -> out/users.txt' \
    tarn package extract --config keys/basic.conf demo.cc firmware.img users.txt tarn-tool empty -d out
expect_same firmware.img out/firmware.img
expect_same users out/users.txt
expect_same tarn-tool out/tarn-tool
expect_same empty out/empty
tell "Files are read-only for owner and group, unless a mode is given."
expect_mode 440 out/users.txt
expect 0 '"tarn-tool" -> bin/tarn-tool' \
    tarn package extract --config keys/basic.conf demo.cc tarn-tool -d bin --mode 0755
expect_mode 755 bin/tarn-tool
expect 0 "^tarn [0-9]" beside_libraries bin/tarn-tool --version
tell "By file name: the whole member. Behind 352 bytes of header lies the same content."
expect 0 '"version.txt.bin" -> out/version.txt.bin' \
    tarn package extract --config keys/basic.conf demo.cc version.txt.bin -d out
tail -c +353 out/version.txt.bin >version.tail
expect_same version.txt version.tail
tell "What is not there, and what would leave the directory, is not extracted:"
expect 1 'no member of that name.*TARN_EXTRACT_NO_MEMBER' \
    tarn package extract --config keys/basic.conf demo.cc nothing -d out
expect 2 'not a plain file name' tarn package extract --config keys/basic.conf demo.cc ../users.txt -d out

title "Reproducible"
tell "The same input gives the same package; only the salt of the signature differs. Without one, nothing does."
expect 0 'not signed' tarn package create --no-sign -o one.cc users version.txt
expect 0 'not signed' tarn package create --no-sign -o two.cc users version.txt
expect_same one.cc two.cc
tell "An unsigned package can be listed, but a device takes nothing out of it:"
expect 0 'signed list missing' tarn package list one.cc
expect 1 'not valid' tarn package verify --config keys/basic.conf one.cc
