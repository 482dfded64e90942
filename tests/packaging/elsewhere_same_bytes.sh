#!/bin/sh
# Built in another folder, with another umask, time zone and language, and as root on a host of another name, the
# packages have the same bytes.
set -eu
source=$1 packages=$3 work=$4
copy=$work/another/folder/hostmem-sources
mkdir -p "$copy"
(cd "$source" && tar --exclude=./build --exclude=./build-* --exclude=./.git -cf - .) | tar -xf - -C "$copy"
umask 077
cd "$copy"
export TZ=Asia/Tokyo LC_ALL=C.UTF-8 HOME="$work" CCACHE_DISABLE=1
if unshare --uts true 2>/dev/null; then
   unshare --uts sh -c 'hostname elsewhere.example && exec make deb'
else
   make deb
fi
for package in "$packages"/*.deb; do
   cmp "$package" "build/packages/${package##*/}"
done
