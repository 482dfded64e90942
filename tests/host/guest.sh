#!/bin/busybox sh
# shellcheck shell=dash
# What the scripts in the emulated hosts share.

say() { echo "$(cut -d ' ' -f 1 /proc/uptime) $*"; }

# The kernel's file systems, and the modules for what the host has.
prepare_kernel()
{
   mkdir -p /proc /sys /dev /tmp /run /mnt
   mount -t proc proc /proc
   mount -t sysfs sys /sys
   mount -t devtmpfs dev /dev
   dmesg -n 1
   for module in virtio_pci virtio_blk virtio_console nfit crc32c_generic nd_pmem nd_btt device_dax dax_pmem ext4; do
      modprobe $module || echo "no module $module"
   done
   while [ ! -e /dev/vport1p1 ] && [ ! -e /dev/vport0p1 ]; do sleep 0.1; done
}

make_namespace()
{
   ndctl create-namespace "$@" >>/run/ndctl.log 2>&1 || echo "ndctl $*: $(tail -n 1 /run/ndctl.log)"
}

# Namespaces of each mode; the raw one and the sector one are mounted.
make_persistent_memory()
{
   for dimm in nmem0 nmem1; do
      region=region${dimm#nmem}
      {
         ndctl disable-region "$region" && ndctl init-labels "$dimm" && ndctl enable-region "$region"
      } >>/run/ndctl.log 2>&1 || echo "labels of $dimm: $(tail -n 1 /run/ndctl.log)"
   done
   make_namespace --region=region0 --mode=fsdax --map=mem --size=128M
   make_namespace --region=region0 --mode=sector --size=64M
   make_namespace --region=region0 --mode=raw --size=64M
   make_namespace --region=region1 --mode=devdax --map=mem --size=256M
   # One of each mode; the raw one and the sector one are used.
   for disk in /sys/block/pmem*; do
      device=${disk#/sys/block/}
      case $(readlink -f "$disk/device") in
      */namespace*)
         mke2fs -q "/dev/$device" >/dev/null 2>&1 || mke2fs "/dev/$device" >/dev/null
         mkdir -p "/mnt/$device"
         mount -t ext4 "/dev/$device" "/mnt/$device" 2>/dev/null || mount -t ext2 "/dev/$device" "/mnt/$device"
         ;;
      esac
   done
   ndctl list -N >/run/ndctl.json
}

# swap_out CGROUP BYTES
swap_out() { echo "$2" >"/sys/fs/cgroup/$1/memory.reclaim" || echo "$1: not all of $2 swapped out"; }

# Lets the kernel find all pages that are alike.
merge_pages()
{
   echo 1 >/sys/kernel/mm/ksm/use_zero_pages
   echo 20000 >/sys/kernel/mm/ksm/pages_to_scan
   echo 10 >/sys/kernel/mm/ksm/sleep_millisecs
   echo 1 >/sys/kernel/mm/ksm/run
   while [ "$(cat /sys/kernel/mm/ksm/full_scans)" -lt 4 ]; do sleep 0.2; done
   echo 0 >/sys/kernel/mm/ksm/run
}

# emulator PREFIX... -- OPTION...: a VM that never runs, in the cgroup that the prefix starts it in
emulator()
{
   prefix=
   while [ "$1" != -- ]; do
      prefix="$prefix $1"
      shift
   done
   shift
   # shellcheck disable=SC2086 # words are meant to be split
   $prefix qemu-system-x86_64 -L /usr/share/seabios -nodefaults -display none -S -daemonize \
      -accel tcg,tb-size=512 "$@"
}

# Each is started with the prefix. Two memory backends:
start_alpha()
{
   emulator "$@" -- -name guest=alpha,debug-threads=on -machine mem-merge=off -m 96 \
      -object memory-backend-ram,id=a,size=64M,prealloc=on -object memory-backend-ram,id=b,size=32M,prealloc=on \
      -numa node,memdev=a -numa node,memdev=b
}

start_beta() { emulator "$@" -- -name beta -m 0.125G; }

# Shared memory, and a DIMM that is plugged in later. A part of it is not zeros, which kernels do not swap.
start_gamma()
{
   head -c 16777216 "$(command -v qemu-system-x86_64)" >/run/fill
   emulator "$@" -- -name gamma -m 48,slots=2,maxmem=1G -machine mem-merge=off,memory-backend=ram \
      -object memory-backend-memfd,id=ram,size=48M,share=on,prealloc=on -monitor unix:/run/gamma,server=on,wait=off \
      -device loader,file=/run/fill,addr=0x400000,force-raw=on
   monitor /run/gamma 'object_add memory-backend-ram,id=more,size=128M,prealloc=on' \
      'device_add pc-dimm,id=dimm,memdev=more'
}

# Part of gamma is on the disk, and part compressed.
swap_gamma()
{
   swap_out machine.slice/gamma.scope 12M
   echo Y >/sys/module/zswap/parameters/enabled
   swap_out machine.slice/gamma.scope 24M
}

# What does not change while the host is looked at.
static_files()
{
   ls -id /sys/fs/cgroup/* /sys/fs/cgroup/*/* /sys/fs/cgroup/*/*/* /sys/fs/cgroup/*/*/*/* >/run/inodes
   record files static /run/ndctl.json /run/inodes
}

# host_files LABEL [PREFIX...]: what moves all the time
host_files()
{
   label=$1
   shift
   "$@" /bin/record files "$label" /proc/meminfo /proc/vmstat /proc/zoneinfo /proc/iomem /proc/buddyinfo \
      /proc/slabinfo
}

# kernel_files LABEL [PREFIX...]: what the reports are compared with, before and after them, so that a figure that moves
# meanwhile is known as one
kernel_files()
{
   label=$1
   shift
   "$@" /bin/record files "$label" '/proc/[0-9]*/status' '/proc/[0-9]*/cmdline' '/proc/[0-9]*/oom_score_adj' \
      '/proc/[0-9]*/cgroup' '/proc/[0-9]*/ksm_stat' '/proc/[0-9]*/ksm_merging_pages' \
      /proc/meminfo /proc/vmstat /proc/zoneinfo /proc/iomem /proc/swaps /proc/sys/kernel/osrelease \
      /proc/sys/kernel/numa_balancing /proc/self/mountinfo /proc/sys/vm/min_free_kbytes '/sys/kernel/mm/ksm/*' \
      '/sys/devices/system/node/node*/meminfo' '/sys/devices/system/node/node*/hugepages/*/*' \
      '/sys/module/zswap/parameters/*' '/sys/bus/nd/devices/*/*' '/sys/bus/nd/devices/*/block/*/dev' \
      '/sys/fs/cgroup/memory.*' '/sys/fs/cgroup/cgroup.*' '/sys/fs/cgroup/*/[mch]*.*' \
      '/sys/fs/cgroup/*/*/[mch]*.*' '/sys/fs/cgroup/*/*/*/[mch]*.*' '/sys/fs/cgroup/*/*/*/*/[mch]*.*' \
      '/proc/[0-9]*/smaps_rollup' '/proc/[0-9]*/smaps'
}

# moment LABEL [PREFIX...]: every report, run with the prefix
moment()
{
   moment=$1
   shift
   kernel_files "$moment-before" "$@"
   for report in group-stats uw-stats vm-stats swap-stats zip-stats lpage-stats pshare-stats \
      lpool-stats pmem-regionstore-stats pmem-region-stats pmem-extent-stats pmem-region-numa-stats; do
      record run "$moment" $report "$@" /bin/hostmem -r $report -q
   done
   host_files "$moment-host-before" "$@"
   for report in comp-stats buddy-stats heap-stats; do
      record run "$moment" $report "$@" /bin/hostmem -r $report -q
   done
   host_files "$moment-host-after" "$@"
   kernel_files "$moment-after" "$@"
}
