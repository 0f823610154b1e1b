#!/usr/bin/env python3
"""scripts/check-hidden-names finds a name of one file that takes the place of a shared one."""
import subprocess
import unittest

from project import ROOT, ProjectTest

HEADER = """
namespace tarn::socket::test {

constexpr int patienceMs = 10000;
std::string receive(Socket& socket, std::uint32_t timeoutMs = patienceMs,
                    const std::map<int, std::string>& names = {});

}  // namespace tarn::socket::test
"""


def source(namespace, declaration):
    return f"namespace {namespace} {{\n\nnamespace {{\n\n{declaration}\n\n}}  // namespace\n\n}}  // namespace {namespace}\n"


class HiddenNames(ProjectTest):
    def setUp(self):
        super().setUp()
        self.take("scripts/check-hidden-names")
        self.write("support/Support.h", HEADER)

    def found(self, declaration, namespace="tarn::socket::test"):
        self.write("tests/ATest.cpp", source(namespace, declaration))
        result = self.run_script("scripts/check-hidden-names", self.folder)
        self.assertEqual(result.returncode, 1 if result.stdout else 0)
        return result.stdout

    def test_a_function_with_the_same_parameters(self):
        for declaration in (
                "std::string receive(Socket& s, uint32_t t, std::map<int, std::string> n) {",
                "std::vector<int> receive(socket::Socket& socket, const std::uint32_t ms,\n"
                "                         const std::map<int, std::string>&) {"):
            self.assertIn("tests/ATest.cpp:5: receive hides the one of support/Support.h",
                          self.found(declaration))

    def test_from_within_a_namespace_further_in(self):
        self.assertIn("hides", self.found("constexpr auto patienceMs = 5;", "tarn::socket::test::deep"))

    def test_a_constant(self):
        self.assertIn("patienceMs hides", self.found("const int patienceMs{5};"))

    def test_what_the_compiler_tells_apart_is_left_alone(self):
        for declaration in ("std::string receive(Socket& socket) {", "constexpr int patienceSeconds = 1;",
                            "std::string receive(Socket& s, std::string t, std::map<int, std::string> n) {"):
            self.assertEqual("", self.found(declaration))

    def test_another_namespace_is_left_alone(self):
        self.assertEqual("", self.found("constexpr int patienceMs = 5;", "tarn::cli"))

    def test_what_the_file_gives_to_others_is_no_hiding(self):
        self.write("tests/ATest.cpp", HEADER.replace(";", " {"))
        self.assertEqual(self.run_script("scripts/check-hidden-names", self.folder).returncode, 0)

    def test_the_code_hides_none(self):
        run = subprocess.run([ROOT / "scripts/check-hidden-names"], capture_output=True, text=True, timeout=30)
        self.assertEqual((run.stderr, run.returncode), ("", 0))


if __name__ == "__main__":
    unittest.main()
