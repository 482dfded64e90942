"""Compares what hostmem reported in an emulated host with the kernel files that were recorded around it.

usage: check.py RECORDING

Every figure is computed here from the files once more, by a reader that shares nothing with the tool. A figure is right
when it lies between what the files say before the report and after it; most do not move. Prints a line for each figure
that is wrong, "moment report row column: got, expected (file)", and a summary; the exit status is 1 when one is wrong.
"""
import csv
import io
import json
import re
import sys

PROCESS, VMM, EMULATOR = 0x40000000, 0x20000000, 0x60000000
CGROUPS = "/sys/fs/cgroup"
NO_LIMIT = -1
# How far figures, most in KB, may move between two readings and back. The host's: pages on the lists of its processors, what the
# report itself needs. A process's: its part of pages that every process has, and with it the report.
MOVING = {
    "comp-stats": {"free": 8192, "orskaClientConsumed": 8192, "otherConsumed": 4096, "dataAndHeap": 4096},
    "uw-stats": {"consumed": 4},
}
# They work while they are looked at: of them, and of what they are in, only what is set is compared.
WATCHERS = {"hostmem-record", "hostmem-record.service", "under_systemd", "under_systemd.service", "test.slice", "system.slice"}
SETTINGS = {"name", "parGid", "min", "max", "allocTgt"}


def read_recording(path):
    """{label: {name: text}}"""
    data, at, labels = open(path, "rb").read(), 0, {}
    while at < len(data):
        end = data.index(b"\n", at)
        label, name, size = data[at:end].decode().split(" ")
        text = data[end + 1 : end + 1 + int(size)].decode(errors="replace")
        labels.setdefault(label, {})[name] = text
        at = end + 2 + int(size)
    return labels


def keyed(text):
    """The figures of "Key:   12 kB" and "key 12" lines; lines of one key add up."""
    figures = {}
    for key, number in re.findall(r"^\s*([^\s:]+):?\s+(\d+)(?:\s|$)", text, re.M):
        figures[key] = figures.get(key, 0) + int(number)
    return figures


class Process:
    def __init__(self, kernel, pid):
        path = f"/proc/{pid}/"
        read = lambda name: kernel.get(path + name, "")
        self.pid = pid
        self.status = keyed(read("status"))
        self.name = re.search(r"^Name:\t(.*)", read("status")).group(1)
        self.parent = self.status["PPid"]
        self.is_kernel = "VmSize" not in self.status and (pid == 2 or self.parent == 2)
        self.words = read("cmdline").split("\0")
        self.is_vm = self.name.startswith("qemu-system-") and not self.is_kernel
        self.rollup = keyed(read("smaps_rollup"))
        self.mappings = [m for m in re.split(r"^(?=[0-9a-f]+-[0-9a-f]+ )", read("smaps"), flags=re.M) if m]
        self.cgroup = read("cgroup").strip().split("::")[-1]
        ksm = keyed(read("ksm_stat"))
        self.zero = ksm.get("ksm_zero_pages", 0) * 4
        self.merging = int(ksm.get("ksm_merging_pages", read("ksm_merging_pages").strip() or 0)) * 4

    def of(self, key):
        return self.status.get(key, 0)

    def watched(self, release, balancing):
        """Large pages that NUMA balancing watches: Linux 6.1 to 6.5 leave them out of the mappings."""
        version = [int(number) for number in re.findall(r"\d+", release)[:2]]
        missing = self.of("VmRSS") - self.rollup.get("Rss", 0)
        return missing if balancing and [6, 1] <= version < [6, 6] and self.rollup and missing >= 2048 else 0

    def option(self, name):
        return [self.words[i + 1] for i, word in enumerate(self.words[:-1]) if word == name]

    def vm_name(self):
        return self.option("-name")[0].split(",")[0].replace("guest=", "")


