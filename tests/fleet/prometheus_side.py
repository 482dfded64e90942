"""Exporters, Prometheus and two shards behind it: what was recorded, and hosts that change while they are asked."""
import glob
import hashlib
import json
import os
import re
import shutil
import time

from engines import Engine, Failure, Prometheus, VictoriaMetrics, fetch, free_ports, metrics_of, program, run
from story import KB

SHARDS = 2
INTERVAL = 2  # seconds between scrapes
WINDOW = 20  # seconds, instead of the five minutes of the questions
STEADY = 4  # scrapes in which nothing changes
GREW, SHORT, SWAPS = "Which VM grew most in an hour?", "Which hosts are short of memory?", "Who swaps now?"


def shard_of(host):
    """As Prometheus' relabelling computes it."""
    return int.from_bytes(hashlib.md5(host.encode()).digest()[8:], "big") % SHARDS


# ---- what was recorded


def shell(fleet, title, texts, exchanged, before=""):
    """Runs a block of the guide. `exchanged`: its words, and what stands for them here."""
    words = fleet.guide.block(title, "sh").replace("/srv/recordings", fleet.recordings)
    for word, ours in exchanged.items():
        if word not in words:
            raise Failure(f"docs/fleet.md: {title}: no {word}")
        words = words.replace(word, ours)
    env = dict(os.environ, PATH=f"{fleet.bin}:{os.environ['PATH']}", TMPDIR=texts)
    run(["bash", "-c", "set -euo pipefail\n" + before + words], env=env)


def load_history(fleet, data, shards):
    """The recordings as blocks for Prometheus, and into the shards."""
    texts = fleet.subfolder("history")
    shell(fleet, "What was recorded before", texts, {"/var/lib/prometheus/metrics2": data})
    urls = " ".join(shard.url for shard in shards)
    shell(fleet, "VictoriaMetrics", texts, {'http://shard-$(shard "$host"):8428': '${shards[$(shard "$host")]}'},
          f"shards=({urls})\n")
    shutil.rmtree(texts)
    for shard in shards:
        fetch(shard.url + "/internal/force_flush")


def measure_blocks(data, checks):
    chunks = index = samples = series = 0
    for folder in glob.glob(os.path.join(data, "*", "meta.json")):
        with open(folder) as file:
            stats = json.load(file)["stats"]
        folder = os.path.dirname(folder)
        samples += stats["numSamples"]
        # The last minute has a block of its own, with an index as large as that of a block of two hours.
        if stats["numSamples"] > stats["numSeries"]:
            series += stats["numSeries"]
            index += os.path.getsize(os.path.join(folder, "index"))
        chunks += sum(os.path.getsize(path) for path in glob.glob(os.path.join(folder, "chunks", "*")))
    checks.sizes.add("Prometheus, chunks", chunks, samples, "samples")
    checks.sizes.add("Prometheus, index of a block", index, series, "series")


# ---- questions


def by_host_and_vm(answers):
    return {(labels["host"], labels["vm"]): value for labels, value in answers}


def ask_all(engines, query, at):
    return [answer for engine in engines for answer in engine.ask(query, at)]


def ask_questions(fleet, checks, who, engines, at, minutes, spans):
    """`minutes` of the story: before, an hour or so later, and where the swapping begins; `spans`: as the questions
    have them, and what stands for them here."""
    story = fleet.story
    before, now, recent = minutes

    def ask(title):
        query = fleet.guide.block(title, "promql").strip()
        for word, span in spans.items():
            query = query.replace(word, span)
        return ask_all(engines, query, at)

    grown = sorted(by_host_and_vm(ask(GREW)).items(), key=lambda item: -item[1])[:3]
    checks.equal(f"{who}: which VM grew most", [(*key, int(value)) for key, value in grown],
                 story.grown(before, now)[:3])
    short = {labels["host"]: labels["hostmem_memory_state"] for labels, _ in ask(SHORT)}
    checks.equal(f"{who}: which hosts are short", short, story.short(now))
    checks.equal(f"{who}: who swaps", sorted(by_host_and_vm(ask(SWAPS))), sorted(story.swapped(recent, now)))


# ---- hosts that change


class LiveHosts:
    """An exporter for each host, before a snapshot that is exchanged."""

    def __init__(self, fleet):
        self.fleet = fleet
        folder = fleet.subfolder("exporters")
        self.files = {host: os.path.join(folder, host + ".snapshot") for host in fleet.story.hosts}
        self.ports = dict(zip(fleet.story.hosts, free_ports(len(fleet.story.hosts))))
        self.show(0)
        self.exporters = []
        for host, port in self.ports.items():
            words = [fleet.program("hostmem-exporter"), f"--web.listen-address=127.0.0.1:{port}",
                     "-c", self.files[host]]
            self.exporters.append(fleet.start(Engine(f"exporter-{host}", words, folder,
                                                     f"http://127.0.0.1:{port}/healthz")))

    def wait_until_ready(self):
        for exporter in self.exporters:
            exporter.wait_until_ready()

    def show(self, step):
        for host, path in self.files.items():
            shutil.copy(self.fleet.live_snapshots(host)[step], path + ".new")
            os.rename(path + ".new", path)


