"""Runs commands as a second, malicious user of the computer."""

import json
import os
import pwd
import subprocess

NAME = "daemon"  # exists on every Debian system
_ENVIRONMENT = {"PATH": "/usr/bin:/bin", "LANG": "C.UTF-8"}

_agent = None  # streams from and to the process that runs commands as the other user


def start():
    """Starts the process that runs commands as the other user. Requires the capability to change
    the user. Without it, available() returns False."""
    global _agent
    requests, answers = os.pipe(), os.pipe()
    if os.fork() == 0:
        os.close(requests[1])
        os.close(answers[0])
        _serve(os.fdopen(requests[0]), os.fdopen(answers[1], "w"))
    os.close(requests[0])
    os.close(answers[1])
    streams = os.fdopen(answers[0]), os.fdopen(requests[1], "w")
    if streams[0].readline():
        _agent = streams
    else:
        _close(streams)


def stop():
    """Ends the process that start() started."""
    if _agent is not None:
        _close(_agent)


def _close(streams):
    for stream in streams:
        stream.close()


def available():
    """Returns whether commands can be run as the other user."""
    return _agent is not None


def run(script):
    """Runs a shell script as the other user. Expects exit status 0. Returns its output. Processes
    that the script starts in the background keep running."""
    status, output = _run(script)
    if status != 0:
        raise AssertionError(f"status {status} as {NAME}: {script}\n{output}")
    return output.strip()


def succeeds(script):
    """Runs a shell script as the other user. Returns whether its exit status is 0."""
    return _run(script)[0] == 0


def _run(script):
    answers, requests = _agent
    print(json.dumps(script), file=requests, flush=True)
    return json.loads(answers.readline())


def _serve(requests, answers):
    try:
        user = pwd.getpwnam(NAME)
        os.setgroups([])
        os.setgid(user.pw_gid)
        os.setuid(user.pw_uid)
        os.setsid()
        os.umask(0o022)
        os.chdir("/")
        print("ready", file=answers, flush=True)
        for line in requests:
            # The output goes to a file, because a background process would keep a pipe open.
            with os.fdopen(os.memfd_create("output"), "r+b") as output:
                done = subprocess.run(["sh", "-ec", json.loads(line)], env=_ENVIRONMENT,
                                      stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                      check=False)
                output.seek(0)
                text = output.read().decode(errors="replace")
            print(json.dumps([done.returncode, text]), file=answers, flush=True)
    finally:
        os._exit(0)
