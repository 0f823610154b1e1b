#!/usr/bin/env python3
"""That the programs are built against exploits: readelf looks at each of them, and one that overruns
on purpose is ended by what was compiled into it."""

import argparse
import re
import signal
import subprocess
import sys
import unittest
from pathlib import Path

OPTIONS = None


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def programs():
    names = {line.split()[0] for line in OPTIONS.programs.read_text().splitlines() if line.strip()}
    return [OPTIONS.folder / name for name in sorted(names)]


class Programs(unittest.TestCase):
    def each(self, check):
        for program in programs():
            with self.subTest(program.name):
                self.assertTrue(program.exists(), "is not built")
                check(str(program))

    def test_that_each_is_loaded_anywhere(self):
        def check(program):
            self.assertIn("DYN (Position-Independent Executable", output("readelf", "-hW", program))
        self.each(check)

    def test_that_what_the_loader_has_settled_is_read_only(self):
        def check(program):
            self.assertIn("GNU_RELRO", output("readelf", "-lW", program))
            dynamic = output("readelf", "-dW", program)
            self.assertRegex(dynamic, r"\(FLAGS\)\s+.*BIND_NOW")
            self.assertRegex(dynamic, r"\(FLAGS_1\)\s+.*NOW.*PIE")
        self.each(check)

    def test_that_no_stack_holds_code(self):
        def check(program):
            stack = re.search(r"GNU_STACK.*", output("readelf", "-lW", program))
            self.assertIsNotNone(stack)
            self.assertNotIn("RWE", stack.group())
        self.each(check)

    def test_that_no_page_is_written_and_executed(self):
        def check(program):
            for line in output("readelf", "-lW", program).splitlines():
                self.assertFalse(line.split()[:1] == ["LOAD"] and "RWE" in line, line)
        self.each(check)

    def test_that_the_stack_and_copies_are_watched(self):
        def check(program):
            symbols = output("readelf", "--dyn-syms", "-W", program)
            self.assertIn("__stack_chk_fail", symbols)
            self.assertRegex(symbols, r"__mem(cpy|move|set)_chk|__(v?sn?|f)printf_chk|__read_chk")
        self.each(check)

    def test_that_calls_land_where_they_may(self):
        def check(program):
            code = output("objdump", "-d", "--no-show-raw-insn", "--disassemble=main", program)
            self.assertRegex(code, r"<main>:\n\s*[0-9a-f]+:\s+endbr64")
        self.each(check)

    def test_that_no_search_path_is_built_in(self):
        def check(program):
            for entry in re.findall(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]",
                                    output("readelf", "-dW", program)):
                self.assertNotIn("", entry.split(":"), "looks in the current folder")
        self.each(check)


class Overrun(unittest.TestCase):
    def run_it(self, *arguments):
        return subprocess.run([OPTIONS.overrun, *arguments], capture_output=True, text=True)

    def test_that_what_stays_within_bounds_goes_on(self):
        for what in ("stack", "copy"):
            self.assertEqual(self.run_it(what, "16").returncode, 0)

    def test_that_an_overrun_of_the_stack_ends_the_program(self):
        ended = self.run_it("stack", "200")
        self.assertEqual(ended.returncode, -signal.SIGABRT)
        self.assertIn("stack smashing detected", ended.stderr)

    def test_that_an_overrun_of_a_copy_ends_the_program(self):
        ended = self.run_it("copy", "200")
        self.assertEqual(ended.returncode, -signal.SIGABRT)
        self.assertIn("buffer overflow detected", ended.stderr)

    def test_that_a_stack_that_grows_is_touched_page_by_page(self):
        code = output("objdump", "-d", "--no-show-raw-insn", "-C", str(OPTIONS.overrun))
        grow = code.split("growStack(unsigned long)>:", 1)[1].split("\n\n", 1)[0]
        self.assertRegex(grow, r"sub\s+\$0x1000,%rsp")
        self.assertRegex(grow, r"orq\s+\$0x0,")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--programs", type=Path, required=True)
    parser.add_argument("--folder", type=Path, required=True)
    parser.add_argument("--overrun", type=Path, required=True)
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=sys.argv[:1] + rest)
