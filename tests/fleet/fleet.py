"""The made-up hosts, and the programs and files that are shipped."""
import json
import os

from engines import Failure, run
from guide import Guide
from story import Story

STEP = 2  # minutes from one live snapshot to the next


class Fleet:
    def __init__(self, source, build, folder, engines):
        self.shipped = os.path.join(source, "packaging", "prometheus")
        self.bin = os.path.join(build, "bin")
        self.folder = folder
        self.engines = engines  # an ExitStack: what is started is ended with it
        self.guide = Guide(os.path.join(source, "docs", "fleet.md"))
        self.recordings = os.path.join(folder, "recordings")
        sample = os.path.join(build, "samples", "hypervisor-host.snapshot")
        run([os.path.join(build, "test-fleet", "bin", "make_fleet"), sample, folder, str(STEP)])
        self.story = Story(os.path.join(folder, "story.json"))
        self.story.check()

    def program(self, name):
        path = os.path.join(self.bin, name)
        if not os.path.exists(path):
            raise Failure(f"{path} is not built: packaging/install-packages test-fleet installs what it needs")
        return path

    def start(self, engine):
        self.engines.callback(engine.stop)
        return engine

    def subfolder(self, name):
        path = os.path.join(self.folder, name)
        os.makedirs(path)
        return path

    def live_snapshots(self, host):
        """Paths, in order"""
        folder = os.path.join(self.folder, "live", host)
        return [os.path.join(folder, name) for name in sorted(os.listdir(folder))]

    def live_minutes(self):
        """Of the story, one for each live snapshot"""
        count = len(self.live_snapshots(next(iter(self.story.hosts))))
        return [self.story.last - STEP * (count - 1 - i) for i in range(count)]

    def write(self, name, text):
        path = os.path.join(self.folder, name)
        with open(path, "w") as file:
            file.write(text)
        return path

    def write_json(self, name, value):
        return self.write(name, json.dumps(value))
