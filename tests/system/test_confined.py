"""The unit file, as a booted systemd carries it out: with every restriction the agent still does its work.

A systemd of the test's own is the first process of a private process namespace in the VLAN-aware kernel, with its own
/etc, /run, /opt and BPF file system; its network is that of the switch."""

import os
import re
import unittest

from agent import PROGRAM, REPOSITORY
from hardware import BridgeHardware
from lab import Lab, need, wait_until
from orloctl import CTL
from test_bridge_hardware import make_bridge
from test_privileges import BPF, NET_ADMIN

SYSTEMD = '/lib/systemd/systemd'
INTERFACES = '"interfaces": [ { "name": "br0.10", "vlan": 10, "secondaryVlans": [ 11, 12 ] } ]'

# What is installed, what is written, and the manager. The units that a machine starts with are not wanted.
BOOT = r'''
mount --make-rprivate /
mkdir -p /tmp/etc && cp -a /etc/. /tmp/etc/ && mount --bind /tmp/etc /etc
rm -rf /etc/systemd/system/*
: >/etc/machine-id
for folder in /run /var /opt; do mount -t tmpfs tmpfs $folder; done
mkdir -p /var/tmp /opt/orlo/bin /opt/orlo/lib /etc/orlo /run/systemd/system/orlo-agent.service.d
mount -t bpf -o mode=0700 bpf /sys/fs/bpf
cp @program@ @ctl@ /opt/orlo/bin/
cp -L @build@/*.so* /opt/orlo/lib/
systemd-sysusers @repository@/packaging/orlo.sysusers
sed s:@CMAKE_INSTALL_PREFIX@:/opt/orlo: @repository@/packaging/orlo-agent.service.in \
   >/run/systemd/system/orlo-agent.service
cat >/run/systemd/system/orlo-agent.service.d/test.conf <<UNIT
[Unit]
DefaultDependencies=no
[Service]
Environment=LD_LIBRARY_PATH=/opt/orlo/lib
StandardOutput=append:/run/agent.log
StandardError=append:/run/agent.log
UNIT
printf '[Unit]\nDefaultDependencies=no\n' >/run/systemd/system/test.target
exec env container=test @systemd@ --system --unit=test.target --log-target=console --show-status=no
'''


@unittest.skipUnless(os.access(SYSTEMD, os.X_OK), f'there is no {SYSTEMD}: install the package systemd '
                     '(scripts/setup does)')
