"""Two switches in private network namespaces, for the system tests and the demo.

    with Lab() as lab:
        left, right = lab.pair()
        left.ip('link add ...')
        agent = Agent(left)
        ...

A lab leaves nothing behind, however its process ends: each of its namespaces is kept by a small process that waits at
a pipe, and when the pipe closes, because the lab was closed or its process died, it kills what still runs in the
namespace and deletes its files. Namespaces have no names, so any number of labs can run at once.
"""

import json
import os
import signal
import subprocess
import tempfile
import threading
import time

PYTHON = '/usr/bin/python3'

# An IPv6 address can be used at once when the kernel does not first look for a duplicate of it, and a test is quiet
# when a new link is not answered with router solicitations.
QUIET_IPV6 = {
    'net/ipv6/conf/default/accept_dad': 0,
    'net/ipv6/conf/default/dad_transmits': 0,
    'net/ipv6/conf/default/router_solicitations': 0,
    'net/ipv6/conf/all/accept_dad': 0,
}

KEEPER = r'''
import os, pathlib, shutil, signal, sys, time

directory, outside = sys.argv[1:]
own = os.readlink('/proc/self/ns/net')
if own == outside:
    sys.exit('still in the network namespace of the lab itself')


def others():
    for process in pathlib.Path('/proc').glob('[0-9]*'):
        try:
            if int(process.name) != os.getpid() and os.readlink(process / 'ns/net') == own:
                yield int(process.name)
        except OSError:
            pass


print('ready', flush=True)
sys.stdin.read()
deadline = time.monotonic() + 5
while time.monotonic() < deadline and (found := list(others())):
    for pid in found:
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    time.sleep(0.005)
shutil.rmtree(directory, ignore_errors=True)
try:
    os.rmdir(os.path.dirname(directory))
except OSError:
    pass
'''


class LabError(Exception):
    """The lab itself could not be built: nothing is said about the agent."""


class Timeout(AssertionError):
    """What was waited for did not happen."""


def wait_until(condition, what, timeout=5.0, explain=None, every=0.01):
    """Calls condition until it returns something true, and returns that.

    When the time is over it raises Timeout, which says what was waited for and what explain() has to add.
    """
    deadline = time.monotonic() + timeout
    while True:
        late = time.monotonic() >= deadline
        value = condition()
        if value:
            return value
        if late:
            more = '' if explain is None else '\n' + explain()
            raise Timeout(f'after {timeout:g} s still not: {what}{more}')
        time.sleep(every)


def need(program, package):
    """The path of a program that the set-up installs; a LabError that names its package when it is not there."""
    for folder in ('/usr/sbin', '/usr/bin', '/sbin', '/bin', '/usr/lib/frr'):
        path = os.path.join(folder, program)
        if os.access(path, os.X_OK):
            return path
    raise LabError(f'there is no {program}: install the package {package} (scripts/setup does)')


class Process:
    """A program that was started: its lines are collected as they come, with the time of each."""

    def __init__(self, name, command, on_line=None, ignore=None, stdin=subprocess.DEVNULL):
        self.name = name
        self._on_line = on_line
        self._ignore = ignore
        self._lines = []
        self._arrived = threading.Condition()
        # A session of its own: the Ctrl-C of a terminal is for the lab, which ends its processes in order.
        self._popen = subprocess.Popen(command, stdin=stdin, stdout=subprocess.PIPE,
                                       stderr=subprocess.STDOUT, text=True, errors='replace', start_new_session=True)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self._popen.stdout:
            line = line.rstrip('\n')
            if self._ignore is not None and self._ignore in line:
                continue
            if self._on_line is not None:
                self._on_line(line)
            with self._arrived:
                self._lines.append(line)
                self._arrived.notify_all()
        self._popen.stdout.close()

    @property
    def pid(self):
        return self._popen.pid

    @property
    def returncode(self):
        return self._popen.poll()

    def running(self):
        return self._popen.poll() is None

    def lines(self, begin=0):
        with self._arrived:
            return self._lines[begin:]

    def wait_line(self, condition, what, timeout=5.0, begin=0):
        """Waits for a line, the begin-th or a later one, for which condition is true, and returns its position."""
        deadline = time.monotonic() + timeout
        position = begin
        while True:
            alive = self._reader.is_alive()
            with self._arrived:
                for position in range(position, len(self._lines)):
                    if condition(self._lines[position]):
                        return position
                position = len(self._lines)
                left = deadline - time.monotonic()
                if left > 0 and alive:
                    self._arrived.wait(min(left, 0.05))
                    continue
            state = 'still runs' if self.running() else f'has ended with {self.returncode}'
            raise Timeout(f'{self.name} {state} and has not printed {what} within {timeout:g} s\n{self.report()}')

    def report(self, begin=0, last=60):
        lines = self.lines(begin)[-last:]
        return '\n'.join([f'--- {self.name} has printed:', *(f'    {line}' for line in lines or ['nothing'])])

    def write(self, text):
        """Gives it input, when it was started with a pipe for that."""
        self._popen.stdin.write(text)
        self._popen.stdin.flush()

    def send(self, number):
        if self.running():
            os.kill(self.pid, number)

    def wait(self, timeout=5.0):
        try:
            self._popen.wait(timeout)
        except subprocess.TimeoutExpired:
            raise Timeout(f'{self.name} has not ended within {timeout:g} s\n{self.report()}') from None
        self._reader.join(1.0)
        return self._popen.returncode

    def stop(self, number=signal.SIGTERM, timeout=5.0):
        """Sends a signal and waits for the end; returns the exit status."""
        self.send(number)
        return self.wait(timeout)

    def release(self):
        """Makes sure that it is gone and leaves no zombie."""
        if self.running():
            self._popen.kill()
        self._popen.wait()
        if self._popen.stdin is not None:
            self._popen.stdin.close()
        self._reader.join(1.0)