def write_config(fleet, live, shards, folder):
    """The configuration that is shipped, with the hosts and the shards of the test, and shorter intervals."""
    for name in os.listdir(fleet.shipped):
        if name.endswith(".rules.yml"):
            shutil.copy(os.path.join(fleet.shipped, name), folder)
    hosts = "".join(f'- targets: ["127.0.0.1:{port}"]\n  labels: {{host: {host}}}\n'
                    for host, port in live.ports.items())
    with open(os.path.join(folder, "hosts.yml"), "w") as file:
        file.write(hosts)
    with open(os.path.join(fleet.shipped, "prometheus.yml")) as file:
        config = file.read()
    config = config.replace(": 30s", f": {INTERVAL}s")
    for i, shard in enumerate(shards):
        config = config.replace(f"http://shard-{i}:8428", shard.url)
    path = os.path.join(folder, "prometheus.yml")
    with open(path, "w") as file:
        file.write(config)
    run([program("promtool", "prometheus"), "check", "config", path])
    return path


def wait_until(what, holds, seconds=120):
    end = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > end:
            raise Failure(f"not within {seconds} s: {what}")
        time.sleep(0.5)


def wait_until_steady(fleet, engine, since):
    """Until every host was scraped a few times after a moment, without a failure."""
    count = len(fleet.story.hosts)

    def holds():
        now = time.time()
        window = int(now - since)
        if window < STEADY * INTERVAL:
            return False
        answers = engine.ask(f"sum_over_time(up{{job='hostmem'}}[{window}s]) >= {STEADY}", now)
        return len(answers) == count

    wait_until("every host is scraped", holds)


def play(fleet, live, prometheus):
    """Shows the hosts' last forty minutes, a step with each scrape. Returns when the first and the last of them
    were there, in seconds since 1970."""
    wait_until_steady(fleet, prometheus, time.time())
    first = time.time()
    # A sample has the time at which its scrape began, and that may not be over yet.
    time.sleep(INTERVAL)
    for step in range(1, len(fleet.live_minutes())):
        live.show(step)
        time.sleep(INTERVAL)
    # Longer than a scrape, but within the window of the question who swaps.
    time.sleep(2 * INTERVAL)
    return first, time.time()


def check_rules(fleet, checks, prometheus, at):
    """Everything that the rules ask for is there, and they find what they are for."""
    texts = "".join(open(path).read() for path in sorted(glob.glob(os.path.join(fleet.shipped, "*.rules.yml"))))
    recorded = re.findall(r"record: (\S+)", texts)
    asked = sorted(set(re.findall(r"(?<![\w:])hostmem_\w+", "".join(re.findall(r"expr:(.*?)(?=\n +(?:for|- |#|$))",
                                                                               texts, re.S)))))
    missing = [name for name in asked if not prometheus.ask(f"{{__name__='{name}'}}", at)]
    checks.equal(f"all {len(asked)} metrics that the rules ask for are exported", missing, [])
    # An hour's growth is not there after a minute.
    missing = [name for name in recorded if "delta1h" not in name and not prometheus.ask(f"{{__name__='{name}'}}", at)]
    checks.equal("the rules record", missing, [])
    pending = prometheus.ask("ALERTS{alertname='HostShortOfMemory'}", at)
    checks.equal("the alert on short hosts waits for those that are", sorted(labels["host"] for labels, _ in pending),
                 sorted(fleet.story.short(fleet.story.last)))


def check_console(fleet, checks, prometheus):
    page = fetch(prometheus.url + "/consoles/hostmem.html")
    table = re.search(r'<table id="short">(.*?)</table>', page, re.S)
    shown = dict(re.findall(r"<tr><td>(\w+)</td><td>(\w+)</td>", table.group(1))) if table else {}
    checks.equal("the console shows the hosts that are short", shown, fleet.story.short(fleet.story.last))


def check_names(fleet, checks, prometheus, at):
    """The name that a target is given is the one that its host has."""
    names = {labels["host"]: labels["exported_host"] for labels, _ in prometheus.ask("hostmem_host_info", at)}
    checks.equal("each host says its own name", names, {host: host for host in fleet.story.hosts})


