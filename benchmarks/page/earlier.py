"""Results held against earlier ones of the same machine: what has become worse than it ever varies.

How much a figure varies is the median distance of the earlier ones from their median, made comparable to a standard
deviation. It needs three of them; with fewer, a figure that is worse by more than the tolerance is only suspected.
"""
from dataclasses import dataclass
from statistics import median

import figures

TOLERANCE = 0.05
ENOUGH = 3
KEPT = 10
AS_DEVIATION = 1.4826
DEVIATIONS = 2
ROUNDING = 1e-9


@dataclass(frozen=True)
class Worse:
    figure: figures.Figure
    now: float
    before: float
    scatter: float
    runs: int

    @property
    def is_certain(self):
        return self.runs >= ENOUGH

    def text(self):
        text = (f"{self.figure.name}: {self.now:.4g}, before {self.before:.4g} "
                f"(± {self.scatter:.2g} in {self.runs} runs)")
        return text if self.is_certain else text + ", too few runs to be certain"


def comparable(results, other):
    return all(results.run[key] == other.run[key] for key in ("machine", "build"))


def worse(results, earlier):
    """`earlier` are of the same machine, oldest first."""
    return [one for figure in figures.all_figures() if (one := _worse(figure, results, earlier[-KEPT:]))]


def _worse(figure, results, earlier):
    now = _compared(figure, results)
    then = [value for one in earlier if (value := _compared(figure, one)) is not None]
    if now is None or not then:
        return None
    before = median(then)
    scatter = DEVIATIONS * AS_DEVIATION * median(abs(value - before) for value in then)
    loss = (now - before) if figure.better == "less" else (before - now)
    if loss <= scatter + TOLERANCE * abs(before) + ROUNDING * abs(before):
        return None
    return Worse(figure, now, before, scatter, len(then))


# The ratio where there is one: it varies less than the machine does.
def _compared(figure, results):
    reading = figure.reading(results)
    if reading is None:
        return None
    return reading.value if reading.ratio is None else reading.ratio
