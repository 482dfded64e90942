#!/bin/sh
# A fresh Debian in the folder $root, for scripts that set $root and $work and define `skip REASON`. Read by them.
# shellcheck disable=SC2154

[ "$(id -u)" -eq 0 ] || skip "not root"
command -v debootstrap >/dev/null || skip "no debootstrap here"
unshare --mount true 2>/dev/null || skip "no mount name space of one's own"
# shellcheck source=/dev/null
. /etc/os-release
debootstrap --variant=minbase "${VERSION_CODENAME:-bookworm}" "$root" "${DEBIAN_MIRROR:-http://deb.debian.org/debian}" \
   >"$work/debootstrap.log" 2>&1 || skip "debootstrap: $(tail -n 1 "$work/debootstrap.log")"

# with_its_proc COMMAND...: what is mounted in the fresh Debian for the command goes with it.
with_its_proc()
{
   # shellcheck disable=SC2016 # the shell inside expands them
   unshare --mount sh -c 'mount -t proc proc "$0/proc" && mount --rbind /sys "$0/sys" && mount --rbind /dev "$0/dev" &&
      exec "$@"' "$root" "$@"
}
inside()
{
   with_its_proc chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root DEBIAN_FRONTEND=noninteractive \
      LC_ALL=C "$@"
}
