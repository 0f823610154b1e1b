#!/usr/bin/env python3
"""What scripts/tidy looks at again, with a clang-tidy that finds the word BUG."""
import json
import unittest

from project import ProjectTest

CLANG_TIDY = """
[ "$1" != --version ] || { cat version; exit 0; }
file=${@: -1}
echo "$file" >>looked-at
if grep -H BUG "$file"; then exit 1; fi
"""


class Tidy(ProjectTest):
    def setUp(self):
        super().setUp()
        self.take("scripts/tidy")
        self.program("bin/clang-tidy", CLANG_TIDY)
        self.program("bin/dpkg-query", "cat packages")
        self.write("version", "14")
        self.write("packages", "libfmt-dev 9\n")
        self.write(".clang-tidy", "Checks: one\n")
        self.write("a.h", '#include "b.h"\n')
        self.write("b.h", "int b;\n")
        self.write("build/dev/generated/proto/m.pb.h", "int m;\n")
        self.write("a.cpp", '#include <vector>\n#include "a.h"\n#include "proto/m.pb.h"\n')
        self.write("other.cpp", "int c;\n")
        self.compiled_with("-O2")

    def compiled_with(self, options):
        self.write("build/dev/compile_commands.json", json.dumps(
            [{"directory": str(self.folder / "build/dev"), "file": str(self.folder / file),
              "command": f"c++ {options} -I{self.folder} -c {self.folder / file}"}
             for file in ("a.cpp", "other.cpp")]))

    def tidy(self):
        """The result, and what was looked at."""
        (self.folder / "looked-at").unlink(missing_ok=True)
        result = self.run_script("scripts/tidy", "a.cpp", "other.cpp")
        return result, sorted(self.lines_of("looked-at"))

    def looked_at(self):
        return self.tidy()[1]

    def test_what_was_found_well_is_not_looked_at_again(self):
        self.assertEqual(self.looked_at(), ["a.cpp", "other.cpp"])
        result, again = self.tidy()
        self.assertEqual((result.returncode, again), (0, []))
        self.assertIn("2 files, 2 of them unchanged", result.stdout)

    def test_a_finding_is_shown_and_looked_for_again(self):
        self.write("a.cpp", "BUG\n")
        for expected in (["a.cpp", "other.cpp"], ["a.cpp"]):
            result, looked_at = self.tidy()
            self.assertEqual((result.returncode, looked_at), (1, expected))
            self.assertIn("a.cpp:BUG", result.stdout)

    def test_what_has_changed_is_looked_at_again(self):
        changes = {
            "the source": ("other.cpp", "int d;\n", ["other.cpp"]),
            "a header of a header": ("b.h", "int d;\n", ["a.cpp"]),
            "a generated header": ("build/dev/generated/proto/m.pb.h", "int d;\n", ["a.cpp"]),
            "the checks": (".clang-tidy", "Checks: two\n", ["a.cpp", "other.cpp"]),
            "clang-tidy itself": ("version", "15", ["a.cpp", "other.cpp"]),
            "a package": ("packages", "libfmt-dev 10\n", ["a.cpp", "other.cpp"]),
        }
        self.looked_at()
        for name, (path, text, expected) in changes.items():
            with self.subTest(name):
                self.write(path, text)
                self.assertEqual(self.looked_at(), expected)
                self.assertEqual(self.looked_at(), [])

    def test_another_compile_command_is_looked_at_again(self):
        self.looked_at()
        self.compiled_with("-O3")
        self.assertEqual(self.looked_at(), ["a.cpp", "other.cpp"])

    def test_a_source_that_is_not_compiled_is_always_looked_at(self):
        self.write("build/dev/compile_commands.json", "[]")
        self.looked_at()
        self.assertEqual(self.looked_at(), ["a.cpp", "other.cpp"])

    def test_what_is_precompiled_is_left_to_the_compiler(self):
        self.compiled_with("-Winvalid-pch -include /x/CMakeFiles/cli.dir/cmake_pch.hxx")
        self.looked_at()
        commands = "\n".join(self.lines_of("build/dev/tidy/compile_commands.json"))
        self.assertNotIn("pch", commands)
        self.assertIn("-c ", commands)


if __name__ == "__main__":
    unittest.main()
