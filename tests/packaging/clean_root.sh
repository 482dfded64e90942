#!/bin/sh
# In a fresh Debian the packages install with their dependencies, take over from the packages of 1.0.0, make room
# for a platform's own library, run, and leave nothing behind.
set -eu
source=$1 packages=$2 work=$3
skip()
{
   echo "$*"
   exit 77
}
root=$work/root
# shellcheck source=tests/packaging/fresh_debian.sh
. "$source/tests/packaging/fresh_debian.sh"

# Everything but what the package manager and the dynamic linker keep for themselves.
list()
{
   (cd "$root" && find . -xdev \( -path ./var/cache -o -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./var/log \
      -o -path ./var/packages -o -path ./proc -o -path ./sys -o -path ./dev -o -path ./tmp -o -path ./etc/ld.so.cache \) \
      -prune -o -print | sort)
}
same_as_before()
{
   list >"$work/after"
   diff "$work/before" "$work/after"
   if inside ldconfig -p | grep libnevra; then
      echo "the dynamic linker still knows the library"
      exit 1
   fi
}
# make_package FOLDER NAME VERSION [FIELD]...: from the files in the folder
make_package()
{
   folder=$1 name=$2 version=$3
   shift 3
   mkdir -p "$folder/DEBIAN"
   printf '%s\n' "Package: $name" "Version: $version" "Architecture: $(dpkg --print-architecture)" \
      "Maintainer: nobody <nobody@example.org>" "Description: test" "$@" >"$folder/DEBIAN/control"
   dpkg-deb --root-owner-group --build "$folder" "$root/var/packages/other/${name}_$version.deb" >/dev/null
}

list >"$work/before"
mkdir -p "$root/var/packages/other"
for package in "$packages"/*.deb; do
   case $package in
   *-dbgsym_*) ;;
   *) cp "$package" "$root/var/packages" ;;
   esac
done
names=$(for package in "$root"/var/packages/*.deb; do dpkg-deb -f "$package" Package; done | tr '\n' ' ')
cp "$source/samples/small-host.json" "$root/var/packages"

echo "-- installed: $names"
inside sh -c 'apt-get install -y --no-install-recommends /var/packages/*.deb'
inside dpkg --audit
# shellcheck disable=SC2086 # words are meant to be split
inside dpkg --verify $names
# No unit is enabled by the installation.
test -z "$(find "$root/etc/systemd" -name '*hostmem*' 2>/dev/null)"

echo "-- live"
inside hostmem -r comp-stats
inside hostmem -r group-stats -l 2
echo "-- snapshot"
inside hostmem-snapshot import /var/packages/small-host.json -o /var/packages/host.snapshot
inside hostmem -c /var/packages/host.snapshot -r vm-stats
echo "-- library"
inside ldconfig -p | grep 'libnevra\.so\.1 '
inside test -e /usr/include/nevra/nevra.h

echo "-- the exporter has its libraries to itself"
for program in hostmem hostmem-export hostmem-overview hostmem-record hostmem-snapshot; do
   if inside ldd "/usr/bin/$program" | grep -E 'microhttpd|gnutls|yaml'; then
      echo "$program needs a library of the exporter"
      exit 1
   fi
done
inside hostmem-exporter --version

echo "-- the platform's own library instead"
folder=$work/platform
library_folder=$(dirname "$(inside dpkg -L libnevra1 | grep 'libnevra\.so\.1$')")
mkdir -p "$folder/$library_folder"
c++ -std=c++20 -O1 -shared -fPIC -static-libstdc++ -static-libgcc -I"$source" -I"$source/nevra/include" \
   -Wl,-soname,libnevra.so.1 -Wl,--version-script="$source/tests/scripted/exports.map" \
   -o "$folder/$library_folder/libnevra.so.1" "$source/tests/scripted/scripted_platform.cpp"
make_package "$folder" platform-nevra 7.0 'Provides: libnevra-platform1' 'Conflicts: libnevra-platform1' \
   'Replaces: libnevra-platform1'
inside apt-get purge -y libnevra-dev
inside apt-get install -y /var/packages/other/platform-nevra_7.0.deb
inside dpkg --audit
echo 'list system_heaps 0 = sof-the-platform' >"$root/var/packages/script"
printf 'record system_heaps_stats 0 %s%0*d sof-the-platform\n' "$(printf of-the-platform | od -An -tx1 | tr -d ' \n')" 264 0 \
   >>"$root/var/packages/script"
inside env NEVRA_SCRIPT=/var/packages/script hostmem -r heap-stats -q -s name | grep -x of-the-platform
if inside dpkg --status libnevra1 | grep -x 'Status: install ok installed'; then
   echo "two packages that are the platform's library"
   exit 1
fi
inside sh -c 'apt-get install -y /var/packages/libnevra1_*.deb'
inside hostmem -r comp-stats

echo "-- removed"
# shellcheck disable=SC2086 # words are meant to be split
inside dpkg --purge $names platform-nevra
inside apt-get autoremove -y --purge
same_as_before

echo "-- an upgrade from 1.0.0, which was two packages"
folder=$work/old
for name in hostmem hostmem-record libnevra1; do
   dpkg-deb -x "$packages/${name}"_*.deb "$folder"
done
rm -rf "$folder"/usr/share/doc/hostmem-record "$folder"/usr/share/doc/libnevra1
make_package "$folder" hostmem 1.0.0-1
rm -rf "$folder"
dpkg-deb -x "$packages"/libnevra-dev_*.deb "$folder"
make_package "$folder" libnevra-dev 1.0.0-1 'Depends: hostmem (= 1.0.0-1)'
# The recorder is enabled, and has recorded.
mkdir -p "$root/etc/systemd/system/multi-user.target.wants"
list >"$work/before"
inside dpkg --install /var/packages/other/hostmem_1.0.0-1.deb /var/packages/other/libnevra-dev_1.0.0-1.deb
ln -s /lib/systemd/system/hostmem-record.service "$root/etc/systemd/system/multi-user.target.wants"
mkdir "$root/var/lib/hostmem"
: >"$root/var/lib/hostmem/kept"
inside sh -c 'apt-get install -y --no-install-recommends /var/packages/*.deb'
inside dpkg --audit
# shellcheck disable=SC2086 # words are meant to be split
inside dpkg --verify $names
inside hostmem -r comp-stats
test -e "$root/var/lib/hostmem/kept"
inside test -e /etc/systemd/system/multi-user.target.wants/hostmem-record.service
# shellcheck disable=SC2086 # words are meant to be split
inside dpkg --purge $names
inside apt-get autoremove -y --purge
rm -f "$root/etc/systemd/system/multi-user.target.wants/hostmem-record.service"
same_as_before

echo "-- the tests of the source package"
if command -v autopkgtest >/dev/null; then
   status=0
   with_its_proc autopkgtest --no-built-binaries --timeout-factor=10 --output-dir="$work/autopkgtest" "$root"/var/packages/*.deb \
      "$packages"/hostmem_*.dsc -- chroot "$root" || status=$?
   cat "$work/autopkgtest/summary"
   test "$status" -eq 0
else
   echo "no autopkgtest here"
   exit 1
fi
