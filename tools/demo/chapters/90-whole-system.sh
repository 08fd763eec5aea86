# shellcheck shell=sh
# Everything together: two signed versions of a service, installed and recorded, upgraded, patched; then the unit is
# damaged in one place after the other, and brought back each time.

# install_files PACKAGE NAME...: checked members into the unit.
install_files() {
    package=$1
    shift
    tarn package extract --config keys/basic.conf --mode 0644 -d unit/opt/app "$package" "$@"
}

title "Two versions of a service"
tell "Each package carries its files and the list that says where they go. Version 2 has other settings, a new tool, and" \
    "no notes any more."
mkdir -p release1 release2 unit/opt/app unit/db unit/dbbak unit/lists
cp /bin/ls release1/service
echo "port = 80" >release1/settings
echo "Version 1" >release1/notes
cp release1/service release2/service
echo "port = 8080" >release2/settings
cp /bin/cat release2/tool
for version in 1 2; do
    expect 0 "service-$version.list: 3 records" tarn list make "release$version" --prefix /opt/app -o "service-$version.list"
    expect 0 "service-$version.cc: 6 members, .* signed" tarn package create -o "service-$version.cc" \
        --key keys/signer.key --cert keys/signer.pem "service-$version.list=files.list" "release$version"/*
done

title "Installed and recorded"
tell "Verified, unpacked, checked against the list that came with it, and written into the database."
expect 0 'service-1.cc: valid, signature trusted, 4 members as signed' \
    tarn package verify --config keys/basic.conf service-1.cc
install_files service-1.cc service settings notes
tarn package extract --config keys/basic.conf -d unit/lists/1 service-1.cc files.list
expect 0 'valid, 3 records as listed' tarn list verify unit/lists/1/files.list --root unit
expect 0 'created, without packages' tarn db create unit/db/installed.xml
expect 0 'added package app 1.0' tarn db add unit/db/installed.xml app 1.0 --cc /opt/packages/service-1.cc \
    --install-path /opt/app --pool-path /opt/tarn/pool/app/1.0
expect 0 'app +1.0 +service-1.cc' tarn db list unit/db/installed.xml

title "Upgraded by the difference"
tell "The two lists and the disk say what is to be done; nothing else is touched."
expect 0 'service-2.cc: valid' tarn package verify --config keys/basic.conf service-2.cc
tarn package extract --config keys/basic.conf -d unit/lists/2 service-2.cc files.list
expect 1 'modified +settings +digest differs' \
    tarn list diff unit/lists/1/files.list unit/lists/2/files.list --root unit
expect_also 'added +tool +only in the new list' 'removed +notes +only in the old list' \
    '1 added, 1 removed, 1 modified, 0 refreshed, 1 the same'
awk '$1 == "added" || $1 == "modified" { print $2 }' output.txt >install.txt
awk '$1 == "removed" { print $2 }' output.txt >remove.txt
while read -r name; do
    install_files service-2.cc "$name" </dev/null
done <install.txt
while read -r name; do
    rm "unit/opt/app/$name"
done <remove.txt
expect 0 'valid, 3 records as listed' tarn list verify unit/lists/2/files.list --root unit
expect_absent unit/opt/app/notes
expect_same unit/opt/app/settings release2/settings
expect 0 'Version: "1.0" -> "2.0"' tarn db add unit/db/installed.xml app 2.0 --cc /opt/packages/service-2.cc \
    --install-path /opt/app --pool-path /opt/tarn/pool/app/2.0
tell "The state before that change was copied first:"
expect 0 'app +1.0 +service-1.cc' tarn db list unit/dbbak/installed.xml

title "A patch comes and goes"
expect 0 'added patch fix-1' tarn db add-patch unit/db/installed.xml app fix-1 1 --source /opt/patches/fix-1 \
    --install-path /opt/app --pool-path /opt/tarn/pool/fix-1/1
expect 0 'PatchName +fix-1' tarn db show unit/db/installed.xml app
expect 1 'fix-1' tarn db add-patch unit/db/installed.xml app fix-1 1 --source /opt/patches/fix-1 \
    --install-path /opt/app --pool-path /opt/tarn/pool/fix-1/1
expect 0 'removed patch fix-1' tarn db remove-patch unit/db/installed.xml app fix-1

title "Damage: a file"
tell "The check names it, the package has it, and the list tells that it is as it was."
flip unit/opt/app/service 1000
expect 1 'damaged +.*/opt/app/service$' tarn list verify unit/lists/2/files.list --root unit
expect 1 'modified +service +file damaged' \
    tarn list diff unit/lists/2/files.list unit/lists/2/files.list --root unit
install_files service-2.cc service
expect 0 'valid, 3 records as listed' tarn list verify unit/lists/2/files.list --root unit

title "Damage: the package, its signature, its list"
tell "A damaged package repairs nothing: it is refused, and the file on the unit stays."
cp service-2.cc damaged.cc
flip damaged.cc $(($(place damaged.cc settings 4) + 352))
expect 1 'settings' tarn package verify --config keys/basic.conf damaged.cc
expect 1 'settings' tarn package extract --config keys/basic.conf -d unit/opt/app damaged.cc settings
expect_same unit/opt/app/settings release2/settings
cp service-2.cc damaged.cc
flip damaged.cc $(($(place damaged.cc signature_pss_filelist 4) + 352 + 40))
expect 1 'the signed list was changed after it was signed' tarn package verify --config keys/basic.conf damaged.cc
cp service-2.cc damaged.cc
flip damaged.cc $(($(wc -c <damaged.cc) - 1))
expect 1 'not valid: the signature is not trusted' tarn package verify --config keys/basic.conf damaged.cc
tell "The list on the unit loses the end of a line. It counts for nothing, and is taken from the package again."
chmod 0600 unit/lists/2/files.list
sed '2s/ [^ ]*$//; 2s/ [^ ]*$//' unit/lists/2/files.list >unit/lists/2/short.list
mv unit/lists/2/short.list unit/lists/2/files.list
expect 1 'files.list: line 2' tarn list verify unit/lists/2/files.list --root unit
tarn package extract --config keys/basic.conf -d unit/lists/2 service-2.cc files.list
expect 0 'valid, 3 records as listed' tarn list verify unit/lists/2/files.list --root unit

title "Damage: the database"
tell "What is damaged is not changed, since a change would make the damage last. The copy is put back."
cp unit/db/installed.xml sound.xml
expect 0 'updated package app 2.0' tarn db update unit/db/installed.xml app --active-time 2026-01-02
head -c 200 sound.xml >unit/db/installed.xml
expect 1 'damaged' tarn db check unit/db/installed.xml
expect_also 'copy of a former state: .*dbbak/installed.xml: 1 package'
expect 3 'not changed, it is damaged' tarn db update unit/db/installed.xml app --active-time 2026-01-03
expect_also 'tarn db check'
expect 0 'usable, 1 package' tarn db backups unit/db/installed.xml
expect 0 'which was damaged, is restored from .*dbbak' tarn db restore unit/db/installed.xml
expect 0 'sound' tarn db check unit/db/installed.xml
expect 0 'app +2.0 +service-2.cc' tarn db list unit/db/installed.xml
expect_same unit/db/installed.xml sound.xml

title "All of it in one report"
tell "The package, the installed files and the database of the unit, after all that:"
expect 0 '2 good, 0 bad, 0 unchecked' tarn --config keys/basic.conf verify unit --package service-2.cc \
    --list unit/lists/2/files.list
expect 0 'unit/db/installed.xml: sound' tarn db check unit/db/installed.xml
