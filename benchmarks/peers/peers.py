#!/usr/bin/env python3
"""Measures the running service beside what Debian has for starting programs; a JSON object a line.

usage: peers.py calls GENERATED      by calls: beside supervisord, which it starts
       peers.py commands GENERATED   by commands: beside systemd-run, where systemd runs

GENERATED is the folder of the messages for Python (BUILD/python). All start the same pipeline, which sends its
frames to a port of this process: what is measured is the time until the first is there.
"""
import json
import math
import pathlib
import subprocess
import sys
import tempfile
import time

sys.path[:0] = [sys.argv[2] if len(sys.argv) > 2 else "", str(pathlib.Path(__file__).parents[2] / "examples")]
# pylint: disable=wrong-import-position
import jobs
import zmq
from starters import ByHand, Frames, JobByCall, JobByCommand, Supervised, Supervisor, TransientUnit

ROUNDS = 30
TURNS, CALLS = 20, 50


def percentile(values, fraction):
    """Nearest rank, as benchmarks/Samples has it."""
    return sorted(values)[max(math.ceil(fraction * len(values)), 1) - 1]


def report(benchmark, measured, baseline, reference):
    p50, p99 = percentile(measured, 0.5), percentile(measured, 0.99)
    basis50, basis99 = percentile(reference, 0.5), percentile(reference, 0.99)
    print(json.dumps({"benchmark": benchmark, "samples": len(measured), "p50_us": p50, "p99_us": p99,
                      "baseline": baseline, "baseline_p50_us": basis50, "baseline_p99_us": basis99,
                      "ratio_p50": p50 / basis50, "ratio_p99": p99 / basis99, "difference_p50_us": p50 - basis50}),
          flush=True)


def timed(work):
    begin = time.perf_counter()
    work()
    return (time.perf_counter() - begin) * 1e6


def until_first_frame(starter):
    frames = starter.frames
    frames.forget()

    def start():
        starter.start()
        frames.await_one()

    took = timed(start)
    starter.stop()
    return took


def measure_starts(benchmark, ours, others):
    """`others` maps what each is called to its starter. In turns, after one round that does not count."""
    samples = {starter: [] for starter in (ours, *others.values())}
    for turn in range(-1, ROUNDS):
        for starter, taken in samples.items():
            took = until_first_frame(starter)
            if turn >= 0:
                taken.append(took)
    for baseline, starter in others.items():
        report(benchmark, samples[ours], baseline, samples[starter])


def measure_status_calls(service, supervisor):
    question = jobs.api.ApiToServiceRequest(type=jobs.api.ApiToServiceRequest.GET_INFO).SerializeToString()

    def ask_service():
        service.asker.socket.send(question)
        service.asker.socket.recv()

    ours, theirs = [], []
    for turn in range(-1, TURNS):
        for work, taken in ((ask_service, ours), (supervisor.state, theirs)):
            times = [timed(work) for _ in range(CALLS)]
            taken.extend(times if turn >= 0 else [])
    report("GET_INFO from Python", ours, "supervisord: getState from Python", theirs)


BY_HAND = "gst-launch-1.0, started by hand"


def calls(service):
    with tempfile.TemporaryDirectory() as folder, Supervisor(folder, frames := Frames()) as supervisor:
        measure_status_calls(service, supervisor)
        measure_starts("call to first frame", JobByCall(service),
                       {"supervisord: startProcess": Supervised(supervisor, frames), BY_HAND: ByHand()})


def commands(service):
    if subprocess.run(["systemctl", "is-system-running"], capture_output=True, check=False).stdout.strip() not in (
            b"running", b"degraded"):
        sys.exit("peers: systemd does not run here")
    measure_starts("command to first frame", JobByCommand(service), {"systemd-run": TransientUnit(), BY_HAND: ByHand()})


def main():
    what = {"calls": calls, "commands": commands}.get(sys.argv[1] if len(sys.argv) == 3 else "")
    if what is None:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    with zmq.Context() as context:
        what(jobs.Service(context, "ipc:///tmp/requests"))
        context.destroy(linger=0)


if __name__ == "__main__":
    main()
