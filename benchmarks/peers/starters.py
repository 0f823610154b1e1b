"""Ways to have a pipeline play, and to end it. Each has frames of its own: no late one is taken for another's."""
import http.client
import pathlib
import socket
import subprocess
import time
import uuid
import xmlrpc.client

import jobs

PATIENCE_S = 20


class Frames:
    """What a pipeline sends to a port of this process."""

    def __init__(self):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 0))

    @property
    def pipeline(self):
        return ("videotestsrc is-live=true ! video/x-raw,width=32,height=24,framerate=25/1 ! "
                f"udpsink host=127.0.0.1 port={self.socket.getsockname()[1]}")

    def forget(self):
        self.socket.setblocking(False)
        try:
            while True:
                self.socket.recv(1 << 16)
        except BlockingIOError:
            self.socket.settimeout(PATIENCE_S)

    def await_one(self):
        self.socket.recv(1 << 16)


def launch_line(frames):
    return ["gst-launch-1.0", "-q", *frames.pipeline.split()]


def eventually(holds, what):
    end = time.monotonic() + PATIENCE_S
    while not holds():
        if time.monotonic() > end:
            raise TimeoutError(what)
        time.sleep(0.01)


def run(*words):
    subprocess.run(words, check=True, stdout=subprocess.DEVNULL, timeout=PATIENCE_S)


class ByHand:
    def __init__(self):
        self.frames, self.process = Frames(), None

    def start(self):
        self.process = subprocess.Popen(launch_line(self.frames), stdout=subprocess.DEVNULL)

    def stop(self):
        self.process.terminate()
        self.process.wait(PATIENCE_S)


class JobByCall:
    def __init__(self, service):
        self.service, self.frames = service, Frames()
        self.id = self.endpoints = None

    def start(self):
        self.id = str(uuid.uuid4())
        self.endpoints = self.service.submit(self.id, self.frames.pipeline)

    def stop(self):
        asker = jobs.Asker(self.service.asker.socket.context, self.endpoints.first_job_endpoint)
        request = jobs.api_job.ApiToJobRequest(type=jobs.api_job.ApiToJobRequest.DESTROY)
        asker.ask(request, jobs.api_job.JobToApiReply())
        asker.socket.close()
        await_end(self.service, self.id)


class JobByCommand:
    def __init__(self, service):
        self.service, self.frames, self.id = service, Frames(), None

    def start(self):
        self.id = str(uuid.uuid4())
        run("tarnctl", "jobs", "submit", "--id", self.id, "--pipeline", self.frames.pipeline)

    def stop(self):
        run("tarnctl", "jobs", "stop", self.id)
        await_end(self.service, self.id)


def await_end(service, job):
    eventually(lambda: not service.lists(job), "the job does not end")


class TransientUnit:
    def __init__(self):
        self.frames, self.unit = Frames(), None

    def start(self):
        self.unit = f"benchmark-{uuid.uuid4()}.service"
        run("systemd-run", "--quiet", "--collect", "--unit", self.unit, *launch_line(self.frames))

    def stop(self):
        run("systemctl", "stop", self.unit)


class Supervised:
    def __init__(self, supervisor, frames):
        self.supervisor, self.frames = supervisor, frames

    def start(self):
        self.supervisor.call("supervisor.startProcess", "pipeline", False)

    def stop(self):
        self.supervisor.call("supervisor.stopProcess", "pipeline", True)


CONFIGURATION = """[unix_http_server]
file = {folder}/socket
chmod = 0700
[supervisord]
nodaemon = true
logfile = {folder}/log
pidfile = {folder}/pid
childlogdir = {folder}
[rpcinterface:supervisor]
supervisor.rpcinterface_factory = supervisor.rpcinterface:make_main_rpcinterface
[program:pipeline]
command = {command}
autostart = false
autorestart = false
startsecs = 0
"""


class UnixConnection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("localhost", timeout=PATIENCE_S)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self.path)


class Supervisor:
    """A supervisord of its own, whose one program plays the pipeline. Its socket lies in the folder."""

    def __init__(self, folder, frames):
        configuration = pathlib.Path(folder, "supervisord.conf")
        configuration.write_text(CONFIGURATION.format(folder=folder, command=" ".join(launch_line(frames))),
                                 encoding="utf-8")
        self.process = subprocess.Popen(["/usr/bin/supervisord", "-n", "-c", configuration],
                                        stdout=subprocess.DEVNULL)
        self.connection = UnixConnection(f"{folder}/socket")
        self.question = xmlrpc.client.dumps((), "supervisor.getState")

    def __enter__(self):
        eventually(self._answers, "supervisord does not answer")
        return self

    def __exit__(self, *_):
        self.connection.close()
        self.process.terminate()
        self.process.wait(PATIENCE_S)

    def state(self):
        self._ask(self.question)

    def call(self, method, *arguments):
        return xmlrpc.client.loads(self._ask(xmlrpc.client.dumps(arguments, method)))

    def _ask(self, body):
        self.connection.request("POST", "/RPC2", body, {"Content-Type": "text/xml", "Connection": "keep-alive"})
        response = self.connection.getresponse()
        answer = response.read()
        if response.status != 200:
            raise RuntimeError(f"supervisord answers {response.status}")
        return answer

    def _answers(self):
        try:
            self.state()
            return True
        except OSError:
            self.connection.close()
            return False
