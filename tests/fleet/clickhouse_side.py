"""Recordings in ClickHouse: two servers and a table over both, the questions in SQL, and all columns of a moment."""
import csv
import io
import os
import stat
from concurrent.futures import ThreadPoolExecutor

from engines import ClickHouse, clickhouse_version, free_ports, run
from story import KB

MOMENT = "2026-03-17T03:00:00Z"
LOOKED_AT = ("beech", "oak", "spruce")  # hosts whose columns are all compared
EVERY_FLAG = {"uw-stats": ["uw", "vm"]}


def start_servers(fleet):
    ports = free_ports(6)
    cluster = [ports[1], ports[4]]
    folder = fleet.subfolder("clickhouse")
    servers = [fleet.start(ClickHouse(f"clickhouse-{i}", folder, ports[3 * i : 3 * i + 3], cluster)) for i in (0, 1)]
    for server in servers:
        server.wait_until_ready()
    return servers


def shell(fleet, server, block):
    """Runs a block of the guide: with the programs of the build, and a client that finds the server."""
    folder = os.path.join(server.folder, "bin")
    os.makedirs(folder, exist_ok=True)
    client = os.path.join(folder, "clickhouse-client")
    with open(client, "w") as file:
        file.write('#!/bin/sh\nexec {} "$@"\n'.format(" ".join(server.client())))
    os.chmod(client, stat.S_IRWXU)
    env = dict(os.environ, PATH=f"{folder}:{fleet.bin}:{os.environ['PATH']}")
    return run(["bash", "-c", "set -euo pipefail\n" + block.replace("/srv/recordings", fleet.recordings)], env=env)


def reports_of(server):
    tables = server.ask("SELECT name FROM system.tables WHERE database = 'hostmem' AND engine = 'Distributed'")
    return sorted(table["name"].replace("_", "-") for table in tables)


def own_rows(fleet, host, report):
    """[{column: text}] that hostmem itself prints of the moment"""
    path = os.path.join(fleet.folder, f"{host}.snapshot")
    if not os.path.exists(path):
        run([fleet.program("hostmem-record"), "at", "--dir", os.path.join(fleet.recordings, host), MOMENT, "-o", path])
    text = run([fleet.program("hostmem"), "-c", path, "-r", report, "-q"])
    lines = list(csv.reader(io.StringIO(text)))
    header = lines[0]
    return [dict(zip(header, line)) for line in lines[1:] if len(line) == len(header)]


def as_text(value, shown, report):
    """A value of the engine as hostmem prints it. `shown` tells apart what an engine has one type for."""
    if value is None:
        # What the host does not have is all ones; what cannot be added is a blank field.
        return shown if shown in ("", "-1", "18446744073709551615") else "NULL"
    if isinstance(value, list):
        if value == EVERY_FLAG.get(report):
            return "(all)"
        # A row of sums has no flags, and none are shown.
        return ":".join(value) or ("(none)" if shown else "")
    if shown in ("y", "n") and value in (0, 1):
        return "y" if value == 1 else "n"
    return str(value)


def differences(report, engine_rows, own):
    """Rows are in the same order: the engine keeps that in which they came."""
    if len(engine_rows) != len(own):
        return [f"{len(engine_rows)} rows, expected {len(own)}"]
    found = []
    for row, expected in zip(engine_rows, own):
        for column, shown in expected.items():
            got = as_text(row[column], shown.strip(), report)
            if got != shown.strip():
                found.append(f"{expected} {column}: got {got}, expected {shown}")
    return found


def compare_moment(fleet, servers, checks):
    question = fleet.guide.block("What did a host look like at 03:00?", "sql")
    compared = 0
    for host in LOOKED_AT:
        for report in reports_of(servers[0]):
            table = report.replace("-", "_")
            # Either server answers for all hosts.
            query = question.replace("'beech'", f"'{host}'").replace("vm_stats", table)
            rows = servers[compared % 2].ask(query)
            own = own_rows(fleet, host, report)
            different = differences(report, rows, own)
            checks.equal(f"{host} at 03:00, {report}: all columns of {len(own)} rows", different[:3], [])
            compared += sum(len(row) for row in own)
    print(f"   {compared} values compared with hostmem's own")


