#!/bin/sh
# The packages are installed with their dependencies into a fresh Debian, work there, and leave nothing behind.
set -eu
source=$1 packages=$3 work=$4
skip()
{
   echo "$*"
   exit 77
}
[ "$(id -u)" -eq 0 ] || skip "not root"
command -v debootstrap >/dev/null || skip "no debootstrap here"
# shellcheck source=/dev/null
. /etc/os-release
root=$work/root
mirror=${DEBIAN_MIRROR:-http://deb.debian.org/debian}
debootstrap --variant=minbase "${VERSION_CODENAME:-bookworm}" "$root" "$mirror" >"$work/debootstrap.log" 2>&1 ||
   skip "debootstrap: $(tail -n 1 "$work/debootstrap.log")"
unshare --mount true 2>/dev/null || skip "no mount name space of one's own"

# Runs a command inside; its /proc goes with it.
inside()
{
   # shellcheck disable=SC2016 # the shell inside expands them
   unshare --mount sh -c 'mount -t proc proc "$0/proc" && exec chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin \
      DEBIAN_FRONTEND=noninteractive LC_ALL=C "$@"' "$root" "$@"
}
# Everything but what the package manager and the dynamic linker keep for themselves.
list() { (cd "$root" && find . -xdev -path ./var -prune -o -path ./proc -prune -o -path ./etc/ld.so.cache -o -print | sort); }

list >"$work/before"
mkdir "$root/var/packages"
cp "$packages"/*.deb "$root/var/packages"
inside sh -c 'apt-get install -y --no-install-recommends /var/packages/*.deb'
inside dpkg --audit
inside dpkg --verify hostmem hostmem-exporter libnevra-dev

echo "-- live"
inside hostmem -r comp-stats
inside hostmem -r group-stats -l 2
echo "-- snapshot"
cp "$source/samples/small-host.json" "$root/var/packages"
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

inside apt-get purge -y hostmem hostmem-exporter libnevra-dev
inside apt-get autoremove -y --purge
list >"$work/after"
diff "$work/before" "$work/after"
if inside ldconfig -p | grep libnevra; then
   echo "the dynamic linker still knows the library"
   exit 1
fi