class Namespace:
    """A network namespace with a folder for files, and the programs that run in it."""

    def __init__(self, lab, name):
        self.lab = lab
        self.name = name
        self.directory = os.path.join(lab.directory, name)
        os.mkdir(self.directory)
        os.chmod(self.directory, 0o755)
        self.processes = []
        self._keeper = subprocess.Popen(
            [need('unshare', 'util-linux'), '--net', '--', PYTHON, '-I', '-S', '-c', KEEPER, self.directory,
             os.readlink('/proc/self/ns/net')],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True)
        if self._keeper.stdout.readline() != 'ready\n':
            reason = self._keeper.stderr.read().strip()
            self._keeper.wait()
            raise LabError(f'no network namespace could be made: {reason}')
        self.sysctl(QUIET_IPV6, f'{need("ip", "iproute2")} link set lo up\n')

    @property
    def pid(self):
        """The process that keeps the namespace: nsenter -t PID -n looks into it."""
        return self._keeper.pid

    def path(self, name):
        return os.path.join(self.directory, name)

    def write(self, name, text):
        path = self.path(name)
        with open(path, 'w', encoding='utf-8') as out:
            out.write(text)
        return path

    def command(self, *arguments):
        return [need('nsenter', 'util-linux'), f'--net=/proc/{self.pid}/ns/net', '--', *map(str, arguments)]

    def start(self, *arguments, on_line=None, ignore=None):
        """Starts a program; on_line is called with each line that it prints, lines with ignore in them are dropped."""
        process = Process(f'{os.path.basename(arguments[0])} on {self.name}', self.command(*arguments), on_line, ignore)
        self.processes.append(process)
        return process

    def run(self, *arguments, text=None):
        """Runs a program to its end and returns what it printed; a LabError when it fails."""
        done = subprocess.run(self.command(*arguments), input=text, capture_output=True, text=True, timeout=30,
                              check=False)
        if done.returncode != 0:
            asked = ' '.join(map(str, arguments)) + (f'\n{text}' if text else '')
            raise LabError(f'in {self.name}: {asked}\nended with {done.returncode}: {done.stderr.strip()}')
        return done.stdout

    def ip(self, *lines):
        """Runs lines of ip commands in one process."""
        self.run(need('ip', 'iproute2'), '-batch', '-', text='\n'.join(lines) + '\n')

    def show(self, device):
        """What the kernel says of a device and its addresses, or None when there is no such device."""
        done = subprocess.run(self.command(need('ip', 'iproute2'), '-j', '-d', 'addr', 'show', 'dev', device),
                              capture_output=True, text=True, timeout=30, check=False)
        found = [link for link in json.loads(done.stdout or '[]') if link]
        return found[0] if done.returncode == 0 and found else None

    def sysctl(self, settings, then=''):
        """Makes settings below /proc/sys, and runs more lines of a shell script."""
        script = ''.join(f'echo {value} > /proc/sys/{name}\n' for name, value in settings.items())
        self.run('/bin/sh', '-e', text=script + then)

    def close(self):
        if self._keeper is None:
            return
        self._keeper.stdin.close()
        try:
            self._keeper.wait(10)
        except subprocess.TimeoutExpired:
            self._keeper.kill()
            self._keeper.wait()
        self._keeper.stdout.close()
        self._keeper.stderr.close()
        self._keeper = None
        for process in self.processes:
            process.release()


