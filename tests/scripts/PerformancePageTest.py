#!/usr/bin/env python3
"""The page of figures: made from given results rightly, and silent about nothing."""
import json
import shutil
import subprocess
import sys
import unittest

from project import ROOT, ProjectTest

sys.path.insert(0, str(ROOT / "benchmarks/page"))
# pylint: disable=wrong-import-position
import earlier
import figures
import page
from results import BadResults, Results

RUN = {"machine": "m", "processor": "A Processor", "cores": 2, "memory_gb": 8, "kernel": "6.1", "debian": "12.5",
       "date": "2026-01-02 03:04 UTC", "commit": "abc", "build": "RelWithDebInfo", "load": 0.1}


def latency(name, p50, basis, baseline="bare"):
    return {"benchmark": name, "samples": 9, "p50_us": p50, "p99_us": 2 * p50, "baseline": baseline,
            "baseline_p50_us": basis, "baseline_p99_us": 3 * basis, "ratio_p50": p50 / basis, "ratio_p99": 0.5,
            "difference_p50_us": p50 - basis}


def results(*lines, **run):
    return Results.of("\n".join(json.dumps(line) for line in ({"run": RUN | run}, *lines)))


def info(p50, basis=100, **run):
    return results(latency("GET_INFO", p50, basis), **run)


def figure(name):
    return next(one for one in figures.all_figures() if one.name == name)


class Page(unittest.TestCase):
    def row(self, given, name):
        rows = [line for line in page.page(given).splitlines() if line.startswith(f"| {name} |")]
        self.assertEqual(len(rows), 1, rows)
        return [cell.strip() for cell in rows[0].strip("|").split("|")]

    def test_a_duration_is_shown_with_what_it_is_held_against(self):
        given = results(latency("GET_INFO", 112.4, 100, "bare echo of 3021 bytes"))
        self.assertEqual(self.row(given, "GET_INFO"),
                         ["GET_INFO", "112 µs", "225 µs", "bare echo of 3021 bytes", "100 µs", "300 µs", "1.12",
                          "1.15 times", "yes"])

    def test_each_kind_of_limit_is_kept_up_to_itself_and_no_further(self):
        for name, benchmark, basis, most in (
                ("GET_INFO with a look at who asks", "GET_INFO with a look at who asks", 100, 110),
                ("A request over TCP with keys", "a request over TCP with keys", 100, 140),
                ("tarnctl info, the whole process", "tarnctl info, whole process", 100, 3000)):
            for p50, kept in ((most, "yes"), (most + 0.5, "**no**")):
                with self.subTest(name=name, p50=p50):
                    given = results(latency(benchmark, p50, basis))
                    self.assertEqual(self.row(given, name)[-1], kept)
                    self.assertEqual(len(page.over_limit(given)), 0 if kept == "yes" else 1)

    def test_the_limits_that_are_promised(self):
        promised = {"GET_INFO": ("ratio", 1.15), "GET_INFO with a look at who asks": ("ratio", 1.1),
                    "A request over TCP with keys": ("difference", 40),
                    "A pipeline process until its pipeline is parsed, cell with named folders": ("difference", 5000)}
        for name, limit in promised.items():
            self.assertEqual((figure(name).limit.of, figure(name).limit.most), limit)

    def test_the_machine_and_the_day_are_told(self):
        text = page.page(info(100))
        for told in ("A Processor, 2 of them", "8 GB", "6.1", "12.5", "2026-01-02 03:04 UTC", "abc", "RelWithDebInfo"):
            self.assertIn(f"| {told} |", text)
        self.assertNotIn("The machine was busy", text)

    def test_a_busy_machine_is_told(self):
        self.assertIn("The machine was busy (a load of 7.5", page.page(info(100, load=7.5)))

    def test_a_figure_that_is_missing_is_said_with_the_reason(self):
        text = page.page(results(latency("GET_INFO", 100, 100), {"missing": "systemd", "why": "only root can"}))
        self.assertIn("- A command that starts a job, until its first frame: only root can\n", text)
        self.assertIn("- A request over TCP with keys: its benchmark gave no such result\n", text)
        self.assertNotIn("- GET_INFO:", text)

    def test_each_figure_is_either_in_a_table_or_said_to_be_missing(self):
        text = page.page(info(100))
        for one in figures.all_figures():
            self.assertEqual((f"| {one.name} |" in text) + (f"- {one.name}: " in text), 1, one.name)

    def test_names_are_told_apart(self):
        names = [one.name for one in figures.all_figures()]
        self.assertEqual(len(names), len(set(names)))

    def test_no_figure_is_shown_without_a_ratio_or_a_limit(self):
        for one in figures.all_figures():
            has_ratio = one.read.__name__ in ("latency", "rate", "written", "changes", "batch")
            self.assertTrue(has_ratio or one.limit, one.name)

    def test_what_the_page_does_not_know_is_said(self):
        text = page.page(results(latency("GET_INFORMATION", 100, 100)))
        self.assertIn("- GET_INFORMATION: measured, and this page does not know it\n", text)

    def test_each_benchmark_is_held_against_its_own_baseline(self):
        given = results(latency("call to first frame", 20_000, 10_000, "supervisord: startProcess"),
                        latency("call to first frame", 20_000, 40_000, "gst-launch-1.0, started by hand"))
        name = "A call that starts a job, until its first frame"
        self.assertEqual(self.row(given, name)[6], "2.00")
        self.assertEqual(self.row(given, f"{name}, against no service")[6], "0.50")

    def test_rates_and_what_an_idle_service_uses(self):
        given = results(
            {"benchmark": "reading a track, 64 kB frames, TCP", "megabytes_per_second": 450.2,
             "baseline": "plain file, same sizes", "baseline_megabytes_per_second": 900.4, "ratio": 0.5},
            {"benchmark": "idle TarnService", "jobs": 3, "resident_kB": 10_001, "wake_ups_a_second": 5.5,
             "processor_percent_of_one_core": 0.04})
        self.assertEqual(self.row(given, "Reading a track, 64 kB frames, TCP")[1:7],
                         ["450 MB/s", "", "plain file, same sizes", "900 MB/s", "", "0.50"])
        self.assertEqual(self.row(given, "TarnService with 3 jobs, memory")[-1], "**no**")
        self.assertEqual(self.row(given, "TarnService with 3 jobs, wake-ups")[-1], "yes")

    def test_results_that_are_none_are_refused(self):
        good = json.dumps({"run": RUN})
        for text in ("", "{}", good + "\nnonsense", good + "\n[]", good + '\n{"strange": 1}',
                     json.dumps(latency("GET_INFO", 1, 1))):
            with self.subTest(text=text), self.assertRaises(BadResults):
                Results.of(text)

    def test_the_same_result_twice_is_refused(self):
        with self.assertRaises(BadResults):
            page.page(results(latency("GET_INFO", 1, 1), latency("GET_INFO", 2, 1)))

    def test_the_benchmarks_of_each_figure_exist(self):
        script = (ROOT / "scripts/benchmark").read_text(encoding="utf-8")
        measured = script.split("of_the_page=(")[1].split(")")[0].split()
        self.assertEqual({one.group for one in figures.all_figures()}, set(measured))

    def test_the_page_that_is_kept_is_what_its_results_give(self):
        kept = [ROOT / "docs/performance.md", ROOT / "docs/performance.jsonl"]
        if not any(file.exists() for file in kept):
            self.skipTest("no page was written yet")
        self.assertEqual(kept[0].read_text(encoding="utf-8"), page.page(Results.read(kept[1])))