class ConfinedTest(unittest.TestCase):

    needs_vlan_kernel = True
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.lab = Lab()
        cls.addClassCleanup(cls.lab.close)
        cls.switch = cls.lab.switch('switch')
        make_bridge(cls.switch)
        cls.switch.router(51, 'br0.10')
        script = BOOT
        for name, value in {'program': PROGRAM, 'ctl': CTL, 'build': os.path.dirname(os.path.dirname(PROGRAM)),
                            'repository': REPOSITORY, 'systemd': SYSTEMD}.items():
            script = script.replace(f'@{name}@', value)
        cls.boot = cls.switch.start('unshare', '--mount', '--pid', '--fork', '--mount-proc', '--kill-child', '--',
                                    '/bin/sh', '-ec', script)
        cls.manager = wait_until(cls.first, 'the manager is there', 20.0, cls.boot.report)
        wait_until(lambda: cls.systemctl('is-active', 'test.target') == 'active', 'it has booted', 30.0,
                   cls.boot.report)

    def setUp(self):
        """As it is before the first start of the service; the slots of the test before are gone."""
        self.run_inside('/bin/sh', '-c', 'rm -rf /run/agent.log /run/orlo; cd /run/systemd/system/orlo-agent.service.d '
                        '&& rm -f ebpf.conf memory.conf metrics.conf')
        self.addCleanup(self.systemctl, 'stop', 'orlo-agent')

    @classmethod
    def first(cls):
        """The manager's number, as it is seen from here."""
        with open(f'/proc/{cls.boot.pid}/task/{cls.boot.pid}/children', encoding='ascii') as children:
            found = children.read().split()
        return found and os.path.exists(f'/proc/{found[0]}/root/run/systemd/private') and found[0]

    @classmethod
    def run_inside(cls, *command):
        """Its exit status and all that it has said."""
        process = cls.switch.start(need('nsenter', 'util-linux'), '-t', cls.manager, '-m', '-p', '--', *command)
        return process.wait(60.0), '\n'.join(process.lines())

    @classmethod
    def systemctl(cls, *words):
        return cls.run_inside('systemctl', *words)[1]

    def ctl(self, *words):
        return self.run_inside('env', 'LD_LIBRARY_PATH=/opt/orlo/lib', '/opt/orlo/bin/orloctl', *words)

    def write(self, path, text):
        with open(f'/proc/{self.manager}/root{path}', 'w', encoding='utf-8') as out:
            out.write(text)

    def said(self):
        try:
            with open(f'/proc/{self.manager}/root/run/agent.log', encoding='utf-8') as log:
                return log.read()
        except FileNotFoundError:  # nobody has said anything yet
            return ''

    def configure(self, hardware, control='{}', drop_ins=()):
        self.write('/etc/orlo/orlo-agent.json', f'{{ "hardware": {hardware}, "control": {control}, {INTERFACES} }}')
        for name in drop_ins:
            with open(os.path.join(REPOSITORY, f'packaging/systemd/{name}.conf'), encoding='utf-8') as drop_in:
                self.write(f'/run/systemd/system/orlo-agent.service.d/{name}.conf', drop_in.read())
        self.systemctl('daemon-reload')

    def status(self):
        """User, capabilities that work, and whether system calls are filtered."""
        number = self.systemctl('show', '-p', 'MainPID', '--value', 'orlo-agent')
        _, status = self.run_inside('cat', f'/proc/{number}/status')
        field = dict(re.findall(r'^(\w+):\s+(\S+)', status, re.MULTILINE))
        return (field['Uid'] == '0', int(field['CapEff'], 16), int(field['CapPrm'], 16), field['NoNewPrivs'],
                field['Seccomp'])

    def wait_programmed(self, times):
        wait_until(lambda: self.said().count('\nready: ') == times, f'it is ready {times} times', 20.0, self.said)
        self.assertEqual((0, '3 pairs wanted, 3 assigned, 3 in the hardware: no difference'), self.ctl('audit'))

    def starts(self, is_root, capabilities):
        """It starts, has its rights alone, and is read by others."""
        self.assertEqual('', self.systemctl('start', 'orlo-agent'), self.boot.report())
        self.wait_programmed(1)
        self.assertEqual((is_root, capabilities, capabilities, '1', '2'), self.status())

    def lives(self, is_root, capabilities):
        """It reloads as well, comes back when it is killed, and stops."""
        self.starts(is_root, capabilities)
        self.assertEqual('', self.systemctl('reload', 'orlo-agent'))
        wait_until(lambda: 'reloaded    the configuration is the same' in self.said(), 'it has reloaded', 20.0,
                   self.said)
        self.systemctl('kill', '-s', 'KILL', 'orlo-agent')
        self.wait_programmed(2)
        self.assertIn('ready: 8 indexes, 3 adopted, 0 pairs programmed, 0 waiting', self.said())
        self.assertEqual('', self.systemctl('stop', 'orlo-agent'))

    def test_memory(self):
        self.configure('{ "kind": "memory", "indexes": 8, "path": "/run/orlo/slots" }', '{ "group": "orlo" }')
        self.starts(False, 0)

    def test_memory_without_anything(self):
        self.configure('{ "kind": "memory", "indexes": 8, "path": "/run/orlo/slots" }', drop_ins=['memory'])
        self.starts(False, 0)

    def test_bridge(self):
        self.configure('{ "kind": "bridge", "bridge": "br0", "indexes": 8, "path": "/run/orlo/slots" }')
        self.lives(False, NET_ADMIN)
        self.assertEqual(3, len(BridgeHardware(self.switch, 'br0', 10).local()))

    def test_ebpf_and_metrics(self):
        ebpf = '{ "kind": "ebpf", "ports": [ "port" ], "indexes": 8 }'
        self.configure(ebpf)
        self.systemctl('start', '--no-block', 'orlo-agent')
        wait_until(lambda: 'the ebpf hardware needs CAP_BPF' in self.said(), 'it says what is missing', 20.0,
                   self.boot.report)
        self.systemctl('stop', 'orlo-agent')

        self.configure(ebpf, '{ "metrics": { "port": 9742 } }', ['ebpf', 'metrics'])
        self.lives(True, NET_ADMIN | BPF)
        self.assertNotIn('cannot serve metrics', self.said())
