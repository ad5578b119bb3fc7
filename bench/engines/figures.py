# SPDX-License-Identifier: MIT
"""Figures from rounds, written as the other benchmarks write theirs."""

import json
import statistics
import sys


def quartiles(values):
    """The lower quarter, the middle and the upper quarter of some values."""
    if len(values) == 1:
        return values[0], values[0], values[0]
    low, middle, high = statistics.quantiles(values, n=4, method="inclusive")
    return low, middle, high


def ratios(values, baselines):
    """Each value divided by the baseline that was taken in the same round."""
    return [value / baseline for value, baseline in zip(values, baselines, strict=True)]


def in_turns(rounds, sides):
    """Runs both sides of a comparison in each round, one right after the other; they take turns in going first.

    sides: two callables that return a number. Returns a list of numbers for each."""
    taken = ([], [])
    for number in range(rounds):
        for place in ((0, 1), (1, 0))[number % 2]:
            taken[place].append(sides[place]())
    return taken


class Figures:
    """Takes figures and appends each as a line of JSON to a file, or to standard error."""

    def __init__(self, path):
        self._path = path

    def add(self, name, values, unit, goal=None, better="lower"):
        low, middle, high = quartiles(values)
        line = json.dumps({"name": name, "value": middle, "spread": [low, high], "unit": unit, "goal": goal, "better": better})
        if self._path is None:
            print(line, file=sys.stderr, flush=True)
            return
        with open(self._path, "a", encoding="utf-8") as file:
            file.write(line + "\n")
