"""What is checked, and how long each step takes."""
import contextlib
import time

from sizes import Sizes


class Checks:
    def __init__(self):
        self.passed = 0
        self.failed = 0
        self.start = time.monotonic()
        self.sizes = Sizes()

    @contextlib.contextmanager
    def step(self, what):
        start = time.monotonic()
        print(f"== {what}", flush=True)
        yield
        print(f"   {time.monotonic() - start:.1f} s", flush=True)

    def equal(self, what, got, expected):
        if got == expected:
            self.passed += 1
            print(f"   right  {what}", flush=True)
        else:
            self.failed += 1
            print(f"   WRONG  {what}\n      got      {got}\n      expected {expected}", flush=True)

    def true(self, what, holds):
        self.equal(what, bool(holds), True)

    def fail(self, problem):
        self.failed += 1
        print(f"   FAILED {problem}", flush=True)

    def summary(self):
        self.sizes.print()
        print(f"\n{time.monotonic() - self.start:.0f} s in all")
        print(f"fleet: {self.passed} passed, {self.failed} failed")
        return 0 if self.failed == 0 and self.passed > 0 else 1
