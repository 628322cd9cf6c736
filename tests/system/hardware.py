"""The hardware as somebody else sees it, without the agent: what a test compares with what the agent says."""

import json
import os
import re
import shutil
import struct
import subprocess

from lab import need


def slots_of(path):
    """The index of each pair in a slot file: 64 bytes of header, then a word for each slot, 4 bits 0xA, 12 VLAN, 48
    MAC; 0 is free."""
    try:
        with open(path, 'rb') as file:
            content = file.read()
    except FileNotFoundError:
        return {}
    held = {}
    for index, (word,) in enumerate(struct.iter_unpack('=Q', content[64:])):
        if word:
            pair = ((word >> 48) & 0xfff, (word & 0xffffffffffff).to_bytes(6, 'big').hex(':'))
            assert pair not in held, f'{pair} stands in slots {held[pair]} and {index}'
            held[pair] = index
    return held


def _bytes(octets):
    """What bpftool has printed as texts."""
    return bytes(int(octet, 16) for octet in octets)


class MemoryHardware:
    """A slot table in a file."""

    kind = 'memory'

    def __init__(self, switch):
        self._path = switch.path('slots')

    def settings(self):
        """For the agent's configuration, beside kind and indexes."""
        return {'path': self._path}

    def entries(self):
        """The index of each pair."""
        return slots_of(self._path)

    def empty(self):
        """As it is before an agent has ever run."""
        try:
            with open(self._path, 'r+b') as file:
                file.truncate(0)
        except FileNotFoundError:
            pass


class Broken:
    """The same hardware with a helper that has a fault at the start: see broken_helper/BrokenHelper.cpp."""

    kind = 'module'

    def __init__(self, hardware, fault, build):
        self._hardware, self._fault, self._build = hardware, fault, build
        self.entries = hardware.entries

    def settings(self):
        return {'module': os.path.join(self._build, 'tests/system/broken_helper/libbroken_helper.so'),
                'settings': {'of': os.path.join(self._build, f'orlo-helper-{self._hardware.kind}.so'),
                             'fault': self._fault, **self._hardware.module_settings()}}


class EbpfHardware:
    """The tables of the program at the switch ports, pinned in a bpffs of the test's own."""

    kind = 'ebpf'

    def __init__(self, switch, ports):
        self._switch, self._ports = switch, list(ports)
        self._mount = switch.path('bpf')
        os.mkdir(self._mount)
        subprocess.run([need('mount', 'mount'), '-t', 'bpf', 'bpf', self._mount], check=True)

    def ports_are(self, ports):
        """For the next configuration."""
        self._ports = list(ports)

    @property
    def pins(self):
        return os.path.join(self._mount, 'orlo')

    def settings(self):
        return {'ports': self._ports, 'pins': self.pins}

    def module_settings(self):
        """The same as the module's own settings."""
        return {'ports': ' '.join(self._ports), 'pins': self.pins}

    def entries(self):
        """The index of each pair."""
        return {pair: index for pair, (index, _) in self.rows().items()}

    def rows(self):
        """Index and SVI of each pair."""
        return {(struct.unpack_from('=H', key)[0], key[2:].hex(':')): struct.unpack('=II', value)
                for key, value in ((_bytes(row['key']), _bytes(row['value'])) for row in self.table('router_macs'))}

    def ports(self):
        """The access VLAN of each port, by interface index."""
        return {struct.unpack('=I', _bytes(row['key']))[0]: struct.unpack('=I', _bytes(row['value']))[0]
                for row in self.table('ports')}

    def counts(self):
        """Frames and bytes of each index, without those that have none."""
        counts = {}
        for row in self.table('frame_counts'):
            each = [struct.unpack('=QQ', _bytes(value['value'])) for value in row['values']]
            counts[struct.unpack('=I', _bytes(row['key']))[0]] = tuple(map(sum, zip(*each)))
        return {index: count for index, count in counts.items() if count != (0, 0)}

    def table(self, name):
        """Its rows as bpftool has them."""
        return self._bpftool('map', 'dump', 'pinned', os.path.join(self.pins, name)) or []

    def ids(self):
        """What the kernel knows program and tables by."""
        return {name: self._bpftool('prog' if name == 'program' else 'map', 'show', 'pinned',
                                    os.path.join(self.pins, name))['id'] for name in sorted(os.listdir(self.pins))}

    def filters(self):
        """Preference, handle and program of each filter at each port that is there."""
        return {port: self._filters(port) for port in self._names() if self._switch.show(port)}

    def _names(self):
        return [port if isinstance(port, str) else port['name'] for port in self._ports]

    def _filters(self, port):
        shown = self._switch.run(need('tc', 'iproute2'), 'filter', 'show', 'dev', port, 'ingress')
        return re.findall(r'pref (\d+) bpf chain 0 handle (\w+) .* id (\d+) ', shown)

    def empty(self):
        """As it is before an agent has ever run."""
        shutil.rmtree(self.pins, ignore_errors=True)
        for port in self._names():
            subprocess.run(self._switch.command(need('tc', 'iproute2'), 'qdisc', 'del', 'dev', port, 'clsact'),
                           capture_output=True, check=False)

    @staticmethod
    def _bpftool(*arguments):
        done = subprocess.run([need('bpftool', 'bpftool'), '-j', *arguments], capture_output=True, text=True,
                              check=False)
        return json.loads(done.stdout) if done.returncode == 0 else None

    def close(self):
        """What still holds it open keeps it for as long."""
        subprocess.run([need('umount', 'mount'), '--lazy', self._mount], check=True)


class BridgeHardware:
    """The forwarding database of a bridge with VLANs; the indexes are in a slot file beside it."""

    kind = 'bridge'

    def __init__(self, switch, bridge, primary):
        self._switch, self._bridge, self._primary = switch, bridge, primary
        self._path = switch.path('slots')

    def settings(self):
        return {'bridge': self._bridge, 'path': self._path}

    module_settings = settings

    def entries(self):
        """The index of each pair that has an entry and, on a secondary VLAN, the rule that belongs to it."""
        slots, rules = slots_of(self._path), self._rules()
        rows = self._json('bridge', '-j', 'fdb', 'show', 'br', self._bridge)
        local = {(row['vlan'], row['mac']) for row in rows if row['ifname'] == self._bridge and 'vlan' in row}
        return {pair: slots.get(pair) for pair in local
                if pair[1].startswith('00:00:5e:00:') and (pair[0] == self._primary or pair in rules)}

    def _rules(self):
        shown = self._json('tc', '-j', 'filter', 'show', 'dev', self._bridge, 'ingress')
        keys = [row['options']['keys'] for row in shown if 'keys' in row.get('options', {})]
        return {(key['vlan_id'], key['dst_mac']) for key in keys if {'vlan_id', 'dst_mac'} <= set(key)}

    def _json(self, program, *arguments):
        return json.loads(self._switch.run(need(program, 'iproute2'), *arguments) or '[]')

    def close(self):
        pass