class Earlier(unittest.TestCase):
    def worse(self, now, *then):
        return [one.is_certain for one in earlier.worse(info(now), [info(p50) for p50 in then])]

    def test_more_than_five_percent_worse_is_noticed(self):
        self.assertEqual(self.worse(106, 100, 100, 100), [True])
        self.assertEqual(self.worse(105, 100, 100, 100), [])

    def test_what_varies_anyway_is_not(self):
        self.assertEqual(self.worse(111, 95, 100, 100, 105), [])
        self.assertEqual(self.worse(130, 95, 100, 100, 105), [True])

    def test_one_run_that_went_wrong_does_not_hide_what_becomes_worse(self):
        self.assertEqual(self.worse(110, 100, 100, 300, 100, 100), [True])

    def test_two_earlier_runs_only_make_suspicious(self):
        self.assertEqual(self.worse(120, 100, 100), [False])
        self.assertEqual(self.worse(120), [])

    def test_better_is_not_worse(self):
        self.assertEqual(self.worse(50, 100, 100, 100), [])

    def test_of_a_rate_less_is_worse(self):
        def reading(ratio):
            return results({"benchmark": "reading a track, 64 kB frames, TCP", "megabytes_per_second": 100 * ratio,
                            "baseline": "plain file, same sizes", "baseline_megabytes_per_second": 100,
                            "ratio": ratio})

        before = [reading(0.8)] * 3
        self.assertEqual(len(earlier.worse(reading(0.7), before)), 1)
        self.assertEqual(earlier.worse(reading(0.9), before), [])

    def test_a_slower_machine_is_not_worse_where_there_is_a_ratio(self):
        self.assertEqual(earlier.worse(info(200, basis=200), [info(100)] * 3), [])

    def test_another_machine_or_build_is_not_compared(self):
        self.assertTrue(earlier.comparable(info(1), info(2, load=9)))
        self.assertFalse(earlier.comparable(info(1), info(2, machine="other")))
        self.assertFalse(earlier.comparable(info(1), info(2, build="Debug")))