class Kernel:
    """The host as the kernel files describe it at one moment."""

    def __init__(self, files, inodes):
        self.files = files
        pids = {int(m.group(1)) for m in (re.match(r"/proc/(\d+)/status$", name) for name in files) if m}
        self.processes = {pid: Process(files, pid) for pid in sorted(pids)}
        self.meminfo = keyed(files["/proc/meminfo"])
        self.vmstat = keyed(files["/proc/vmstat"])
        self.inodes = inodes
        self.cgroups = {path for path in inodes if f"{CGROUPS}{path}/cgroup.events" in files}
        self.cgroups.discard("/")

    def watched_of(self, process):
        return process.watched(self.files["/proc/sys/kernel/osrelease"], self.number("/proc/sys/kernel/numa_balancing"))

    def number(self, path, default=0):
        text = self.files.get(path, "").strip()
        return int(text) if re.fullmatch(r"-?\d+", text) else default

    def cgroup_kb(self, cgroup, file, default=0):
        number = self.number(f"{CGROUPS}{cgroup}/{file}", None)
        return default if number is None else number // 1024

    def stat(self, cgroup):
        return keyed(self.files.get(f"{CGROUPS}{cgroup}/memory.stat", ""))

    def members(self, cgroup, below):
        """Processes of the cgroup, and of those below it."""
        return [p for p in self.processes.values() if self.listed(p) == cgroup or
                (below and self.listed(p).startswith(cgroup + "/"))]

    def listed(self, process):
        """The cgroup that lists the process: of a threaded one, the closest ancestor that is not."""
        cgroup = process.cgroup
        while self.files.get(f"{CGROUPS}{cgroup}/cgroup.type", "").strip() == "threaded":
            cgroup = cgroup.rsplit("/", 1)[0]
        return cgroup

    def own(self, process):
        """The cgroup that the process has for itself, or nothing."""
        cgroup = self.listed(process)
        candidates = [cgroup]
        if process.is_vm:
            unit = re.match(r".*\.(scope|service)(?=/|$)", cgroup)
            candidates = [unit.group(0), cgroup] if unit else candidates
        for candidate in candidates:
            others = [p for p in self.members(candidate, True) if p.pid != process.pid]
            if candidate != "/" and all(process.is_vm and p.is_kernel for p in others):
                return candidate
        return None

    def saved_of(self, process):
        shared = self.number("/sys/kernel/mm/ksm/pages_shared")
        sharing = self.number("/sys/kernel/mm/ksm/pages_sharing")
        merged = process.merging // 4 * sharing // (shared + sharing) * 4 if shared + sharing else 0
        return process.zero + merged

    def saved(self):
        return 4 * (self.number("/sys/kernel/mm/ksm/pages_sharing") + self.number("/sys/kernel/mm/ksm/ksm_zero_pages"))

    def huge_pages_of(self, cgroup):
        return sum(self.cgroup_kb(cgroup, name.rsplit("/", 1)[1]) for name in self.files
                   if re.fullmatch(re.escape(CGROUPS + cgroup) + r"/hugetlb\.\w+\.current", name))


def limits_of(kernel, cgroup):
    return kernel.cgroup_kb(cgroup, "memory.min"), kernel.cgroup_kb(cgroup, "memory.max", NO_LIMIT)


def target_of(kernel, cgroup):
    limits = []
    while cgroup:
        limits += [kernel.cgroup_kb(cgroup, file, None) for file in ("memory.high", "memory.max")]
        cgroup = cgroup.rsplit("/", 1)[0]
    return min([limit for limit in limits if limit is not None], default=0)


