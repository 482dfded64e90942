#!/bin/sh
# The packages have the same bytes when they are built from the source package in a fresh Debian that has nothing but
# what the package asks for and no network, by another user, in another folder, with another umask, time zone and
# language, on a host of another name. Without root they are built from a copy of the sources, in another folder.
set -eu
source=$1 packages=$2 work=$3
export TZ=Asia/Tokyo LC_ALL=C.UTF-8

if [ "$(id -u)" -ne 0 ] || ! command -v debootstrap >/dev/null; then
   copy=$work/another/folder/hostmem-sources
   mkdir -p "$copy"
   (cd "$source" && tar --exclude=./build --exclude=./build-* --exclude=./.git -cf - .) | tar -xf - -C "$copy"
   HOME=$work CCACHE_DISABLE=1 make -C "$copy" deb
   built=$copy/build/packages
else
   skip()
   {
      echo "$*"
      exit 77
   }
   root=$work/root
   # shellcheck source=tests/packaging/fresh_debian.sh
   . "$source/tests/packaging/fresh_debian.sh"
   built=$root/srv/another/folder
   mkdir -p "$built"
   cp "$packages"/hostmem_*.dsc "$packages"/hostmem_*.tar.* "$built"
   inside sh -c 'apt-get install -y --no-install-recommends build-essential fakeroot && cd /srv/another/folder &&
      apt-get build-dep -y --no-install-recommends ./hostmem_*.dsc &&
      useradd --create-home builder && chown -R builder: .'
   # In a name space of its own the network is away.
   # shellcheck disable=SC2016 # the shells inside expand them
   unshare --net --uts sh -c 'hostname elsewhere.example && exec "$@"' sh \
      unshare --mount sh -c 'mount -t proc proc "$0/proc" && mount --rbind /dev "$0/dev" && exec chroot "$0" "$@"' "$root" \
      setpriv --reuid builder --regid builder --init-groups env -i PATH=/usr/bin:/bin HOME=/home/builder \
      TZ="$TZ" LC_ALL="$LC_ALL" DEB_BUILD_OPTIONS="terse parallel=$(nproc)" sh -euc 'cd /srv/another/folder
         umask 022; dpkg-source -x hostmem_*.dsc tree # a source package has the modes with which it is unpacked
         umask 002; cd tree; exec dpkg-buildpackage --unsigned-source --unsigned-changes'
fi

differ=
for package in "$packages"/*.deb "$packages"/*.dsc "$packages"/*.tar.*; do
   cmp "$package" "$built/${package##*/}" || differ=yes
done
if [ -n "$differ" ]; then
   echo "-- what was installed for the one and for the other build"
   diff "$packages"/*.buildinfo "$built"/*.buildinfo || true
   exit 1
fi
