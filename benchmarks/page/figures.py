"""The figures of the page: which result each is, what it is held against, and what is promised of it."""
from dataclasses import dataclass


@dataclass(frozen=True)
class Reading:
    """A figure as it was measured. Durations are in microseconds. `tail` is the 99th percentile."""
    value: float
    unit: str
    tail: float | None = None
    against: str | None = None
    against_value: float | None = None
    against_tail: float | None = None
    ratio: float | None = None

    @property
    def difference(self):
        return self.value - self.against_value


@dataclass(frozen=True)
class Limit:
    """What is promised: `of` a reading ("value", "ratio", "difference") at most so much."""
    of: str
    most: float

    def keeps(self, reading):
        return getattr(reading, self.of) <= self.most


@dataclass(frozen=True)
class Figure:
    group: str  # of scripts/benchmark, which measures it
    name: str
    line: dict
    read: object  # from a line to a Reading
    limit: Limit | None = None
    better: str = "less"

    def reading(self, results):
        """None where it was not measured. A line without what belongs to it is an error."""
        line = results.find(self.line)
        return None if line is None else self.read(line)


def latency(line):
    return Reading(line["p50_us"], "us", line["p99_us"], line["baseline"], line["baseline_p50_us"],
                   line["baseline_p99_us"], line["ratio_p50"])


def rate(line):
    return Reading(line["megabytes_per_second"], "MB/s", against=line["baseline"],
                   against_value=line["baseline_megabytes_per_second"], ratio=line["ratio"])


def written(line):
    return rate(line | {"megabytes_per_second": line["written_megabytes_per_second"]})


def changes(line):
    return Reading(line["ratio_10000_nodes_to_100"], "of the rate", against="the rate in a tree of 100 nodes",
                   against_value=1, ratio=line["ratio_10000_nodes_to_100"])


def batch(line):
    return Reading(line["gateway_us"], "us", against="a bare publisher", against_value=line["bare_publisher_us"],
                   ratio=line["ratio"])


def followed(line):
    return Reading(line["bytes_a_second_each"] / 1000, "kB a second", against="whole trees",
                   against_value=line["whole_tree_bytes_a_second_each"] / 1000, ratio=line["ratio_of_bytes"])


def single(field, unit):
    return lambda line: Reading(line[field], unit)


def _latency(group, name, benchmark, limit=None, baseline=None):
    line = {"benchmark": benchmark} | ({"baseline": baseline} if baseline else {})
    return Figure(group, name, line, latency, limit)


def _idle(program, jobs):
    def one(what, field, unit, most):
        if most is None:
            return None
        name = f"{program} with {jobs} jobs, {what}" if jobs else f"{program}, {what}"
        return Figure("idle", name, {"benchmark": f"idle {program}", "jobs": jobs}, single(field, unit),
                      Limit("value", most))

    wake_ups = {"TarnService": 6, "tarnWorkflowLauncher": 2}.get(program)
    service = program == "TarnService"
    return [figure for figure in (
        one("memory", "resident_kB", "kB", 10_000 if service else None),
        one("processor", "processor_percent_of_one_core", "% of a core", 0.05 if service else None),
        one("wake-ups", "wake_ups_a_second", "a second", wake_ups)) if figure]


def _followed(kind):
    line = {"benchmark": f"differences to those who follow, {kind}"}
    changing = f"100 {kind} that change a second, 10000 nodes"
    return (Figure("gateway-updates", f"What one who follows differences is sent, {changing}", line, followed,
                   Limit("ratio", 0.05)),
            Figure("gateway-updates", f"What the gateway computes for 1000 who follow, {changing}", line,
                   single("gateway_percent_of_one_core", "% of a core"), Limit("value", 30)),
            Figure("gateway-updates", f"Memory of the gateway with 1000 who follow, {changing}", line,
                   single("gateway_resident_kB", "kB"), Limit("value", 300_000)))


