"""Do the rules, the console and the tests of the rules name metrics and labels that hostmem-exporter serves, and does
each alert say what to do?

usage: names_test.py EXPORTER SHIPPED ALERT_TESTS SNAPSHOT...
SHIPPED is the folder with the rules and the console. The status is 77 where there is no python3-yaml.
"""
import re
import subprocess
import sys
import unittest
import urllib.request
from collections import defaultdict

try:
    import yaml
except ImportError:
    print("names_test:1: Skipped\npython3-yaml is not installed")
    sys.exit(77)

EXPORTER, SHIPPED, ALERT_TESTS, *SNAPSHOTS = sys.argv[1:]
SELECTOR = re.compile(r"\b(up|hostmem_\w+|\w+:\w+:\w+)\b(?:\{([^}]*)\})?")
MATCHER = re.compile(r"(\w+)\s*(=~|!=|!~|=)\s*[\"']?([^\"',]*)")
HOST = {"host"}  # the label that Prometheus adds to each series


def read_yaml(path):
    with open(path, encoding="utf-8") as file:
        return yaml.safe_load(file)


def scrape(snapshot):
    """What the exporter serves of a host."""
    command = [EXPORTER, "-c", snapshot, "--processes", "--web.listen-address", "127.0.0.1:0"]
    with subprocess.Popen(command, stderr=subprocess.PIPE, text=True) as exporter:
        try:
            url = re.search(r"http://\S+", exporter.stderr.readline())[0]
            with urllib.request.urlopen(url, timeout=60) as answer:
                return answer.read().decode()
        finally:
            exporter.terminate()


def selectors_of(query):
    """The metrics in it with their matchers, and the labels that it takes away."""
    without = re.compile(r"without \((\w+)\)")
    return SELECTOR.findall(without.sub("", query)), set(without.findall(query))


def values_of(text, found):
    """Adds the values of each label of each metric."""
    for line in text.splitlines():
        if not line.startswith("#"):
            name = re.match(r"\w+", line)[0]
            found[name].update({})
            for label, value in re.findall(r'(\w+)="((?:[^"\\]|\\.)*)"', line[len(name):]):
                found[name].setdefault(label, set()).add(value)


class Names(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.values = defaultdict(dict)
        for snapshot in SNAPSHOTS:
            values_of(scrape(snapshot), cls.values)
        cls.labels = {name: set(values) | HOST for name, values in cls.values.items()}
        cls.labels["up"] = {"job"} | HOST
        cls.records = [rule for group in read_yaml(SHIPPED + "/recording.rules.yml")["groups"] for rule in group["rules"]]
        cls.alerts = [rule for group in read_yaml(SHIPPED + "/alert.rules.yml")["groups"] for rule in group["rules"]]
        for rule in cls.records:
            selectors, without = selectors_of(rule["expr"])
            cls.labels[rule["record"]] = set().union(*(cls.labels.get(name, set()) for name, _ in selectors)) - without

    def check(self, query):
        """Returns the labels of the metrics in it."""
        selectors, without = selectors_of(query)
        labels = set()
        for name, matchers in selectors:
            self.assertTrue(name in self.labels, f"{query}: no {name}")
            for label, comparison, wanted in MATCHER.findall(matchers):
                self.assertIn(label, self.labels[name], query)
                if comparison == "=~":
                    for value in wanted.split("|"):
                        self.assertIn(value, self.values[name][label], query)
            labels |= self.labels[name]
        self.assertTrue(labels, f"{query}: no metric")
        self.assertLessEqual(without, labels, query)
        return labels - without

    def test_of_rules_exist(self):
        for rule in self.records + self.alerts:
            with self.subTest(rule.get("record") or rule["alert"]):
                self.check(rule["expr"])

    def test_of_annotations_exist(self):
        for rule in self.alerts:
            with self.subTest(rule["alert"]):
                used = set(re.findall(r"\$labels\.(\w+)", " ".join(rule["annotations"].values())))
                self.assertLessEqual(used, self.check(rule["expr"]))
                self.assertIn("host", used)

    def test_of_the_console_exist(self):
        with open(SHIPPED + "/consoles/hostmem.html", encoding="utf-8") as file:
            page = file.read()
        queries = re.findall(r'(?:query|printf) "([^"]*)"', page)
        self.assertGreater(len(queries), 8)
        labels = {"alertname"}.union(*(self.check(query) for query in queries if not query.startswith("ALERTS")),
                                     *(self.check(rule["expr"]) for rule in self.alerts))
        self.assertLessEqual(set(re.findall(r"\.Labels\.(\w+)", page)), labels)

    def test_of_tests_exist(self):
        for test in read_yaml(ALERT_TESTS)["tests"]:
            for series in test["input_series"]:
                with self.subTest(test["name"], series=series["series"]):
                    name, matchers = SELECTOR.fullmatch(series["series"]).groups()
                    labels = {label: value for label, _, value in MATCHER.findall(matchers)}
                    self.assertEqual(set(labels), self.labels.get(name))
                    self.assertEqual(labels.get("group", "/")[0], "/")


class Alerts(unittest.TestCase):
    def test_say_what_it_means_and_what_to_do(self):
        for rule in read_yaml(SHIPPED + "/alert.rules.yml")["groups"][0]["rules"]:
            with self.subTest(rule["alert"]):
                self.assertEqual(set(rule["annotations"]), {"summary", "description"})
                # A program to run, an option to change, or a metric to look at.
                self.assertRegex(rule["annotations"]["description"], r"hostmem|systemctl|--\w")

    def test_fire_on_one_host_and_not_on_another(self):
        fires, stays = set(), set()
        for test in read_yaml(ALERT_TESTS)["tests"]:
            hosts = {re.search(r'\bhost="(\w+)"', series["series"])[1] for series in test["input_series"]}
            for case in test["alert_rule_test"]:
                fired = {alert["exp_labels"]["host"] for alert in case["exp_alerts"]}
                if fired:
                    fires.add(case["alertname"])
                    if hosts - fired:
                        stays.add(case["alertname"])
        alerts = {rule["alert"] for rule in read_yaml(SHIPPED + "/alert.rules.yml")["groups"][0]["rules"]}
        self.assertEqual(fires, alerts)
        self.assertEqual(stays, alerts)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