def group_stats(kernel):
    rows = {}
    for p in kernel.processes.values():
        own = kernel.own(p)
        low, high = limits_of(kernel, own) if own else (0, NO_LIMIT)
        consumed = p.of("VmRSS") + p.of("HugetlbPages")
        size = guest_size(p) if p.is_vm else None
        rows[PROCESS + p.pid] = {
            "parGid": (kernel.inodes.get(kernel.listed(p), 0), "cgroup"),
            "min": (low, "memory.min"),
            "max": (high, "memory.max"),
            "allocTgt": (target_of(kernel, own) if own else 0, "memory.high"),
            "memSize": (p.of("VmSize") if size is None else size, "VmSize, -m"),
            "consumed": (consumed, "VmRSS"),
            "consumedPeak": (max(p.of("VmHWM"), consumed), "VmHWM"),
            "ovhd": (p.of("VmPTE"), "VmPTE"),
            "sharedSaved": (kernel.saved_of(p), "ksm_stat"),
        }
        if not p.is_kernel:  # a worker's name tells what it works on
            rows[PROCESS + p.pid]["name"] = (p.vm_name() if p.is_vm else p.name, "status")
    for cgroup in kernel.cgroups:
        has_controller = f"{CGROUPS}{cgroup}/memory.current" in kernel.files
        below = kernel.members(cgroup, True)
        held = sum(p.of("VmRSS") + p.of("HugetlbPages") for p in below)
        current = kernel.cgroup_kb(cgroup, "memory.current") + kernel.huge_pages_of(cgroup)
        stat = kernel.stat(cgroup)
        rows[kernel.inodes[cgroup]] = {
            "name": (cgroup.rsplit("/", 1)[1], "cgroup"),
            "min": (limits_of(kernel, cgroup)[0], "memory.min"),
            "max": (limits_of(kernel, cgroup)[1], "memory.max"),
            "allocTgt": (target_of(kernel, cgroup), "memory.high"),
            "consumed": (current if has_controller else held, "memory.current, hugetlb.*.current"),
            "ovhd": (stat.get("kernel", 0) // 1024, "memory.stat"),
            "touched": ((stat.get("active_anon", 0) + stat.get("active_file", 0)) // 1024, "memory.stat"),
            "sharedSaved": (sum(kernel.saved_of(p) for p in below), "ksm_stat"),
        }
    rows[0] = {"bMax": (kernel.meminfo["MemTotal"], "meminfo"), "sharedSaved": (kernel.saved(), "ksm")}
    return rows


UNITS = {"": 1 << 20, "k": 1 << 10, "M": 1 << 20, "G": 1 << 30}


def bytes_of(text):
    number, unit = re.fullmatch(r"([\d.]+)([kMG]?)", text).groups()
    return int(float(number) * UNITS[unit])


def guest_size(p):
    size = p.option("-m")
    return bytes_of(size[0].split(",")[0]) // 1024 if size else None


def guest_mappings(p):
    """The guest's memory, by the sizes that the VM was started with, and what was plugged in: see init."""
    sizes = [bytes_of(size) // 1024 for option in p.option("-object") for size in re.findall(r"\bsize=(\w+)", option)]
    sizes = sizes or [guest_size(p) or 128 << 10]
    sizes += [128 << 10] if p.vm_name() == "gamma" else []
    found = []
    for mapping in p.mappings:
        figures, access = keyed(mapping), mapping.split(" ")[1]
        if figures["Size"] in sizes and access[1] == "w" and access[2] != "x":
            sizes.remove(figures["Size"])
            found.append(figures)
    return found


def shared_huge_kb(kernel, p):
    """The process's part of the huge pages that it shares: with each that maps the same file."""
    inode = lambda mapping: mapping.split()[4]
    part = 0
    for mapping in p.mappings:
        shared = keyed(mapping).get("Shared_Hugetlb", 0)
        if shared:
            sharers = [q for q in kernel.processes.values() if any(inode(m) == inode(mapping) for m in q.mappings)]
            part += shared // len(sharers)
    return part


def uw_stats(kernel):
    rows = {}
    for p in kernel.processes.values():
        if p.is_kernel:
            continue
        huge = p.rollup.get("Shared_Hugetlb", 0) + p.rollup.get("Private_Hugetlb", 0)
        row = {
            "memSize": (p.of("VmSize"), "VmSize"),
            "memBStore": (p.of("RssAnon") + p.of("RssShmem"), "status"),
            "pageable": (p.of("RssAnon"), "RssAnon"),
            "pageableUnacct": (p.of("RssFile"), "RssFile"),
            "shm": (p.of("RssShmem"), "RssShmem"),
            "prealloced": (p.of("HugetlbPages"), "HugetlbPages"),
        }
        if p.rollup:
            watched = kernel.watched_of(p)
            consumed = p.rollup["Pss"] + watched + p.rollup["Private_Hugetlb"] + shared_huge_kb(kernel, p)
            row |= {
                "mapped": (p.rollup["Rss"] + watched + huge, "smaps_rollup"),
                "consumed": (consumed, "smaps_rollup"),
                "touched": (p.rollup["Referenced"], "smaps_rollup"),
                "pinned": (p.rollup["Locked"], "smaps_rollup"),
                "swapped": (p.rollup["Swap"], "smaps_rollup"),
                "swapBStore": (p.rollup["Swap"], "smaps_rollup"),
                "cow": (p.rollup.get("KSM", p.merging), "smaps_rollup, ksm_merging_pages"),
            }
        else:
            row |= {
                "mapped": (p.of("VmRSS") + p.of("HugetlbPages"), "VmRSS"),
                "swapped": (p.of("VmSwap"), "VmSwap"),
                "pinned": (p.of("VmLck"), "VmLck"),
            }
        rows[(EMULATOR if p.is_vm else PROCESS) + p.pid] = row
    return rows


def vm_stats(kernel):
    rows = {}
    for p in kernel.processes.values():
        if not p.is_vm:
            continue
        own = kernel.own(p)
        guest = guest_mappings(p)
        total = lambda key: sum(figures.get(key, 0) for figures in guest)
        row = {
            "name": (p.vm_name(), "cmdline"),
            "max": (limits_of(kernel, own)[1] if own else NO_LIMIT, "memory.max"),
            "min": (limits_of(kernel, own)[0] if own else 0, "memory.min"),
            "allocTgt": (target_of(kernel, own) if own else 0, "memory.high"),
        }
        if guest:
            merged = total("KSM") if "KSM" in guest[0] else min(p.merging, total("Rss"))
            saved = p.zero + min(merged, total("Rss") - total("Pss"))
            resident = total("Rss") + total("Shared_Hugetlb") + total("Private_Hugetlb")
            mapped = resident + min(kernel.watched_of(p), total("Size") - resident) + p.zero
            stat = kernel.stat(own) if own else {}
            whole = stat.get("zswapped", 0) // 1024
            zipped = min(whole, total("Swap"))
            row |= {
                "zipped": (zipped, "memory.stat"),
                "zipSaved": ((whole - stat.get("zswap", 0) // 1024) * zipped // whole if whole else 0, "memory.stat"),
                "memSize": (total("Size"), "smaps"),
                "mapped": (mapped, "smaps"),
                "touched": (total("Referenced"), "smaps"),
                "shared": (merged + p.zero, "smaps, ksm_stat"),
                "zero": (p.zero, "ksm_stat"),
                "sharedSaved": (saved, "smaps, ksm_stat"),
                "consumed": (mapped - saved, "smaps"),
                "swapped": (total("Swap"), "smaps"),
            }
        elif guest_size(p):
            row |= {
                "memSize": (guest_size(p), "-m"),
                "mapped": (min(guest_size(p), p.of("VmRSS") + p.of("HugetlbPages")), "VmRSS"),
                "swapped": (p.of("VmSwap"), "VmSwap"),
            }
        rows[PROCESS + p.pid] = row
    return rows


def swap_stats(kernel):
    rows = {}
    for group, figures in vm_stats(kernel).items():
        p = kernel.processes[group - PROCESS]
        own = kernel.own(p)
        limit = kernel.cgroup_kb(own, "memory.swap.max", 0) if own else 0
        used = kernel.cgroup_kb(own, "memory.swap.current") if own else 0
        stat = kernel.stat(own) if own else {}
        rows[group] = {
            "totalReg": (limit, "memory.swap.max"),
            "freeReg": (max(limit - used, 0) if limit else 0, "memory.swap.current"),
            "swapOut": (4 * stat.get("pswpout", 0), "memory.stat"),
            "swapIn": (4 * stat.get("pswpin", 0), "memory.stat"),
        }
        if "swapped" in figures:
            rows[group]["swapped"] = figures["swapped"]
    return rows


def zip_stats(kernel):
    if kernel.files.get("/sys/module/zswap/parameters/enabled", "").strip() != "Y":
        return {}
    rows = {}
    most = kernel.meminfo["MemTotal"] * kernel.number("/sys/module/zswap/parameters/max_pool_percent") // 100
    for p in kernel.processes.values():
        own = kernel.own(p)
        if p.is_vm:
            stat = kernel.stat(own) if own else {}
            rows[PROCESS + p.pid] = {
                "maxCache": (most, "max_pool_percent"),
                "totalCache": (min(most, kernel.cgroup_kb(own, "memory.zswap.max", most) if own else most), "memory.zswap.max"),
                "usedCache": (stat.get("zswap", 0) // 1024, "memory.stat"),
                "zipped": (4 * stat.get("zswpout", 0), "memory.stat"),
                "unZipped": (4 * stat.get("zswpin", 0), "memory.stat"),
            }
    return rows


def lpage_stats(kernel):
    rows = {}
    for p in kernel.processes.values():
        guest = guest_mappings(p) if p.is_vm else []
        if guest:
            keys = ("AnonHugePages", "ShmemPmdMapped", "FilePmdMapped", "Shared_Hugetlb", "Private_Hugetlb")
            small = sum(figures.get(key, 0) for figures in guest for key in keys)
            resident = sum(figures.get(key, 0) for figures in guest for key in ("Rss", *keys[3:]))
            small += min(kernel.watched_of(p), sum(figures["Size"] for figures in guest) - resident)
            rows[PROCESS + p.pid] = {"nrBackings": (small // 2048, "smaps")}
    return rows


def comp_stats(kernel):
    info, vmstat = kernel.meminfo, kernel.vmstat
    iomem = {}
    ranges = re.findall(r"^\s*([0-9a-f]+)-([0-9a-f]+) : (.*)$", kernel.files.get("/proc/iomem", ""), re.M)
    for first, last, what in ranges:
        iomem[what] = iomem.get(what, 0) + (int(last, 16) - int(first, 16) + (1 if last != first else 0))
    heap = sum(info.get(key, 0) for key in ("Slab", "KernelStack", "PageTables", "SecPageTables", "Percpu"))
    used = info["MemTotal"] - info["MemFree"] - heap - 4 * vmstat.get("nr_memmap_pages", 0)
    others = min(info["AnonPages"] + info["Shmem"] + info["Hugetlb"], used)
    data = sum(iomem.get(key, 0) for key in ("Kernel data", "Kernel rodata", "Kernel bss")) // 1024
    return {"": {
        "total": (max(iomem.get("System RAM", 0) // 1024, info["MemTotal"]), "iomem"),
        "managedByMemMap": (info["MemTotal"], "meminfo"),
        "kernelCode": (iomem.get("Kernel code", 0) // 1024, "iomem"),
        "dataAndHeap": (heap + data, "meminfo"),
        "minFree": (kernel.number("/proc/sys/vm/min_free_kbytes"), "min_free_kbytes"),
        "otherConsumed": (others, "meminfo"),
        "orskaClientConsumed": (used - others, "meminfo"),
        "free": (info["MemFree"], "meminfo"),
    }}


def buffers_of(kb):
    return f"{kb}KBfree" if kb < 1024 else f"{kb >> 10}MBfree"


# Free memory moves, and the kernel's objects with it; buffers are divided and joined as it does.
MOVING["buddy-stats"] = {buffers_of(4 << order): max(2, 2048 >> order) for order in range(11)} | {"4KBused": 2048}
MOVING["heap-stats"] = {"numRanges": 32, "size": 1 << 18, "avail": 1 << 18, "used": 1 << 18, "dlMallocOvdh": 1 << 16}


def buddy_stats(kernel):
    managed = {}
    zones = re.findall(r"^Node (\d+), zone +(\w+)\n(?:[^N].*\n)*?  +managed +(\d+)", kernel.files["/proc/zoneinfo"], re.M)
    name = lambda node, zone: f"memmap-{int(node):02}-{'lo' if zone.startswith('DMA') else 'hi'}"
    for node, zone, pages in zones:
        managed[name(node, zone)] = managed.get(name(node, zone), 0) + int(pages)
    free = {}
    for node, zone, counts in re.findall(r"^Node (\d+), zone +(\w+) +([\d ]+)$", kernel.files["/proc/buddyinfo"], re.M):
        orders = free.setdefault(name(node, zone), [0] * 11)
        for order, count in enumerate(counts.split()):
            orders[order] += int(count)
    rows = {}
    for buddy, orders in free.items():
        used = managed[buddy] - sum(count << order for order, count in enumerate(orders))
        row = {"memNode": (int(buddy[7:9]), "buddyinfo"), "4KBused": (used, "buddyinfo, zoneinfo")}
        for order, count in enumerate(orders):
            size = 4 << order
            row[buffers_of(size)] = (count, "buddyinfo")
        rows[buddy] = row
    return rows


def heap_stats(kernel):
    sums = {}
    for line in kernel.files.get("/proc/slabinfo", "").splitlines()[2:]:
        words = line.split()
        active, objects, size, _, pages = map(int, words[1:6])
        slabs = int(words[14])
        heap = sums.setdefault(words[0], [0, 0, 0, 0])
        for i, part in enumerate((slabs, 4096 * pages * slabs, (objects - active) * size, objects * size)):
            heap[i] += part
    return {name: {
        "numRanges": (slabs, "slabinfo"),
        "size": (size, "slabinfo"),
        "avail": (avail, "slabinfo"),
        "used": (size - avail, "slabinfo"),
        "dlMallocOvdh": (size - objects, "slabinfo"),
    } for name, (slabs, size, avail, objects) in sums.items()}


def lpool_stats(kernel):
    rows = {}
    for node in (0, 1):
        pages = f"/sys/devices/system/node/node{node}/hugepages/hugepages-"
        for pool, size, name in (("2048kB", 1, f"{node}/pshare-{node}"), ("1048576kB", 512, f"{node}/1048576kB")):
            rows[name] = {
                "nrLPages": (size * kernel.number(f"{pages}{pool}/nr_hugepages"), "nr_hugepages"),
                "nrFreeSPages": (size * 512 * kernel.number(f"{pages}{pool}/free_hugepages"), "free_hugepages"),
            }
    return rows


def volumes(kernel):
    """Namespaces by the UUID that ndctl names them by, with what its files say."""
    path = "/sys/bus/nd/devices/"
    read = lambda device, file: kernel.files.get(f"{path}{device}/{file}", "").strip()
    mounts = {line.split(" ")[2] for line in kernel.files["/proc/self/mountinfo"].splitlines()}
    found = {}
    for volume in json.loads(kernel.files["/run/ndctl.json"]):
        device = volume["dev"]
        region = "region" + re.match(r"namespace(\d+)", device).group(1)
        holder = read(device, "holder") or device
        disks = {text.strip() for name, text in kernel.files.items()
                 if re.match(re.escape(f"{path}{holder}/block/") + r"[^/]+/dev$", name)}
        found[volume["uuid"]] = {
            "region": region,
            "blocks": int(read(device, "size") or 0) >> 21,
            "size": int(read(region, "size") or 0),
            "node": int(read(region, "numa_node") or -1),
            "opened": 1 if disks & mounts else 0,
        }
    return found


def pmem_regionstore_stats(kernel):
    return {name: {"total2MBlocks": (v["blocks"], "size"), "alloc2MBlocks": (v["blocks"], "size"),
                   "avail2MBlocks": (0, "size")} for name, v in volumes(kernel).items()}


def pmem_region_stats(kernel):
    return {name: {"allocated": (v["blocks"], "size"), "numOpened": (v["opened"], "mountinfo")}
            for name, v in volumes(kernel).items()}


def pshare_stats(kernel):
    ksm = lambda name: 4 * kernel.number(f"/sys/kernel/mm/ksm/{name}")
    return {"": {"cow": (ksm("pages_shared") + ksm("pages_sharing"), "ksm"), "zero": (ksm("ksm_zero_pages"), "ksm"),
                 "used": (ksm("pages_shared"), "ksm"),
                 "reclaimed": (ksm("pages_sharing") + ksm("ksm_zero_pages"), "ksm")}}


# The report, what it ought to show, and what names a row of it.
REPORTS = {
    "group-stats": (group_stats, lambda row: int(row["gid"])),
    "uw-stats": (uw_stats, lambda row: int(row["schedGrp"])),
    "vm-stats": (vm_stats, lambda row: int(row["schedGrp"])),
    "swap-stats": (swap_stats, lambda row: int(row["schedGrp"])),
    "zip-stats": (zip_stats, lambda row: int(row["schedGrp"])),
    "lpage-stats": (lpage_stats, lambda row: int(row["schedGrp"])),
    "comp-stats": (comp_stats, lambda row: ""),
    "buddy-stats": (buddy_stats, lambda row: row["name"]),
    "heap-stats": (heap_stats, lambda row: row["name"]),
    "pshare-stats": (pshare_stats, lambda row: ""),
    "lpool-stats": (lpool_stats, lambda row: f"{row['nodeID']}/{row['name']}"),
    "pmem-regionstore-stats": (pmem_regionstore_stats, lambda row: row["uuid"]),
    "pmem-region-stats": (pmem_region_stats, lambda row: row["uuid"]),
}


def read_report(text, key):
    rows = {}
    for row in csv.DictReader(io.StringIO(text)):
        try:
            rows[key(row)] = row
        except (KeyError, TypeError, ValueError):
            continue  # a total
    return rows


class Tally:
    right = wrong = 0

    def count(self, is_right, text):
        self.right += is_right
        self.wrong += not is_right
        if not is_right:
            print(text)


def compare(tally, moment, report, got, before, after):
    for name, row in before.items():
        if name not in after:
            continue  # it came or went meanwhile
        if name not in got:
            tally.count(False, f"{moment} {report} {name}: no row")
            continue
        for column, (expected, file) in row.items():
            if got[name].get("name") in WATCHERS and column not in SETTINGS:
                continue
            bounds = [expected, after[name][column][0]] if column in after[name] else [expected]
            text = got[name].get(column)
            where = f"{moment} {report} {got[name].get('name') or ''} {name} {column}"
            if isinstance(expected, str) or text is None:
                tally.count(text == expected, f"{where}: {text}, expected {expected} ({file})")
                continue
            slack = MOVING.get(report, {}).get(column, 0)
            is_right = min(bounds) - slack <= int(text) <= max(bounds) + slack
            wanted = " to ".join(str(bound) for bound in sorted(set(bounds)))
            tally.count(is_right, f"{where}: {text}, expected {wanted} ({file})")


def main():
    labels = read_recording(sys.argv[1])
    static = labels["static"]
    inodes = {}
    for inode, path in re.findall(r"^\s*(\d+) (\S+)$", static["/run/inodes"], re.M):
        inodes[path[len(CGROUPS):] or "/"] = int(inode)
    inodes["/"] = 0
    tally = Tally()
    for moment in [label for label in labels if f"{label}-host-before" in labels]:
        sides = ("before", "after")
        kernels = [Kernel(labels[f"{moment}-{side}"] | {"/run/ndctl.json": static["/run/ndctl.json"]}, inodes)
                   for side in sides]
        hosts = [Kernel(labels[f"{moment}-{side}"] | labels[f"{moment}-host-{side}"], inodes) for side in sides]
        for report, (expected, key) in REPORTS.items():
            before, after = hosts if report in ("comp-stats", "buddy-stats", "heap-stats") else kernels
            got = read_report(labels[moment].get(report, ""), key)
            compare(tally, moment, report, got, expected(before), expected(after))
    for line in static.get("/run/expectations", "").splitlines():
        tally.count(line.startswith("right "), line.removeprefix("wrong "))
    print(f"{tally.right} figures right, {tally.wrong} wrong")
    return 1 if tally.wrong or not tally.right else 0


sys.exit(main())
