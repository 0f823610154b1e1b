#!/usr/bin/env python3
"""Makes the page of figures from results that benchmarks left, one JSON object a line.

usage: page begin BUILD             describes the run: the first line of results
       page make RESULTS PAGE       writes the page
       page judge RESULTS [FOLDER]  says what breaks its limit, is missing, or has become worse than in the
                                    earlier results in the folder; ends with 1 if anything is

Ends with 2 where results cannot be read.
"""
import json
import os
import pathlib
import sys

import earlier
import machine
import page
from results import BadResults, Results


def begin(build):
    print(json.dumps({"run": machine.describe(build)}))


def make(path, target):
    text = page.page(Results.read(path))
    new = pathlib.Path(target + ".new")
    new.write_text(text, encoding="utf-8")
    os.replace(new, target)


def judge(path, folder=None):
    results = Results.read(path)
    findings = [f"over its limit: {figure.name}: {page.against_limit(figure.limit, reading)}"
                for figure, reading in page.over_limit(results)]
    findings += [f"not measured: {figure.name}: {why}" for figure, why in page.not_measured(results)]
    findings += [f"measured, and not known: {name}" for name in page.unknown(results)]
    before = list(_earlier(results, folder)) if folder else []
    worse = earlier.worse(results, before)
    findings += [f"worse: {one.text()}" for one in worse if one.is_certain]
    for line in findings + [f"perhaps worse: {one.text()}" for one in worse if not one.is_certain]:
        print(line)
    print(f"held against {len(before)} earlier runs of this machine")
    return 1 if findings else 0


# What cannot be read is said and left out: one damaged file must not end all comparing.
def _earlier(results, folder):
    for other in sorted(pathlib.Path(folder).glob("*.jsonl")):
        try:
            one = Results.read(other)
        except (BadResults, OSError) as error:
            print(f"left out: {other}: {error}")
            continue
        if earlier.comparable(results, one):
            yield one


COMMANDS = {"begin": (begin, (1,)), "make": (make, (2,)), "judge": (judge, (1, 2))}


def main(words):
    command, counts = COMMANDS.get(words[0] if words else "", (None, ()))
    if command is None or len(words) - 1 not in counts:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        return command(*words[1:]) or 0
    except (BadResults, KeyError, OSError) as error:
        print(f"page: {type(error).__name__}: {error}", file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
