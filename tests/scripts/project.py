"""A project of stand-ins in a folder of its own."""
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]


class ProjectTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.environment = dict(os.environ, PATH=f"{self.folder}/bin:{os.environ['PATH']}",
                                XDG_CACHE_HOME=f"{self.folder}/cache")

    def write(self, path, text):
        path = self.folder / path
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def program(self, path, text):
        self.write(path, f"#!/bin/bash\n{text}\n")
        (self.folder / path).chmod(0o755)

    def take(self, path):
        """Puts a script of the real project there."""
        (self.folder / path).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / path, self.folder / path)

    def run_script(self, path, *arguments):
        return subprocess.run([self.folder / path, *arguments], cwd=self.folder, text=True, check=False,
                              env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def lines_of(self, path):
        path = self.folder / path
        return path.read_text().splitlines() if path.exists() else []
