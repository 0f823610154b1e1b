"""The page of figures as Markdown, from results alone."""
import figures

HEAD = """# Performance

Written by `scripts/benchmark --page` from `performance.jsonl` beside it, never by hand. From stored results
again: `scripts/benchmark --page-from docs/performance.jsonl`.

"""

HOW = """
Durations are medians (p50) and 99th percentiles (p99) of single measurements, never means. What a figure is held
against was measured in the same run, in turns with it, so that whatever else the machine did met both alike: a
ratio says more than the figures that it is made of. Ratios and limits are of medians. A limit is what this project
promises; where there is none, the ratio is what there is to judge by. supervisord is Debian's, asked over its Unix
socket; systemd-run is that of a Debian that boots systemd in a container on the same machine; the pipeline that they
start is a `gst-launch-1.0` that does what the job does.

"""

TABLE_HEAD = """| figure | p50 | p99 | held against | p50 | p99 | ratio | limit | kept |
|---|---|---|---|---|---|---|---|---|
"""


def page(results):
    parts = [HEAD, _machine(results.run), HOW]
    for title, catalogue in figures.SECTIONS.items():
        rows = [(figure, figure.reading(results)) for figure in catalogue]
        rows = [row for row in rows if row[1] is not None]
        parts.append(f"## {title}\n\n")
        parts.append(TABLE_HEAD + "".join(_row(*row) for row in rows) + "\n" if rows else "Nothing was measured.\n\n")
    parts.append(_missing(results))
    return "".join(parts).rstrip("\n") + "\n"


def over_limit(results):
    """The figures that break what is promised, with their readings."""
    measured = [(figure, figure.reading(results)) for figure in figures.all_figures()]
    return [(figure, reading) for figure, reading in measured
            if reading is not None and figure.limit and not figure.limit.keeps(reading)]


def not_measured(results):
    """What the page should have and has not, with the reason."""
    lacking = [figure for figure in figures.all_figures() if figure.reading(results) is None]
    return [(figure, results.missing.get(figure.group, "its benchmark gave no such result")) for figure in lacking]


def unknown(results):
    """What was measured and belongs nowhere: a benchmark whose name was changed here and not there."""
    def is_known(line):
        return (line["benchmark"].startswith(figures.NOT_SHOWN) or
                any(results.find(figure.line) is line for figure in figures.all_figures()))

    return [line["benchmark"] for line in results.lines if not is_known(line)]


def quantity(value, unit):
    if unit == "us":
        for name, size in (("s", 1e6), ("ms", 1e3)):
            if abs(value) >= size:
                return f"{_digits(value / size)} {name}"
        return f"{_digits(value)} µs"
    return f"{_digits(value)} {unit}"


def limit_text(limit, unit):
    return _of_limit(limit, limit.most, unit)


def against_limit(limit, reading):
    return f"{_of_limit(limit, getattr(reading, limit.of), reading.unit)}, limit {limit_text(limit, reading.unit)}"


def _of_limit(limit, value, unit):
    if limit.of == "ratio":
        return f"{value:.4g} times"
    return quantity(value, unit) + (" more" if limit.of == "difference" else "")


def _row(figure, reading):
    def of(value):
        return "" if value is None else quantity(value, reading.unit)

    limit = figure.limit
    cells = [figure.name, of(reading.value), of(reading.tail), reading.against or "", of(reading.against_value),
             of(reading.against_tail), "" if reading.ratio is None else f"{reading.ratio:.2f}",
             limit_text(limit, reading.unit) if limit else "",
             ("yes" if limit.keeps(reading) else "**no**") if limit else ""]
    return "| " + " | ".join(_cell(text) for text in cells) + " |\n"


def _machine(run):
    busy = ""
    if run["load"] > run["cores"] / 2:
        busy = f"\nThe machine was busy (a load of {run['load']:g} before the run): only the ratios say something.\n"
    rows = [("processor", f"{run['processor']}, {run['cores']} of them"), ("memory", f"{run['memory_gb']:g} GB"),
            ("kernel", run["kernel"]), ("Debian", run["debian"]), ("measured", run["date"]),
            ("commit", run["commit"]), ("build", run["build"])]
    return "| | |\n|---|---|\n" + "".join(f"| {name} | {_cell(text)} |\n" for name, text in rows) + busy


def _missing(results):
    lacking = [f"- {figure.name}: {why}\n" for figure, why in not_measured(results)]
    strange = [f"- {_cell(name)}: measured, and this page does not know it\n" for name in unknown(results)]
    return "## Not measured\n\n" + ("".join(lacking + strange) or "Nothing: every figure is there.\n")


def _digits(value):
    # Three digits that count, no more than were measured.
    if abs(value) >= 100:
        return f"{value:.0f}"
    return f"{value:.2f}" if abs(value) < 10 else f"{value:.1f}"


def _cell(text):
    return str(text).replace("|", "\\|").replace("\n", " ")