class Switch(Namespace):
    """A switch: bridges that serve as SVIs, two ports in each. This works on kernels without 802.1Q as well: an SVI is
    to the agent any device that its configuration names."""

    def svi(self, name, *addresses):
        """Makes an SVI with a port of its own, port-NAME, whose far end is up: the SVI has carrier."""
        self.ip(f'link add {name} type bridge stp_state 0 forward_delay 0 mcast_snooping 0',
                f'link add port-{name} type veth peer name host-{name}',
                f'link set host-{name} up',
                f'link set port-{name} master {name} up',
                f'link set {name} up',
                *(f'addr add {address} dev {name} {"nodad" if ":" in address else ""}' for address in addresses))

    def router(self, vrid, svi='br10', name=None, up=True):
        """Makes the device of a virtual router by hand, with an address and no daemon behind it. Returns its name."""
        name = name or f'vr.{vrid}'
        self.ip(f'link add {name} link {svi} address 00:00:5e:00:01:{vrid:02x} type macvlan mode private',
                f'addr add 192.0.2.{vrid}/32 dev {name}',
                *([f'link set {name} up'] if up else []))
        return name

    def carrier(self, name, on):
        """Gives the SVI carrier, or takes it away, and waits until the kernel has told everybody: up to a second."""
        ports = [link['ifname'] for link in json.loads(self.run('ip', '-j', 'link', 'show', 'master', name))]
        self.ip(*(f'link set {port} {"up" if on else "down"}' for port in ports))
        wait_until(lambda: self.show(name)['operstate'] == ('UP' if on else 'DOWN'),
                   f'{name} on {self.name} has {"carrier" if on else "no carrier"}')

    def forwards(self, port):
        return self.show(port)['linkinfo']['info_slave_data']['state'] == 'forwarding'

    def publishes(self, device, lower='br10'):
        """Whether the device is one that routes for its MAC, by what the kernel says of it: it is up, with carrier, not
        protocol-down, and has an address other than the link-local one of the device below it."""
        link = self.show(device)
        if link is None or not {'UP', 'LOWER_UP'} <= set(link['flags']) or link.get('proto_down'):
            return False
        below = {entry['local'] for entry in self.show(lower)['addr_info'] if entry.get('scope') == 'link'}
        return any(entry['local'] not in below for entry in link['addr_info'])

    def wait_published(self, device, expected=True, timeout=5.0):
        wait_until(lambda: self.publishes(device) == expected,
                   f'{device} on {self.name} {"routes" if expected else "does not route"}', timeout,
                   lambda: f'{json.dumps(self.show(device))}\n{self.report()}')

    def report(self):
        return '\n'.join(process.report() for process in self.processes)


class Lab:
    """Two switches, left and right, and everything in them."""

    def __init__(self):
        self.namespaces = []
        self.directory = tempfile.mkdtemp(prefix='orlo-lab-')
        os.chmod(self.directory, 0o755)

    def namespace(self, name, kind=Namespace):
        made = kind(self, name)
        self.namespaces.append(made)
        return made

    def switch(self, name):
        return self.namespace(name, Switch)

    def pair(self, svi='br10', left='10.0.10.1/24', right='10.0.10.2/24'):
        """Two switches with an SVI each, joined by a link."""
        one, two = self.switch('left'), self.switch('right')
        one.svi(svi, left)
        two.svi(svi, right)
        self.join(one, two, svi)
        return one, two

    def join(self, one, two, svi, index=1001):
        # The kernel reports the carrier of a veth at once only when its two ends differ in their index: otherwise the
        # bridge leaves the port closed for up to a second.
        one.ip(f'link add link-{svi} index {index} type veth peer name link-{svi} index {index + 1} netns {two.pid}')
        for switch in (one, two):
            switch.ip(f'link set link-{svi} master {svi} up')
        for switch in (one, two):
            wait_until(lambda: switch.forwards(f'link-{svi}'), f'link-{svi} of {switch.name} forwards', 3.0)

    def close(self):
        for namespace in self.namespaces:
            namespace.close()
        if os.path.isdir(self.directory) and not os.listdir(self.directory):
            os.rmdir(self.directory)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

