"""orloctl, as people and scripts run it against an agent of the lab, and the same socket without it."""

import json
import os
import socket
import subprocess

from agent import PROGRAM
from lab import LabError, Process, Timeout

CTL = os.environ.get('ORLOCTL') or os.path.join(os.path.dirname(os.path.dirname(PROGRAM)), 'ctl/orloctl')


class Orloctl:
    """Asks one agent. The socket is a file: the program need not run on the switch."""

    def __init__(self, path):
        if not os.access(CTL, os.X_OK):
            raise LabError(f'there is no {CTL}: build it first, or set ORLOCTL')
        self._path = path
        self._following = []

    def run(self, *words):
        """Runs it to its end; returns the exit status, its output and its errors."""
        command = [CTL, '--socket', self._path, *map(str, words)]
        try:
            done = subprocess.run(command, capture_output=True, text=True, timeout=10, stdin=subprocess.DEVNULL,
                                  check=False)
        except subprocess.TimeoutExpired:
            raise Timeout(f'{" ".join(command)} goes on and on') from None
        return done.returncode, done.stdout, done.stderr

    def text(self, *words):
        """The answer for people."""
        status, output, errors = self.run(*words)
        assert (status, errors) == (0, ''), f'orloctl {words} has ended with {status}: {errors}'
        return output

    def json(self, *words):
        """The answer for programs."""
        answer = json.loads(self.text('--json', *words))
        assert answer.pop('schema') == 1, answer
        return answer

    def fails(self, status, *words):
        """It ends with this status, and says why in one line; returns that."""
        ended, output, errors = self.run(*words)
        assert (ended, output) == (status, ''), f'orloctl {words} has ended with {ended}: {output}{errors}'
        assert errors.startswith('orloctl: ') and errors.count('\n') == 1, errors
        return errors.removeprefix('orloctl: ').rstrip('\n')

    def follow(self, *words):
        """Starts a command that goes on, with its answers as JSON."""
        process = Process(f'orloctl {" ".join(words)}', [CTL, '--socket', self._path, '--json', *words])
        self._following.append(process)
        return process

    def close(self):
        for process in self._following:
            process.release()


class Client:
    """A connection to the control socket, for what orloctl would never send."""

    def __init__(self, path, timeout=10.0):
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.socket.settimeout(timeout)
        self.socket.connect(path)
        self._buffer = b''

    def send(self, data):
        self.socket.sendall(data)

    def request(self, command, **arguments):
        self.send(json.dumps({'schema': 1, 'id': 1, 'command': command, 'arguments': arguments}).encode() + b'\n')

    def line(self):
        """The next line, read as JSON; None when the agent has closed the connection."""
        while b'\n' not in self._buffer:
            try:
                came = self.socket.recv(65536)
            except ConnectionResetError:
                came = b''
            if not came:
                return None
            self._buffer += came
        text, _, self._buffer = self._buffer.partition(b'\n')
        return json.loads(text)

    def ask(self, command, **arguments):
        """The result of a command with all its rows."""
        self.request(command, **arguments)
        rows = []
        while (line := self.line()) is not None:
            rows += line.get('rows', [])
            if 'result' in line:
                result = line['result']
                if name := result.pop('rowsName', None):
                    result[name] = rows
                return result
            assert 'rows' in line, line
        raise AssertionError(f'the agent has closed the connection instead of answering {command}')

    def close(self):
        self.socket.close()
