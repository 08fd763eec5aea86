# shellcheck shell=sh
# What is installed stands in one file: changed in one step each time, copied first, and never when it is damaged.

# add NAME VERSION [OPTION...]: a package into the database.
add() {
    expect 0 "(added|updated) package $1 $2" tarn db add device/db/packages.xml "$1" "$2" --cc "/media/$1-$2.cc" \
        --install-path "/opt/$1" --pool-path "/pool/$1/$2" ${3:+"$3"}
}

title "The database of installed software"
tell "A new one. The directory of the same name with \"bak\" behind it will take the copy that each change makes first:"
mkdir -p device/db device/dbbak
expect 0 'created, without packages' tarn db create device/db/packages.xml
expect_mode 640 device/db/packages.xml
add service 1.0
add driver 1
tell "Version 1.1 takes the place of 1.0; version 2.0 becomes an entry beside it:"
add service 1.1
expect_also 'Version: "1.0" -> "1.1"'
add service 2.0 --side-by-side
expect 0 '3 packages' tarn db list device/db/packages.xml
expect 0 'sound, 3 packages' tarn db check device/db/packages.xml
expect 0 '^/media/driver-1.cc' tarn db cc-files device/db/packages.xml

title "A patch and a mod"
tell "The library's own listing looks for other elements than its additions write. The tool says so, and reads on:"
expect 0 'added patch fix 1 of package service 1.1' tarn db add-patch device/db/packages.xml service fix 1 \
    --source /media/fix.bin --install-path /opt/service --pool-path /pool/fix/1
expect 0 'added mod colours 3' tarn db add-mod device/db/packages.xml driver colours 3 \
    --source "/media/<a & b>" --install-path /opt/driver --pool-path /pool/colours/3
expect 0 'SrcFilePath +/media/<a & b>' tarn db show device/db/packages.xml driver
expect 1 'patch "fix" cannot be read by the library' tarn db check device/db/packages.xml
expect 0 'the library cannot list it; this is the tool' tarn db cc-files device/db/packages.xml

title "Removed"
expect 0 'removed patch fix 1' tarn db remove-patch device/db/packages.xml service fix
expect 0 'removed mod colours 3' tarn db remove-mod device/db/packages.xml driver colours
expect 3 'has 2 entries of package "service"' tarn db remove device/db/packages.xml service
tell "Which of them? Without effect first:"
cp device/db/packages.xml before.xml
expect 0 'would have' tarn db remove device/db/packages.xml service --pkg-version 2.0 --dry-run
expect_same before.xml device/db/packages.xml
expect 0 'removed package service 2.0' tarn db remove device/db/packages.xml service --pkg-version 2.0
expect 0 'removed package driver 1' tarn db remove-cc device/db/packages.xml /media/driver-1.cc

title "A damaged database"
tell "Its second half is lost. The library would read what is left, and save that; the tool names the place, changes" \
    "nothing and shows what can still be read:"
expect 0 'copied to' tarn db backup device/db/packages.xml
cp device/db/packages.xml before.xml
truncate -s 300 device/db/packages.xml
expect 1 'line [0-9]+: not well-formed' tarn db check device/db/packages.xml
expect_also 'tarn db restore device/db/packages.xml" puts it back'
cp device/db/packages.xml damaged.xml
expect 3 'not changed, it is damaged' tarn db remove device/db/packages.xml service
expect_same damaged.xml device/db/packages.xml
expect 1 'service +1.1' tarn db list device/db/packages.xml
expect 0 'usable, 1 package' tarn db backups device/db/packages.xml
expect 0 'which was damaged, is restored' tarn db restore device/db/packages.xml
expect_same before.xml device/db/packages.xml
tell "A damaged copy is no help, and is not put back:"
truncate -s 300 device/dbbak/packages.xml
expect 3 'not restored: it is good, and its copy' tarn db restore device/db/packages.xml
expect_same before.xml device/db/packages.xml
