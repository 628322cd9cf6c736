"""The two real VRRP daemons, each with files and sockets of its own so that several run beside each other."""

import os
import pathlib
import shutil
import signal

from lab import LabError, need, wait_until


def mac(vrid, ipv6=False):
    """The MAC of a virtual router."""
    return f'00:00:5e:00:0{2 if ipv6 else 1}:{vrid:02x}'


class Instance:
    """One virtual router of a keepalived, on a virtual MAC, with adverts ten times a second."""

    def __init__(self, vrid, priority=100, interface='br10', address=None, more=(), preempt=True):
        self.vrid = vrid
        self.preempt = preempt
        self.priority = priority
        self.interface = interface
        self.address = address or f'10.0.10.{vrid}/24'
        self.more = more

    @property
    def device(self):
        return f'vrrp{"6" if ":" in self.address else ""}.{self.vrid}'

    def text(self):
        return '\n'.join([
            f'vrrp_instance {self.device} {{',
            '  state BACKUP',
            f'  interface {self.interface}',
            f'  use_vmac {self.device}',
            f'  virtual_router_id {self.vrid}',
            f'  priority {self.priority}',
            '  advert_int 0.1',
            *([] if self.preempt else ['  nopreempt']),
            '  virtual_ipaddress {',
            *(f'    {address}' for address in (self.address, *self.more)),
            '  }',
            '}',
        ])


class Keepalived:
    """A keepalived on a switch: a parent process and its VRRP child."""

    def __init__(self, switch, *instances):
        self._switch = switch
        self._parent = switch.path('keepalived.pid')
        self._child = switch.path('keepalived-vrrp.pid')
        self._killed = None  # the child before this one: its file and what is left of it stay for a moment
        self.configure(*instances)
        self.start()

    def configure(self, *instances):
        """Writes the configuration; reload() makes a running daemon take it."""
        head = f'global_defs {{\n  router_id {self._switch.name}\n  vrrp_version 3\n}}\n'
        self.configuration = self._switch.write('keepalived.conf', head + '\n'.join(i.text() for i in instances) + '\n')

    def start(self):
        for path in (self._parent, self._child):
            pathlib.Path(path).unlink(missing_ok=True)
        self.process = self._switch.start(need('keepalived', 'keepalived'), '--dont-fork', '--log-console', '--vrrp',
                                          '--use-file', self.configuration, '--pid', self._parent,
                                          '--vrrp_pid', self._child)
        wait_until(lambda: self._pids() or not self.process.running(), 'keepalived runs', 5.0, self.process.report)
        if not self.process.running():
            raise LabError(f'keepalived did not start\n{self.process.report()}')

    def wait_state(self, device, state, timeout=5.0):
        """Waits until the daemon says that an instance is MASTER, BACKUP or FAULT; for a state that it enters once."""
        self.process.wait_line(lambda line: f'({device}) Entering {state} STATE' in line, f'that {device} is {state}',
                               timeout)

    def _pids(self):
        pids = [pathlib.Path(path).read_text(encoding='ascii').strip()
                for path in (self._parent, self._child) if os.path.exists(path)]
        return list(map(int, pids)) if len(pids) == 2 and all(pids) else None

    def wait_running(self):
        """Waits until its child runs, again."""
        def runs():
            pids = self._pids()
            return pids and pids[1] != self._killed and all(os.path.exists(f'/proc/{pid}') for pid in pids)
        wait_until(runs, 'keepalived runs', 10.0, self.process.report)

    def reload(self):
        os.kill(self.process.pid, signal.SIGHUP)

    def terminate(self):
        """SIGTERM: returns at once; the daemon first gives the mastership up, and ends about a second later."""
        self.process.send(signal.SIGTERM)

    def kill_child(self):
        """kill -9 of the process that speaks VRRP; its parent starts another."""
        self._killed = self._pids()[1]
        os.kill(self._killed, signal.SIGKILL)

    def kill(self):
        """kill -9 of both processes: nobody is left to tidy up."""
        parent, child = self._pids()
        for pid in (parent, child):
            os.kill(pid, signal.SIGSTOP)
        for pid in (parent, child):
            os.kill(pid, signal.SIGKILL)
        self.process.wait()
        wait_until(lambda: not os.path.exists(f'/proc/{child}'), 'the child of keepalived is gone')


class Frr:
    """An FRR on a switch, of which only zebra and vrrpd run. The administrator makes the device, without carrier until
    vrrpd gives it some."""

    def __init__(self, switch, vrid, priority=100, interface='br10', address=None):
        self._switch = switch
        self.vrid = vrid
        self.address = address or f'10.0.10.{vrid}/24'
        self.device = f'vrrp4-{vrid}'
        self._directory = switch.path('frr')
        os.mkdir(self._directory)
        lines = [f'interface {interface}',
                 f' vrrp {vrid} version 3',
                 f' vrrp {vrid} priority {priority}',
                 f' vrrp {vrid} advertisement-interval 100',
                 f' vrrp {vrid} ip {self.address.partition("/")[0]}']
        switch.write('frr/vrrpd.conf', '\n'.join(lines) + '\n')
        switch.write('frr/zebra.conf', '')
        shutil.chown(self._directory, 'frr', 'frr')
        for entry in os.scandir(self._directory):
            shutil.chown(entry.path, 'frr', 'frr')
        self._interface = interface
        self.zebra = self.vrrpd = None

    def make_device(self, protodown=True):
        self._switch.ip(
            f'link add {self.device} link {self._interface} address {mac(self.vrid)} type macvlan mode bridge',
            *([f'link set {self.device} protodown on'] if protodown else []),
            f'addr add {self.address} dev {self.device}',
            f'link set {self.device} up')

    def _start(self, daemon):
        folder = self._directory
        return self._switch.start(need(daemon, 'frr'), '-i', f'{folder}/{daemon}.pid', '-z', f'{folder}/zserv.api',
                                  '--vty_socket', folder, '-f', f'{folder}/{daemon}.conf', '-u', 'frr', '-g', 'frr',
                                  '-P', '0', '--log', 'stdout', '--log-level', 'info',
                                  ignore='Refusing to start Virtual Router')

    def start(self):
        """Starts vrrpd, and zebra when it does not run yet."""
        if self.zebra is None:
            self.zebra = self._start('zebra')
            wait_until(lambda: os.path.exists(f'{self._directory}/zserv.api') or not self.zebra.running(),
                       'zebra listens', 5.0, self.zebra.report)
        self.vrrpd = self._start('vrrpd')

    def wait_state(self, state, timeout=5.0):
        """Waits until vrrpd says that it has entered a state, Backup or Master."""
        self.vrrpd.wait_line(lambda line: line.endswith(f'-> {state}'), f'that it is {state}', timeout)

    def kill(self):
        """kill -9 of vrrpd: zebra goes on."""
        self.vrrpd.stop(signal.SIGKILL)

    def terminate(self):
        self.vrrpd.stop(signal.SIGTERM)
