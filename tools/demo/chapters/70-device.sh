# shellcheck shell=sh
# What a device does around packages: devices over images, markers for booting, and a look at its health.

title "Who signed it, and whole members"
expect 0 'signer +CN=Development package signer' tarn --config keys/basic.conf package signature demo.cc
mkdir whole-members
expect 0 'header included, not verified' tarn package extract --with-header demo.cc version.txt -d whole-members
expect 0 "^$(($(wc -c <version.txt) + 352)) " wc -c whole-members/version.txt
rm -f whole-members/version.txt

title "A member as a block device"
if [ "$(id -u)" = 0 ] && tarn --config keys/basic.conf package attach demo.cc version.txt whole-members >output.txt 2>&1; then
    sed 's/^/    /' output.txt
    expect 0 'etached' tarn package detach whole-members/version.txt
else
    tell "Skipped: attaching a loop device needs root, and a machine that has them."
fi

title "Booting a package from local storage"
cat >pool.conf <<TXT
[trust]
anchors = $PWD/keys/ca.pem
signer_purpose = codeSigning
[paths]
package_pool = $PWD/pool
TXT
chmod 600 pool.conf
mkdir -p pool/web/3.1
if [ "$(id -u)" = 0 ]; then
    expect 1 'not marked' tarn --config pool.conf boot status web 3.1
    expect 0 'marked' tarn --config pool.conf boot mark web 3.1
    expect 0 ': marked for local boot' tarn --config pool.conf boot status web 3.1
    expect 0 'no longer marked' tarn --config pool.conf boot unmark web 3.1
fi
expect 3 'not in the pool|not in the package pool' tarn --config pool.conf boot mark mail 1.0

title "What is wrong with this machine?"
mkdir -p sick/etc/tarn sick/tmp sick/pool
cp keys/ca.pem sick/etc/tarn/trust.pem
printf '[trust]\nanchors = /etc/tarn/trust.pem\n[paths]\npackage_pool = /pool\n' >sick/etc/tarn/basic.conf
chmod 666 sick/etc/tarn/basic.conf
expect 1 'basic.conf' tarn doctor --root sick
