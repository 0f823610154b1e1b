#!/usr/bin/env python3
"""Runs a media job on the server and follows it to its end: a whole client of the protocols.

usage: jobs.py [--requests ENDPOINT] PIPELINE

Needs the messages compiled for Python, on the module path:
    protoc --proto_path=FOLDER_OF_PROTO --python_out=. proto/*.proto

Ctrl-C ends the job in order. Exit status: 0 the job reached its end, or was ended as asked; 1 it was
refused, failed or crashed; 3 the server does not answer.
"""

import argparse
import signal
import sys
import time
import uuid

import zmq

from proto import api_job_pb2 as api_job
from proto import api_service_pb2 as api
from proto import job_monitoring_pb2 as monitoring

PATIENCE_MS = 5000
QUIET_S = 3


class NoAnswer(Exception):
    pass


class Asker:
    """The asking side of an endpoint. Usable again after a question that was not answered."""

    def __init__(self, context, endpoint):
        self.endpoint = endpoint
        self.socket = context.socket(zmq.REQ)
        # After a time-out, ask again; and never take a late answer for the next one's.
        self.socket.setsockopt(zmq.REQ_RELAXED, 1)
        self.socket.setsockopt(zmq.REQ_CORRELATE, 1)
        self.socket.setsockopt(zmq.LINGER, 0)
        self.socket.setsockopt(zmq.RCVTIMEO, PATIENCE_MS)
        self.socket.setsockopt(zmq.SNDTIMEO, PATIENCE_MS)
        self.socket.connect(endpoint)

    def ask(self, request, reply):
        try:
            self.socket.send(request.SerializeToString())
            reply.ParseFromString(self.socket.recv())
        except zmq.Again:
            raise NoAnswer(f"no answer from {self.endpoint}") from None
        return reply


class Service:
    def __init__(self, context, endpoint):
        self.asker = Asker(context, endpoint)

    def ask(self, request):
        reply = self.asker.ask(request, api.ServiceToApiReply())
        if not reply.success:
            raise RuntimeError(reply.error_message)
        return reply

    def info(self):
        request = api.ApiToServiceRequest(type=api.ApiToServiceRequest.GET_INFO)
        return self.ask(request).Extensions[api.ServiceToApiReplyInfo.base]

    def submit(self, job_id, pipeline):
        """Answered before the job is launched: what becomes of it, its events tell."""
        request = api.ApiToServiceRequest(type=api.ApiToServiceRequest.JOB_SUBMISSION)
        submission = request.Extensions[api.ApiToServiceRequestJobSubmission.base]
        submission.job_description.name = "example"
        submission.job_description.job_id = job_id
        submission.job_configuration = pipeline
        return self.ask(request).Extensions[api.ServiceToApiReplyJobSubmission.base]

    def lists(self, job_id):
        request = api.ApiToServiceRequest(type=api.ApiToServiceRequest.GET_JOB_BY_UUID)
        request.Extensions[api.ApiToServiceRequestGetJobByUuid.base].uuid = job_id
        found = self.ask(request).Extensions[api.ServiceToApiReplyGetJobByUuid.base]
        return found.HasField("running_job")


class Job:
    def __init__(self, context, service, job_id, endpoints):
        self.service, self.id = service, job_id
        self.commands = Asker(context, endpoints.first_job_endpoint)
        # The endpoint is there in a moment; the library goes on trying.
        self.events = context.socket(zmq.SUB)
        self.events.setsockopt(zmq.LINGER, 0)
        self.events.setsockopt(zmq.RECONNECT_IVL, 10)
        self.events.setsockopt(zmq.SUBSCRIBE, b"")
        self.events.connect(endpoints.second_job_endpoint)

    def destroy(self):
        request = api_job.ApiToJobRequest(type=api_job.ApiToJobRequest.DESTROY)
        request.Extensions[api_job.ApiToJobRequestDestroy.base].destroy_option = True
        self.commands.ask(request, api_job.JobToApiReply())

    def follow(self, interrupted):
        """Prints what the job says, and returns the last of it; None for one that left no word."""
        heard = time.monotonic()
        while True:
            if interrupted():
                self.destroy()
            if self.events.poll(200):
                event = monitoring.JobEvent.FromString(self.events.recv())
                heard = time.monotonic()
                if event.type == monitoring.JobEvent.END:
                    return event.Extensions[monitoring.JobEventEnd.base]
                print(text_of(event), flush=True)
            # Progress comes once a second. A job that is silent and not listed is no more.
            elif time.monotonic() - heard > QUIET_S:
                if not self.service.lists(self.id):
                    return None
                heard = time.monotonic()


def text_of(event):
    if event.type == monitoring.JobEvent.STATE:
        state = event.Extensions[monitoring.JobEventState.base].state
        return "state: " + monitoring.JobState.Name(state)
    if event.type == monitoring.JobEvent.PROGRESS:
        progress = event.Extensions[monitoring.JobEventProgress.base]
        return f"at {progress.position_ns / 1e9:.1f} s"
    if event.type == monitoring.JobEvent.FAILURE:
        return "failure: " + event.Extensions[monitoring.JobEventFailure.base].message
    return "an event that this client does not know"


def run(arguments):
    interrupts = []
    signal.signal(signal.SIGINT, lambda *_: interrupts.append(True))
    context = zmq.Context()
    service = Service(context, arguments.requests)
    info = service.info()
    print(f"{info.service_name} {info.version}", flush=True)
    job_id = str(uuid.uuid4())
    job = Job(context, service, job_id, service.submit(job_id, arguments.pipeline))
    end = job.follow(lambda: bool(interrupts) and interrupts.pop())
    if end is None:
        print("the job is gone and left no word", file=sys.stderr)
        return 1
    print("end: " + monitoring.JobEventEnd.Reason.Name(end.reason), end.message, flush=True)
    asked = (monitoring.JobEventEnd.END_OF_STREAM, monitoring.JobEventEnd.DESTROYED)
    return 0 if end.reason in asked else 1


def main():
    parser = argparse.ArgumentParser(description="Runs a media job and follows it to its end.")
    parser.add_argument("--requests", default="ipc:///tmp/requests")
    parser.add_argument("pipeline")
    try:
        return run(parser.parse_args())
    except NoAnswer as failure:
        print(failure, file=sys.stderr)
        return 3
    except RuntimeError as refusal:
        print(refusal, file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