class Program(ProjectTest):
    """scripts/benchmark with stand-ins for what it measures."""

    def setUp(self):
        super().setUp()
        self.take("scripts/benchmark")
        for file in (ROOT / "benchmarks/page").glob("*.py"):
            self.take(str(file.relative_to(ROOT)))
        self.write("docs/here", "")
        self.write("build/some/CMakeCache.txt", "CMAKE_BUILD_TYPE:STRING=Release\n")
        self.program("scripts/install-dependencies", 'echo "$*" >>called')
        # in-private-namespace --install BUILD -- SCRIPT --inside BUILD GROUP
        self.program("scripts/in-private-namespace", 'cat "results-$7" || { echo "cannot: \\"$7\\"" >&2; exit 3; }')
        self.program("benchmarks/peers/under-systemd", "echo 'no systemd can be booted: there is none' >&2; exit 77")
        self.environment["TARN_FIGURES"] = f"{self.folder}/store"
        self.let_info_take(100)

    def let_info_take(self, p50):
        self.write("results-api-latency", json.dumps(latency("GET_INFO", p50, 100)) + "\n")

    def measure(self):
        return self.run_script("scripts/benchmark", "--build", "build/some", "--page")

    def page(self):
        return (self.folder / "docs/performance.md").read_text(encoding="utf-8")

    def test_what_fails_is_said_on_the_page_and_the_rest_is_there(self):
        result = self.measure()
        self.assertEqual(result.returncode, 1, result.stdout)
        self.assertIn("| GET_INFO | 100 µs |", self.page())
        self.assertIn("- A request over TCP with keys: cannot: 'tcp-keys'\n", self.page())
        self.assertIn("- A command that starts a job, until its first frame: no systemd can be booted: there is none\n",
                      self.page())
        self.assertIn("not measured: A request over TCP with keys: cannot: 'tcp-keys'\n", result.stdout)
        self.assertEqual(self.lines_of("called"), ["compare"])

    def test_the_page_is_made_again_from_its_results(self):
        self.measure()
        first = self.page()
        (self.folder / "docs/performance.md").unlink()
        self.run_script("scripts/benchmark", "--page-from", "docs/performance.jsonl")
        self.assertEqual(self.page(), first)

    def test_what_became_worse_is_said(self):
        self.measure()
        kept, = self.folder.glob("store/*.jsonl")
        for name in "ab":
            shutil.copy(kept, self.folder / "store" / f"{name}.jsonl")
        self.let_info_take(112)
        result = self.measure()
        self.assertIn("worse: GET_INFO: 1.12, before 1 (", result.stdout)
        self.assertIn("held against 3 earlier runs of this machine\n", result.stdout)

    def test_a_damaged_earlier_run_ends_nothing(self):
        self.write("store/0.jsonl", "nonsense")
        result = self.measure()
        self.assertIn("left out: ", result.stdout)
        self.assertIn("held against 0 earlier runs", result.stdout)

    def test_results_that_cannot_be_read_leave_the_page_as_it_is(self):
        self.measure()
        before = self.page()
        self.write("bad.jsonl", "nonsense\n")
        self.assertEqual(self.run_script("scripts/benchmark", "--page-from", "bad.jsonl").returncode, 2)
        self.assertEqual(self.page(), before)
        json.loads(self.lines_of("docs/performance.jsonl")[0])


class Dependencies(unittest.TestCase):
    def test_what_figures_are_held_against_is_never_installed_for_running_or_testing(self):
        script = (ROOT / "scripts/install-dependencies").read_text(encoding="utf-8")
        self.assertEqual([line for line in script.splitlines() if "supervisor" in line and "compare)" not in line], [])
        self.assertEqual(subprocess.run([ROOT / "scripts/install-dependencies", "compared"], check=False,
                                        capture_output=True).returncode, 2)


if __name__ == "__main__":
    unittest.main()
