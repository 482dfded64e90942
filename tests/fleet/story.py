"""What happens on the made-up hosts, told by make_fleet: the answers that every engine has to come to."""
import json

SHORT = ("soft", "hard", "low")
KB = 1024


class Story:
    def __init__(self, path):
        with open(path) as file:
            told = json.load(file)
        self.start = told["start"]  # seconds since 1970
        self.minutes = told["minutes"]
        self.hosts = {host["name"]: host for host in told["hosts"]}
        self.last = self.minutes - 1

    def time(self, minute):
        return self.start + 60 * minute

    def vms(self):
        for name, host in self.hosts.items():
            for vm in host["vms"]:
                yield name, vm

    def grown(self, before, now):
        """[(host, VM, bytes)], those that grew most first"""
        sizes = [(host, vm["name"], (vm["consumed"][now] - vm["consumed"][before]) * KB) for host, vm in self.vms()]
        return sorted(sizes, key=lambda grown: -grown[2])

    def short(self, minute):
        """{host: state}"""
        states = {name: host["states"][minute] for name, host in self.hosts.items()}
        return {name: state for name, state in states.items() if state in SHORT}

    def swapped(self, before, now):
        """{(host, VM): bytes moved to or from swap}, of those that moved any"""
        moved = {}
        for host, vm in self.vms():
            total = [vm["swappedIn"][minute] + vm["swappedOut"][minute] for minute in (before, now)]
            if total[1] > total[0]:
                moved[host, vm["name"]] = (total[1] - total[0]) * KB
        return moved

    def check(self):
        """Whether there is something to tell apart: each question has answers, and what only looks like one."""
        grown = self.grown(self.last - 60, self.last)
        assert grown[0][2] > 1.2 * grown[1][2] > 1.2 * grown[2][2], "no VM grew most"
        assert -grown[-1][2] > grown[0][2], "no VM shrank by more than any grew"
        assert self.grown(0, self.last)[0][:2] != grown[0][:2], "nothing grew before"
        assert self.short(self.last) and set(self.short(80)) - set(self.short(self.last)), "no shortage is over"
        now = self.swapped(self.last - 5, self.last)
        assert now and set(self.swapped(0, self.last)) - set(now), "no VM has stopped swapping"
