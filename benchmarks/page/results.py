"""Results of benchmarks as they are kept: a JSON object a line.

The first describes the run (`begin`). Each other one is what a benchmark printed ("benchmark" is its name),
or says of a group of benchmarks why there is nothing of it ("missing" with "why").
"""
import json


class BadResults(Exception):
    """The text is no results; says what of it."""


class Results:
    def __init__(self, run, lines, missing):
        self.run, self.lines, self.missing = run, lines, missing

    @staticmethod
    def read(path):
        with open(path, encoding="utf-8") as file:
            return Results.of(file.read())

    @staticmethod
    def of(text):
        objects = [_object(number, line) for number, line in enumerate(text.splitlines(), 1) if line.strip()]
        if not objects or "run" not in objects[0]:
            raise BadResults("the first line does not describe the run")
        run, *others = objects
        lines = [one for one in others if "benchmark" in one]
        missing = {one["missing"]: one["why"] for one in others if "missing" in one}
        if len(lines) + sum("missing" in one for one in others) != len(others):
            raise BadResults("a line is neither a benchmark's nor says that one is missing")
        return Results(run["run"], lines, missing)

    def find(self, wanted):
        """The one line that has all that is wanted, texts by how they begin; None where there is none."""
        found = [line for line in self.lines if all(_agrees(line.get(key), value) for key, value in wanted.items())]
        if len(found) > 1:
            raise BadResults(f"more than one result for {wanted}")
        return found[0] if found else None


def _agrees(value, wanted):
    # A benchmark's name is whole; what it is held against ends with sizes, which may change.
    if isinstance(wanted, str) and wanted.endswith("*"):
        return isinstance(value, str) and value.startswith(wanted[:-1])
    return value == wanted


def _object(number, line):
    try:
        value = json.loads(line)
    except json.JSONDecodeError as error:
        raise BadResults(f"line {number} is no JSON: {error}") from None
    if not isinstance(value, dict):
        raise BadResults(f"line {number} is no object")
    return value
