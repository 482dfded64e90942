#!/usr/bin/python3
"""Prints the tree of groups of a snapshot: an example of reading one without hostmem.

Needs the flatbuffers package (Debian: python3-flatbuffers) and the classes that flatc makes of the schema:

    flatc --python -o FOLDER nevra/snapshot/snapshot.fbs
    PYTHONPATH=FOLDER samples/read_snapshot.py FILE
"""
import struct
import sys

from nevra.snapshot.Snapshot import Snapshot


def node_by_path(snapshot, path):
    for i in range(snapshot.NodesLength()):
        if snapshot.Nodes(i).Path().decode() == path:
            return snapshot.Nodes(i)
    raise SystemExit("the snapshot has no " + path)


def records(node):
    """The records of a node with one key, by that key. A key is a signed number of 64 bits."""
    content = bytes(node.Records(i) for i in range(node.RecordsLength()))
    size = node.RecordSize()
    return {
        struct.unpack("<q", struct.pack("<Q", node.Keys(i)))[0]: content[i * size:(i + 1) * size]
        for i in range(node.RecordCount())
    }


def lists(node):
    """The listings of a node with one key, by that key, in the kernel's order."""
    return {
        node.ListKeys(i): [node.ListValues(at) for at in range(node.ListStarts(i), node.ListStarts(i + 1))]
        for i in range(node.ListCount())
    }


def print_group(group, depth, names, children):
    # The record is the group's name: up to 64 bytes, ended by a zero.
    name = names[group].split(b"\0")[0].decode() if group in names else "?"
    print("   " * depth + f"{group} {name}")
    for child in children.get(group, []):
        print_group(child, depth + 1, names, children)


def main():
    if len(sys.argv) != 2:
        raise SystemExit("usage: read_snapshot.py FILE")
    with open(sys.argv[1], "rb") as file:
        # The FlatBuffer starts the file; the trailer after it does not concern its readers.
        snapshot = Snapshot.GetRootAs(file.read())
    print(f"{snapshot.Host().decode()}, kernel {snapshot.KernelBuild().decode()}")
    names = records(node_by_path(snapshot, "sched/groups/groupName"))
    children = lists(node_by_path(snapshot, "sched/groups/members/groups"))
    print_group(0, 0, names, children)


if __name__ == "__main__":
    main()
