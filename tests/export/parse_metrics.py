"""Reads OpenMetrics texts from standard input, one after the other, as another program reads them.

usage: parse_metrics.py [004]: with 004, one text in the format 0.0.4. Prints how many texts and samples there are.
"""
import sys

from prometheus_client import parser as text_parser
from prometheus_client.openmetrics import parser as openmetrics_parser


def check(families):
    """No family and no series comes twice, unless at another time."""
    names, series = set(), set()
    count = 0
    for family in families:
        assert family.name not in names, family.name
        assert family.documentation, family.name
        names.add(family.name)
        for sample in family.samples:
            key = (sample.name, tuple(sorted(sample.labels.items())), sample.timestamp)
            assert key not in series, key
            series.add(key)
            count += 1
    return count


text = sys.stdin.buffer.read().decode("utf-8")  # strictly
if sys.argv[1:] == ["004"]:
    print(1, check(text_parser.text_string_to_metric_families(text)))
else:
    texts = [part + "# EOF\n" for part in text.split("# EOF\n")]
    assert texts.pop() == "# EOF\n"
    print(len(texts), sum(check(openmetrics_parser.text_string_to_metric_families(part)) for part in texts))