def ask_questions(fleet, servers, checks):
    story = fleet.story
    for server in servers:
        ask = lambda title: server.ask(fleet.guide.block(title, "sql"))
        grown = [(row["host"], row["name"], row["grown"] * KB) for row in ask("Which VM grew most in an hour?")]
        checks.equal(f"{server.name}: which VM grew most in an hour", grown, story.grown(story.last - 60, story.last)[:3])
        short = {row["host"]: row["state"].lower() for row in ask("Which hosts are short of memory?")}
        checks.equal(f"{server.name}: which hosts are short", short, story.short(story.last))
        swapping = {(row["host"], row["name"]): row["moved"] * KB for row in ask("Who swaps now?")}
        checks.equal(f"{server.name}: who swaps now", swapping, story.swapped(story.last - 5, story.last))


def check_spread(fleet, servers, checks):
    """Each host is on one server, and both have some."""
    hosts = [{row["host"] for row in server.ask("SELECT DISTINCT host FROM hostmem.comp_stats_local")}
             for server in servers]
    checks.equal("each host is on one server", sorted([*hosts[0], *hosts[1]]), sorted(fleet.story.hosts))
    checks.true("both servers have hosts", hosts[0] and hosts[1])


def rows_of_a_frame(server, host):
    return sum(server.ask(f"SELECT count() AS count FROM hostmem.{report.replace('-', '_')} WHERE host = '{host}' "
                          f"AND time = toDateTime('2026-03-17 03:00:00', 'UTC')")[0]["count"]
               for report in reports_of(server))


def measure(fleet, servers, checks):
    most = max(fleet.story.hosts, key=lambda host: len(fleet.story.hosts[host]["vms"]))
    checks.sizes.rows = rows_of_a_frame(servers[0], most)
    sizes = {}
    for server in servers:
        for table in server.ask("SELECT name FROM system.tables WHERE database = 'hostmem' AND engine = 'MergeTree'"):
            server.do(f"OPTIMIZE TABLE hostmem.{table['name']} FINAL")
        for part in server.ask("SELECT table, sum(bytes_on_disk) AS bytes, sum(rows) AS count FROM system.parts "
                               "WHERE active AND database = 'hostmem' GROUP BY table"):
            size = sizes.setdefault(part["table"].removesuffix("_local"), [0, 0])
            size[0] += part["bytes"]
            size[1] += part["count"]
    for table in ("group_stats", "vm_stats", "swap_stats", "uw_stats", "comp_stats"):
        checks.sizes.add(f"ClickHouse, {table}", *sizes[table], "rows")
    checks.sizes.add("ClickHouse, all reports", sum(size[0] for size in sizes.values()),
                sum(size[1] for size in sizes.values()), "rows")


def ask_clickhouse(fleet, checks):
    with checks.step(f"starting two servers of ClickHouse {clickhouse_version()[1]}"):
        servers = start_servers(fleet)
    with checks.step("making the tables, and loading the recordings of all hosts"):
        for server in servers:
            shell(fleet, server, fleet.guide.block("Making the tables", "sh"))
        shell(fleet, servers[0], fleet.guide.block("Loading recordings", "sh"))
    with checks.step("asking in SQL"):
        check_spread(fleet, servers, checks)
        ask_questions(fleet, servers, checks)
        compare_moment(fleet, servers, checks)
    with checks.step("measuring ClickHouse"):
        measure(fleet, servers, checks)
    with checks.step("forgetting a day"):
        for server in servers:
            server.do(fleet.guide.block("Forgetting a day", "sql"))
        left = [server.ask("SELECT count() AS count FROM hostmem.vm_stats")[0]["count"] for server in servers]
        checks.equal("a day is forgotten", left, [0, 0])
    for server in servers:
        server.stop()
