# shellcheck shell=sh
# What a package installs stands in lists: two versions compared, then checked on the disk that was damaged meanwhile.

title "File lists"
tell "A list names every file and directory that a version installs: digest, place, owner, mode. Two versions of a" \
    "small service, each a directory tree made on the spot:"
mkdir -p v1/bin v1/etc v1/share
cp "${tool:?}" v1/bin/service
cp /etc/passwd v1/etc/users
echo "port = 80" >v1/etc/service.conf
echo "Version 1" >v1/share/notes.txt
cp -r v1 v2
echo "port = 8080" >v2/etc/service.conf
echo "Version 2" >v2/share/new.txt
rm v2/share/notes.txt
expect 0 'v1.list: 7 records, 3 of them for directories' tarn list make v1 --prefix /opt/service -o v1.list
expect 0 'v2.list: 7 records' tarn list make v2 --prefix /opt/service -o v2.list
expect 0 'etc/service.conf +/opt/service/etc +service.conf +0644' tarn list show v1.list

title "Installed, and as listed"
tell "Version 1 is installed below \"device\", which stands for a device's root."
mkdir -p device/opt
cp -r v1 device/opt/service
expect 0 'v1.list: valid, 7 records as listed' tarn list verify v1.list --root device
tell "Compared with itself nothing is to be done:"
expect 0 '0 added, 0 removed, 0 modified' tarn list diff v1.list v1.list --root device

title "What the new version changes"
tell "One file is new, one gone, one has other content; what stays is looked at on the disk and found in order."
expect 1 'modified +etc/service.conf +digest differs' tarn list diff v1.list v2.list --root device
expect_also 'added +share/new.txt +only in the new list' 'removed +share/notes.txt +only in the old list' \
    '1 added, 1 removed, 1 modified, 0 refreshed, 2 the same'

title "A damaged disk"
tell "One bit of the program flips, and the list of users is lost. The check goes on behind the first fault:"
flip device/opt/service/bin/service 100
rm device/opt/service/etc/users
expect 1 'damaged +.*/opt/service/bin/service$' tarn list verify v1.list --root device
expect_also 'missing +.*/opt/service/etc/users$' '1 missing, 1 damaged, 0 of the wrong type, 5 as listed'
tell "So the update has more to install than the lists alone say:"
expect 1 'modified +bin/service +file damaged' tarn list diff v1.list v2.list --root device
expect_also 'added +etc/users +file missing' '2 added, 1 removed, 2 modified'
tell "Version 2 in place, everything is as listed again:"
rm -r device/opt/service
cp -r v2 device/opt/service
expect 0 'v2.list: valid, 7 records as listed' tarn list verify v2.list --root device

title "Refused: a list with a bad line"
tell "A mode that is none. The whole list counts for nothing, and the place is named:"
sed '2s/ 0[0-7][0-7][0-7] / rwxr-xr-x /' v1.list >bad.list
expect 1 'bad.list: line 2, column 9 \(mode\): "rwxr-xr-x"' tarn list show bad.list
expect 1 'bad.list: line 2' tarn list verify bad.list --root device
touch "v1/share/two words"
expect 3 'names with spaces' tarn list make v1 -o spaces.list
expect_absent spaces.list
