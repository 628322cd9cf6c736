"""The hardware as somebody else sees it, without the agent: what a test compares with what the agent says."""

import json
import os
import re
import shlex
import shutil
import struct
import subprocess

from lab import PYTHON, need


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

    def faults(self):
        """What somebody else can do to it: options of orlo-conformance, each with its command of the shell. So it is
        for the others below."""
        return {'--lose': self._written('0'),
                '--plant': self._written('0xa << 60 | int(os.environ["VLAN"]) << 48'
                                         ' | int(os.environ["MAC"].replace(":", ""), 16)')}

    def _written(self, word):
        code = ('import os, sys; os.pwrite(os.open(sys.argv[1], os.O_WRONLY), '
                f'({word}).to_bytes(8, sys.byteorder), 64 + 8 * int(os.environ["INDEX"]))')
        return shlex.join([PYTHON, '-c', code, self._path])

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


class OneByOne:
    """The same hardware, written to one entry at a time: an end of the process can fall between any two."""

    kind = 'module'

    def __init__(self, hardware, build):
        self._hardware, self._build = hardware, build
        self.entries, self.empty = hardware.entries, hardware.empty

    def settings(self):
        return {'module': os.path.join(self._build, f'orlo-helper-{self._hardware.kind}.so'),
                'settings': {**self._hardware.module_settings(), 'batch': '1'}}


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

    def faults(self, svi):
        """Without its SVI nothing is taken."""
        key = 'key $((VLAN % 256)) $((VLAN / 256)) $(echo 0x$MAC | sed "s/:/ 0x/g")'
        table = f'pinned {shlex.quote(os.path.join(self.pins, "router_macs"))} {key}'
        bpftool, ip = need('bpftool', 'bpftool'), need('ip', 'iproute2')
        return {'--refuse': f'{ip} link del {svi}',
                '--accept': f'{ip} link add {svi} type bridge',
                '--lose': f'{bpftool} map delete {table}',
                '--plant': f'{bpftool} map update {table} value $INDEX 0 0 0 1 0 0 0'}

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
        """As it is before an agent has ever run, but for the filters of the ports."""
        shutil.rmtree(self.pins, ignore_errors=True)

    @staticmethod
    def _bpftool(*arguments):
        done = subprocess.run([need('bpftool', 'bpftool'), '-j', *arguments], capture_output=True, text=True,
                              check=False)
        return json.loads(done.stdout) if done.returncode == 0 else None

    def close(self):
        """What still holds it open keeps it for as long."""
        subprocess.run([need('umount', 'mount'), '--lazy', self._mount], check=True)


class BridgeHardware:
    """The forwarding database of a bridge with VLANs, and rules at its ingress; the indexes are in a slot file beside
    it."""

    kind = 'bridge'
    preference = 0x5652

    def __init__(self, switch, bridge, primary):
        self._switch, self._bridge, self._primary = switch, bridge, primary
        self._path = switch.path('slots')

    def settings(self):
        return {'bridge': self._bridge, 'path': self._path}

    module_settings = settings

    def faults(self, vlans):
        """Of a VLAN that the bridge does not have it takes nothing."""
        bridge = need('bridge', 'iproute2')

        def vlan(verb):
            lines = ''.join(f'vlan {verb} dev {self._bridge} vid {number} self\\n' for number in vlans)
            return f"printf '{lines}' | {bridge} -batch -"
        return {'--refuse': vlan('del'), '--accept': vlan('add'),
                '--lose': f'{bridge} fdb del $MAC dev {self._bridge} vlan $VLAN self'}

    def entries(self):
        """The index of each pair that has an entry and, on a secondary VLAN, the rule that belongs to it."""
        slots, ruled = slots_of(self._path), {pair for pair, _ in self.rules().values()}
        return {pair: slots.get(pair) for pair in self.local() if pair[0] == self._primary or pair in ruled}

    def local(self):
        """The pairs of virtual routers that the bridge takes itself, whoever has said so."""
        rows = self._json('bridge', '-j', 'fdb', 'show', 'br', self._bridge)
        return {(row['vlan'], row['mac']) for row in rows
                if row['ifname'] == self._bridge and 'vlan' in row and row['mac'].startswith('00:00:5e:00:')}

    def rules(self):
        """What our rules turn into what: a pair and its primary VLAN, by index."""
        shown = self._json('tc', '-j', 'filter', 'show', 'dev', self._bridge, 'ingress')
        found = {}
        for row in shown:
            if row.get('pref') == self.preference and 'keys' in row.get('options', {}):
                keys, (action,) = row['options']['keys'], row['options']['actions']
                found[row['options']['handle'] - 1] = ((keys['vlan_id'], keys['dst_mac']), action['id'])
        return found

    def _json(self, program, *arguments):
        """Nothing while there is no bridge."""
        done = subprocess.run(self._switch.command(need(program, 'iproute2'), *arguments), capture_output=True,
                              text=True, timeout=30, check=False)
        return json.loads(done.stdout or '[]') if done.returncode == 0 else []

    def empty(self):
        """As it is before an agent has ever run; to be called when none runs."""
        for index in self.rules():
            self._switch.run(need('tc', 'iproute2'), 'filter', 'del', 'dev', self._bridge, 'ingress', 'protocol',
                             '802.1Q', 'pref', self.preference, 'handle', index + 1, 'flower')
        for vlan, address in self.local():
            self._switch.run(need('bridge', 'iproute2'), 'fdb', 'del', address, 'dev', self._bridge, 'vlan', vlan,
                             'self')
        if os.path.exists(self._path):
            os.truncate(self._path, 0)

    def close(self):
        pass