def check_shards(fleet, checks, shards, at, when):
    hosts = [{labels["host"] for labels, _ in shard.ask("group by (host) (hostmem_memory_free_bytes)", at)}
             for shard in shards]
    expected = [{host for host in fleet.story.hosts if shard_of(host) == i} for i in range(SHARDS)]
    checks.equal(f"each host is kept by its shard, {when}", hosts, expected)
    checks.true(f"both shards have hosts, {when}", all(hosts))


def measure_memory(prometheus, shards, checks):
    figures = metrics_of(prometheus)
    checks.sizes.add("Prometheus, memory", int(figures["process_resident_memory_bytes"]),
                int(figures["prometheus_tsdb_head_series"]), "series")
    each = [metrics_of(shard) for shard in shards]
    checks.sizes.add("VictoriaMetrics, memory", sum(int(figures["process_resident_memory_bytes"]) for figures in each),
                sum(int(figures["vm_new_timeseries_created_total"]) for figures in each), "series")


def measure_shards(shards, checks):
    size = rows = index = series = 0
    for shard in shards:
        fetch(shard.url + "/internal/force_flush")
        fetch(shard.url + "/internal/force_merge")
    time.sleep(2)
    for shard in shards:
        figures = metrics_of(shard)
        for name, value in figures.items():
            if re.match(r'vm_data_size_bytes\{type="storage', name):
                size += int(value)
            elif re.match(r'vm_rows\{type="storage', name):
                rows += int(value)
            elif re.match(r'vm_data_size_bytes\{type="indexdb', name):
                index += int(value)
        series += int(figures["vm_new_timeseries_created_total"])
    checks.sizes.add("VictoriaMetrics, data", size, rows, "samples")
    checks.sizes.add("VictoriaMetrics, index", index, series, "series")


def tell_series(fleet, checks, prometheus, at):
    """How many series a host has, by its VMs."""
    counts = {labels["host"]: int(value) for labels, value in prometheus.ask("scrape_samples_scraped", at)}
    by_vms = sorted((len(host["vms"]), counts[name]) for name, host in fleet.story.hosts.items())
    (fewest, few), (most, many) = by_vms[0], by_vms[-1]
    per_vm = (many - few) / (most - fewest)
    checks.sizes.series, checks.sizes.vms = many, most
    print(f"   {few} series with {fewest} VMs, {many} with {most}: {few - per_vm * fewest:.0f} and {per_vm:.1f} a VM; "
          f"{sum(counts.values())} in all")


def ask_prometheus(fleet, checks):
    story = fleet.story
    folder = fleet.subfolder("prometheus")
    with checks.step("starting two shards of VictoriaMetrics, and 20 exporters"):
        shard_folder = fleet.subfolder("victoria-metrics")
        shards = [fleet.start(VictoriaMetrics(f"shard-{i}", shard_folder)) for i in range(SHARDS)]
        live = LiveHosts(fleet)
        for shard in shards:
            shard.wait_until_ready()
        live.wait_until_ready()
    with checks.step("loading what was recorded, for Prometheus and into the shards"):
        load_history(fleet, os.path.join(folder, "data"), shards)
        measure_blocks(os.path.join(folder, "data"), checks)
    with checks.step("starting Prometheus"):
        config = write_config(fleet, live, shards, folder)
        prometheus = fleet.start(Prometheus(folder, config, os.path.join(fleet.shipped, "consoles")))
        prometheus.wait_until_ready()
    with checks.step("asking about what was recorded, in PromQL"):
        check_shards(fleet, checks, shards, story.time(story.last), "recorded")
        minutes = (story.last - 60, story.last, story.last - 5)
        for who, engines in (("Prometheus", [prometheus]), ("the shards", shards)):
            ask_questions(fleet, checks, who, engines, story.time(story.last), minutes, {})
    with checks.step("watching the hosts change"):
        first, last = play(fleet, live, prometheus)
    with checks.step("asking about now, in PromQL"):
        spans = {"1h": f"{last - first:.0f}s", "5m": f"{WINDOW}s"}
        live_minutes = fleet.live_minutes()
        minutes = (live_minutes[0], live_minutes[-1], live_minutes[-1 - WINDOW // INTERVAL // 2])
        at = first + round(last - first)
        wait_until("the shards have what Prometheus has", lambda: len(
            ask_all(shards, f"count_over_time(hostmem_memory_free_bytes[{2 * INTERVAL}s])", at)) == len(story.hosts))
        for who, engines in (("Prometheus", [prometheus]), ("the shards", shards)):
            ask_questions(fleet, checks, who + ", live", engines, at, minutes, spans)
        check_names(fleet, checks, prometheus, at)
        check_rules(fleet, checks, prometheus, at)
        check_console(fleet, checks, prometheus)
        check_shards(fleet, checks, shards, at, "live")
        measure_memory(prometheus, shards, checks)
        tell_series(fleet, checks, prometheus, at)
    with checks.step("measuring VictoriaMetrics"):
        measure_shards(shards, checks)
