"""Figures and goals of a benchmark."""

import statistics


def median(values):
    return statistics.median(values)


def ratios(values, bases):
    """Pairwise: both of a pair were measured one after the other."""
    return [value / base if base else float("inf") for value, base in zip(values, bases)]


class Result:
    def __init__(self):
        self.figures = {}
        self.goals = []

    def at_least(self, name, value, goal):
        self._add(name, value, f"at least {goal}", value >= goal)

    def at_most(self, name, value, goal):
        self._add(name, value, f"at most {goal}", value <= goal)

    def holds(self, name, value, goal):
        """The value must be just that."""
        self._add(name, value, goal, value == goal)

    def _add(self, name, value, goal, met):
        if isinstance(value, float):
            value = round(value, 3)
        self.goals.append({"name": name, "value": value, "goal": goal, "met": met})
