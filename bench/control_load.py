#!/usr/bin/python3
"""Prints how late scenes get while the control API is under load: 30 scenes a second with 20 objects on
3 profiles, once without requests and once with 200 a second. On a machine
that does other things as well, `chrt -r 5` in front keeps those out of the figures.

usage: bench/control_load.py [SECONDS [REQUESTS A SECOND]]
"""

import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.realpath(__file__))), "tests", "system"))

from load import FRAME, at, measure  # noqa: E402


def row(name, values):
    figures = "  ".join(f"{1000 * value:8.2f}" for value in (at(values, 0.5), at(values, 0.99), values[-1]))
    print(f"{name:34}{len(values):8}  {figures}")


def main():
    seconds = float(sys.argv[1]) if len(sys.argv) > 1 else 30
    requests = float(sys.argv[2]) if len(sys.argv) > 2 else 200
    told = measure(seconds, requests)
    print(f"{'milliseconds':34}{'count':>8}  {'median':>8}  {'99 %':>8}  {'largest':>8}")
    row("scene to frame, no requests", told["quiet"])
    row(f"scene to frame, {told['rate']:.0f} requests/s", told["loaded"])
    row("request to answer", told["answers"])
    late = sum(value > FRAME for value in told["loaded"])
    print(f"scenes later than one frame ({1000 * FRAME:.1f} ms): {late}; scenes without a frame: {told['missing']}; "
          f"failed requests: {len(told['failures'])}")  # fmt: skip
    return 1 if late or told["missing"] or told["failures"] else 0


if __name__ == "__main__":
    sys.exit(main())
