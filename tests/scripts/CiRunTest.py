#!/usr/bin/env python3
"""What .ci/run makes of its steps, each of which notes that it was called."""
import unittest

from project import ProjectTest

ONE_PASSED = "1/1 Test #1: a.Test ...   Passed    0.01 sec"


def failed_once(number):
    return (f"{number}/9 Test #{number}: a.Test{number} ...***Failed    0.01 sec\n"
            f"    Test #{number}: a.Test{number} ...   Passed    0.01 sec")


class CiRun(ProjectTest):
    def setUp(self):
        super().setUp()
        self.take(".ci/run")
        for script in ("install-dependencies", "build", "lint", "machine-test"):
            self.step(script, "")
        self.let_tests_say(ONE_PASSED)

    def step(self, script, then):
        self.program(f"scripts/{script}", f'echo "{script} $*" >>called\n{then}')

    def let_tests_say(self, output, then=""):
        self.write("output", output + "\n")
        self.step("test", f"cat output\n{then}")

    def run_ci(self):
        return self.run_script(".ci/run")

    def test_every_preset_is_built_before_it_is_tested(self):
        result = self.run_ci()
        self.assertEqual(result.returncode, 0, result.stdout)
        called = [line.split(" --repeat")[0] for line in self.lines_of("called")]
        for preset in ("dev", "asan-ubsan", "tsan"):
            self.assertLess(called.index(f"build {preset}"), called.index(f"test {preset}"))
        self.assertIn("lint --product", called)

    def test_the_time_of_each_step_is_printed_at_the_end(self):
        table = self.run_ci().stdout.split("== Times\n")[1]
        for step in ("install-dependencies", "build dev", "build tsan", "lint --product", "test asan-ubsan"):
            self.assertRegex(table, rf"\d+ s from +\d+ s on  {step}\n")

    def test_a_step_beside_the_tests_that_fails_fails_the_run_and_is_shown(self):
        self.step("lint", 'echo "a finding"; exit 1')
        result = self.run_ci()
        self.assertEqual(result.returncode, 1)
        self.assertIn("a finding\n== Failed: lint --product\n", result.stdout)
        self.assertNotIn("All passed", result.stdout)

    def test_tests_that_fail_fail_the_run_at_once(self):
        self.let_tests_say(ONE_PASSED, "exit 8")
        result = self.run_ci()
        self.assertEqual(result.returncode, 8)
        self.assertNotIn("test asan-ubsan", "\n".join(self.lines_of("called")))
        self.assertIn("== Times\n", result.stdout)

    def test_second_tries_are_counted_by_preset(self):
        self.let_tests_say(failed_once(1))
        result = self.run_ci()
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertIn("== Tests that needed a second try: 3\ntest asan-ubsan: a.Test1\n", result.stdout)

    def test_more_than_three_second_tries_under_dev_fail_the_run(self):
        self.let_tests_say("\n".join(failed_once(number) for number in range(1, 5)))
        result = self.run_ci()
        self.assertEqual(result.returncode, 1)
        self.assertIn("== Failed: more than 3 under dev\n", result.stdout)

    def test_sanitizers_have_a_limit_of_their_own(self):
        self.step("test", 'case "$1" in dev) ;; *) for i in 1 2 3 4 5 6 7; do echo "1/9 Test #$i: a.Test$i ...***Failed 1 sec"; done ;; esac')
        result = self.run_ci()
        self.assertEqual(result.returncode, 1)
        self.assertIn("needed a second try: 14\n", result.stdout)
        self.assertIn("== Failed: more than 12 under sanitizers\n", result.stdout)

    def test_a_test_that_is_skipped_needed_no_second_try(self):
        self.let_tests_say("1/1 Test #1: a.Test ...***Skipped   0.01 sec")
        self.assertIn("needed a second try: 0\n", self.run_ci().stdout)

    def test_a_test_that_timed_out_or_crashed_needed_one(self):
        self.let_tests_say("1/2 Test #1: a.Test ...***Timeout   0.01 sec\n"
                       "    Test #2: b.Test/0 ...***Exception: SegFault   0.01 sec")
        self.assertIn("needed a second try: 6\n", self.run_ci().stdout)


if __name__ == "__main__":
    unittest.main()
