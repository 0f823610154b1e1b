#!/usr/bin/env python3
"""A device of the monitoring protocol: shows up in the server's tree, and counts.

usage: device.py ENDPOINT [NAME]

The service has to know the endpoint (ProtocolDevices in its configuration). This device names no
endpoint for events of its own, so the service asks for its description once a second.
"""

import signal
import sys
from pathlib import Path

import zmq
from google.protobuf.message import DecodeError

from proto import monitoring_pb2 as monitoring

Request = monitoring.TarnServiceToDeviceRequest


class Counter:
    def __init__(self, name):
        self.name, self.count = name, 0

    def description(self):
        self.count += 1
        node = monitoring.DeviceNode(id=self.name, name=self.name)
        node.global_status.level = monitoring.GlobalStatus.OK
        status = node.statuses.add(name="Asked", type=monitoring.NamedStatus.UNSIGNED)
        status.unsigned_value = self.count
        return node


def answer_to(request, device):
    reply = monitoring.DeviceToTarnServiceReply(type=request.type, success=True)
    if request.type == Request.GET_DESCRIPTION:
        description = reply.Extensions[monitoring.GetDescriptionReply.base]
        description.device.CopyFrom(device.description())
    return reply


def is_stop(request):
    return (request.type == Request.CONTROL and
            request.Extensions[monitoring.ControlRequest.base].command ==
            monitoring.ControlRequest.STOP)


def serve(socket, device):
    request = Request()
    while not is_stop(request):
        try:
            request.ParseFromString(socket.recv())
        except DecodeError:  # without an answer, none would be asked any more
            socket.send(b"")
            continue
        socket.send(answer_to(request, device).SerializeToString())


def remove_file_of(endpoint):
    """The library leaves it behind."""
    if endpoint.startswith("ipc://"):
        Path(endpoint[len("ipc://"):]).unlink(missing_ok=True)


def main():
    if len(sys.argv) not in (2, 3):
        print("usage: device.py ENDPOINT [NAME]", file=sys.stderr)
        return 2
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    signal.signal(signal.SIGINT, lambda *_: sys.exit(0))
    device = Counter(sys.argv[2] if len(sys.argv) == 3 else "counter")
    try:
        with zmq.Context() as context, context.socket(zmq.REP) as socket:
            socket.setsockopt(zmq.LINGER, 0)
            socket.setsockopt(zmq.MAXMSGSIZE, 1 << 20)
            socket.bind(sys.argv[1])
            serve(socket, device)
    finally:
        remove_file_of(sys.argv[1])
    return 0


if __name__ == "__main__":
    sys.exit(main())