REQUESTS = [
    _latency("api-latency", "GET_INFO", "GET_INFO", Limit("ratio", 1.15)),
    _latency("api-latency", "GET_JOBS with 100 jobs", "GET_JOBS with 100 jobs"),
    _latency("access-check", "GET_INFO with a look at who asks", "GET_INFO with a look at who asks",
             Limit("ratio", 1.1)),
    _latency("tcp-keys", "A request over TCP with keys", "a request over TCP with keys", Limit("difference", 40)),
    *[_latency("monitoring-info", f"GET_MONITORING_INFO, {size}", f"GET_MONITORING_INFO, {size}",
               Limit("value", 2000))
      for size in ("10000 nodes in devices of 10", "10000 nodes in one device")],
    _latency("tool-start", "tarnctl info, the whole process", "tarnctl info, whole process", Limit("value", 3000)),
    _latency("peers", "GET_INFO, asked from Python", "GET_INFO from Python", baseline="supervisord: *"),
]

JOBS = [
    _latency("job-start", "A submission, until the job plays", "submission to playing"),
    *[_latency("job-cell", f"{title} until its pipeline is parsed, {cell}", f"{name} until parsed, {cell}",
               Limit("difference", 5000))
      for title, name in (("A pipeline process", "pipeline process"),
                          ("What a pipeline process computes", "processor time of a pipeline process"))
      for cell in ("cell without named folders", "cell with named folders")],
    _latency("peers", "A call that starts a job, until its first frame", "call to first frame",
             baseline="supervisord: *"),
    _latency("peers", "A call that starts a job, until its first frame, against no service", "call to first frame",
             baseline="gst-launch-1.0*"),
    _latency("systemd", "A command that starts a job, until its first frame", "command to first frame",
             baseline="systemd-run*"),
    _latency("systemd", "A command that starts a job, until its first frame, against no service",
             "command to first frame", baseline="gst-launch-1.0*"),
]

IDLE = [*_idle("TarnService", 0), *_idle("TarnService", 3), *_idle("tarnWorkflowLauncher", 3)]

EVENTS = [
    *[_latency("device-change", f"A change of {device}, until a subscriber has it, {nodes} nodes",
               f"change of {device} in a tree of {nodes} nodes", baseline="bare PUSH-PULL-PUSH-PULL-PUB-SUB*")
      for nodes in (10, 1000, 10000) for device in ("a device of 10 nodes", "the one device")],
    *[Figure("status-changes", f"Changes of statuses a second in a tree of 10000 nodes, {count} an event",
             {"benchmark": f"status changes, {count} an event"}, changes, better="more") for count in (1, 100)],
    _latency("gateway-fan-out", "A change, until the last of 100 subscribers has it, 1000 nodes",
             "change to the last of 100 subscribers, 1000 nodes"),
    Figure("gateway-fan-out", "What the gateway computes a batch",
           {"benchmark": "processor use of the gateway a batch"}, batch),
    *[figure for kind in ("statuses", "devices") for figure in _followed(kind)],
]

STORAGE = [
    *[Figure("loop-storage", f"{doing.capitalize()} a track, {frames}, {way}",
             {"benchmark": f"{doing} a track, {frames}, {way}", "baseline": against}, rate, better="more")
      for doing, against in (("writing", "plain file, same sizes, synced every quarter"),
                             ("reading", "plain file, same sizes"))
      for frames in ("64 kB frames", "1024 kB frames") for way in ("Unix socket", "TCP")],
    *[Figure("loop-storage", f"{doing.capitalize()} a track, {frames}, TLS",
             {"benchmark": f"{doing} a track, {frames}, TLS", "baseline": "TCP, same sizes"}, rate, better="more")
      for doing in ("writing", "reading") for frames in ("64 kB frames", "1024 kB frames")],
    Figure("loop-storage", "Writing a track beside 16 readers",
           {"benchmark": "one writer and 16 readers, 1024 kB frames"}, written, better="more"),
    _latency("loop-storage", "Making a track of 1 GB", "create a track of 1 GB", Limit("ratio", 4)),
    _latency("loop-storage", "Removing a track of 1 GB", "destroy a track of 1 GB"),
    _latency("loop-storage", "Looking at 1000 tracks", "poll of 1000 tracks"),
]

SECTIONS = {"Requests": REQUESTS, "Jobs": JOBS, "While nobody asks": IDLE, "Devices and events": EVENTS,
            "Loop storage": STORAGE}

# Measured with the others, and nothing to hold them against. Each is the beginning of a name.
NOT_SHOWN = ("idle ", "memory of the service with", "200 devices of 10 nodes", "status changes, ", "change of ",
             "GET_MONITORING_INFO after a change", "a status and a device that comes", "writing a track")


def all_figures():
    return [figure for figures in SECTIONS.values() for figure in figures]
