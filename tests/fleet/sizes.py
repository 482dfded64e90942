"""What many hosts take, computed from what a few took."""

HOSTS = (1, 500, 10_000)
SCRAPES = 2 * 60 * 24  # a day
FRAMES = 60 * 24  # a day
# Days that each keeps, for the table.
PROMETHEUS_DAYS, VICTORIA_DAYS, CLICKHOUSE_DAYS = 15, 180, 14


class Sizes:
    def __init__(self):
        self.measured = {}  # what: (bytes, number, unit)
        self.series = 0  # of the host with most VMs
        self.rows = 0  # of all reports of that host, a frame
        self.vms = 0

    def add(self, what, size, count, unit):
        self.measured[what] = (size, count, unit)

    def each(self, what):
        size, count, _ = self.measured[what]
        return size / count

    def print(self):
        if self.measured:
            print("\n| kept by | bytes | of | bytes each |\n|---|---|---|---|")
        for what, (size, count, unit) in self.measured.items():
            print(f"| {what} | {size:,} | {count:,} {unit} | {size / max(count, 1):.2f} |")
        if self.series and self.rows:
            self.print_fleets()

    def print_fleets(self):
        samples = self.series * SCRAPES
        # An index for each day: blocks of Prometheus grow together, and VictoriaMetrics has one by days.
        prometheus = samples * self.each("Prometheus, chunks") + self.series * self.each("Prometheus, index of a block")
        victoria = samples * self.each("VictoriaMetrics, data") + self.series * self.each("VictoriaMetrics, index")
        clickhouse = self.rows * FRAMES * self.each("ClickHouse, all reports")
        memory = [self.series * self.each(f"{engine}, memory") for engine in ("Prometheus", "VictoriaMetrics")]
        print(f"\nHosts with {self.vms} VMs: {self.series:,} series, {self.rows} rows a frame\n")
        print("| | " + " | ".join("1 host" if hosts == 1 else f"{hosts:,} hosts" for hosts in HOSTS) + " |")
        print("|---|" + "---|" * len(HOSTS))
        self.print_line("series", [f"{self.series * hosts:,}" for hosts in HOSTS])
        self.print_line("samples a second", [f"{self.series * hosts * SCRAPES / 86400:,.0f}" for hosts in HOSTS])
        for what, size in ((f"Prometheus, disk of {PROMETHEUS_DAYS} days", prometheus * PROMETHEUS_DAYS),
                           ("Prometheus, memory", memory[0]),
                           (f"VictoriaMetrics, disk of {VICTORIA_DAYS} days", victoria * VICTORIA_DAYS),
                           ("VictoriaMetrics, memory", memory[1]),
                           (f"ClickHouse, disk of {CLICKHOUSE_DAYS} days", clickhouse * CLICKHOUSE_DAYS)):
            self.print_line(what, [amount(size * hosts) for hosts in HOSTS])

    @staticmethod
    def print_line(what, cells):
        print(f"| {what} | " + " | ".join(cells) + " |")


def amount(size):
    for unit, word in ((1e12, "TB"), (1e9, "GB"), (1e6, "MB")):
        if size >= unit:
            return f"{size / unit:.3g} {word}" if size < 1000 * unit else f"{size / unit:,.0f} {word}"
    return f"{size / 1e3:.3g} KB"
