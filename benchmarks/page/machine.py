"""What there is to say of a run before it begins: the machine, the day, the commit, the build."""
import datetime
import hashlib
import os
import pathlib
import platform
import subprocess


def describe(build):
    processor, cores, memory_gb = _processor(), os.cpu_count(), _memory_gb()
    return {"machine": _identity(processor, cores, memory_gb), "processor": processor, "cores": cores,
            "memory_gb": memory_gb, "kernel": platform.release(),
            "debian": pathlib.Path("/etc/debian_version").read_text(encoding="utf-8").strip(),
            "date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"),
            "commit": _commit(), "build": _build_type(build), "load": round(os.getloadavg()[0], 1)}


# Without telling its name to whoever reads the results.
def _identity(processor, cores, memory_gb):
    own = _first_line("/etc/machine-id")
    return hashlib.sha256(f"{own} {processor} {cores} {memory_gb}".encode()).hexdigest()[:12]


def _processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def _memory_gb():
    kilobytes = int(_first_line("/proc/meminfo").split()[1])
    return round(kilobytes / 1024 ** 2)


def _commit():
    commit = _git("rev-parse", "--short=12", "HEAD")
    return f"{commit}, with changes" if _git("status", "--porcelain", "--untracked-files=no") else commit


def _git(*words):
    result = subprocess.run(["git", *words], capture_output=True, text=True, check=False)
    return result.stdout.strip() if result.returncode == 0 else "unknown"


def _build_type(build):
    for line in (pathlib.Path(build) / "CMakeCache.txt").read_text(encoding="utf-8").splitlines():
        if line.startswith("CMAKE_BUILD_TYPE:"):
            return line.split("=", 1)[1]
    return "unknown"


def _first_line(path):
    try:
        with open(path, encoding="utf-8") as file:
            return file.readline().strip()
    except OSError:
        return ""
