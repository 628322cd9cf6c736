"""A long random run of the whole thing: real agents, real daemons, real frames, and everything that goes wrong in the
life of a switch, in an order that a seed decides.

    report = Soak(seed=7).run(seconds=600)

Two switches with keepalived and an agent each fail over to each other all the time; a third one routes counted frames
by the program at its ports. Things happen to them in bursts. Then comes a quiet point: nothing is done until the
kernel's devices stand still, and everything is checked:

- the hardware holds exactly what the kernel's devices and the configuration want, which is computed here by itself from
  what ip says, or as many pairs as there are indexes;
- the audit is clean, and the table agrees with each change that the agent has ever said: an index that changed without
  a word, that was not the next in turn, or that passed over who waited longer, is found;
- a new start of the agent adopts every entry that it finds, or removes it, and from a quiet point it writes nothing;
- memory and descriptors of the agent are back to where they were;
- no frame to the virtual router that stays is lost.

The seed decides what is done and in which order; how it meets the agent is decided by the machine.
"""

import collections
import contextlib
import json
import os
import random
import re
import signal
import socket
import time

from agent import Agent
from daemons import Instance, Keepalived, mac
from hardware import EbpfHardware, MemoryHardware
from lab import Lab, wait_until
from orloctl import Client, Orloctl
from routed_lab import TaggedLab

VIRTUAL_MAC = re.compile(r'00:00:5e:00:0[12]:(?!00)[0-9a-f]{2}$')
GROWTH = 8 * 1024  # kB that an agent may have more than at its first quiet point: 16 clients' room
STANDS_STILL = 0.6  # seconds without a change of the kernel's devices: longer than keepalived takes to miss its master
CARRIER = 1.1  # seconds until the kernel has told everybody of an SVI's carrier: it may wait for one before it does
LONG = 60.0  # seconds; what takes longer will never happen
STAYS = 51


class Violation(AssertionError):
    """Something is not as it has to be."""


def wanted(switch, interfaces):
    """The pairs that have to be routed on a switch, by what the kernel says of its devices and by the configuration."""
    links = json.loads(switch.run('ip', '-j', '-d', 'addr', 'show'))
    by_name = {link['ifname']: link for link in links if link}
    pairs = set()
    for interface in interfaces:
        below = by_name.get(interface['name'])
        own = {entry['local'] for entry in (below or {}).get('addr_info', ()) if entry.get('scope') == 'link'}
        for link in by_name.values():
            if (link.get('link') == interface['name'] and link.get('linkinfo', {}).get('info_kind') == 'macvlan'
                    and VIRTUAL_MAC.match(link['address']) and {'UP', 'LOWER_UP'} <= set(link['flags'])
                    and not link.get('proto_down')
                    and any(entry['local'] not in own for entry in link['addr_info'])):
                pairs |= {(vlan, link['address']) for vlan in (interface['vlan'], *interface['secondaryVlans'])}
    return pairs


class SoakedAgent(Agent):
    patience = 60.0  # the machine may be busy with other things


class Side:
    """A switch with an agent, and what can happen to it."""

    svis = {}      # by name, its own VLAN
    spare = ()     # VLANs that are dealt to the SVIs anew again and again
    most_indexes = 40
    least_indexes = 0

    def __init__(self, soak, switch, hardware):
        self.soak, self.dice, self.tally = soak, soak.dice, soak.tally
        self.switch, self.hardware = switch, hardware
        self.routers = {}  # made by hand, without a daemon: SVI and VRID, by the name of the device
        self.interfaces = self.first()
        self.indexes = self.dice.randint(8, self.most_indexes)
        self.agent = SoakedAgent(switch, indexes=self.indexes, interfaces=self.interfaces, hardware=hardware)
        self.ctl = Orloctl(self.agent.socket)
        self.clients = []
        self.begin_measuring()
        self.is_anew = False  # another number of indexes since the last quiet point
        self.wanted = None
        self.told_by = 0.0  # the kernel has told of everything by then

    def happenings(self):
        """What can happen, and how often compared with the others."""
        return {self.burst: 10, self.reload: 4, self.refused_reload: 1, self.kill: 2, self.terminate: 1,
                self.be_overrun: 1, self.ask: 4, self.follow: 2, self.lose_followers: 1, self.garbage: 2, self.crowd: 1,
                self.lose_socket: 1}

    # The kernel's devices

    def burst(self):
        """Virtual routers come, go, change their name, their addresses, and whether they are up."""
        lines = []
        for _ in range(self.dice.choice((1, 1, 3, 10, 30))):
            lines += self.change_of_router()
        self.switch.ip(*lines)
        self.tally['changes of devices'] += len(lines)

    def change_of_router(self):
        if not self.routers or (len(self.routers) < 25 and self.dice.random() < 0.4):
            svi, vrid = self.dice.choice(sorted(self.svis)), self.dice.randint(100, 140)
            if (svi, vrid) in self.routers.values():
                return []
            name = f'hand.{next(self.soak.numbers)}'
            self.routers[name] = svi, vrid
            return [f'link add {name} link {svi} address {mac(vrid)} type macvlan mode private',
                    f'addr add 192.0.2.{vrid}/32 dev {name}', f'link set {name} up']
        name = self.dice.choice(sorted(self.routers))
        svi, vrid = self.routers[name]
        what = self.dice.randrange(6)
        if what == 0:
            del self.routers[name]
            return [f'link del {name}']
        if what == 1:  # the same device by another index
            return [f'link del {name}', f'link add {name} link {svi} address {mac(vrid)} type macvlan mode private',
                    f'addr add 192.0.2.{vrid}/32 dev {name}', f'link set {name} up']
        if what == 2:
            renamed = f'hand.{next(self.soak.numbers)}'
            self.routers[renamed] = self.routers.pop(name)
            return [f'link set {name} down', f'link set {name} name {renamed}', f'link set {renamed} up']
        if what == 3:
            return [f'addr flush dev {name}'] + ([f'addr add 192.0.2.{vrid}/32 dev {name}']
                                                 if self.dice.random() < 0.6 else [])
        return [f'link set {name} {self.dice.choice(("up", "up", "down"))}']

    # The configuration

    def first(self):
        """The interfaces at the beginning."""
        return self.deal()

    def deal(self):
        """VLANs for every SVI, each VLAN for one of them at most; now and then an SVI is left out."""
        free = list(self.spare)
        self.dice.shuffle(free)
        dealt = []
        for name, vlan in self.svis.items():
            if not dealt or self.dice.random() < 0.85:
                number = self.dice.randint(0, min(4, len(free)))
                dealt.append({'name': name, 'vlan': vlan, 'secondaryVlans': sorted(free[:number])})
                del free[:number]
        return dealt

    def reload(self):
        interfaces, indexes = self.deal(), self.indexes
        if self.dice.random() < 0.4:
            indexes = self.dice.randint(self.least_indexes, self.most_indexes)
        self.agent.configure(indexes, interfaces)
        self.take_configuration('reloaded')
        self.is_anew |= indexes != self.indexes
        self.interfaces, self.indexes = interfaces, indexes
        self.tally['reloads'] += 1

    def refused_reload(self):
        shared = [*self.interfaces, {'name': 'other', 'vlan': self.interfaces[0]['vlan']}]
        if self.dice.random() < 0.5:
            self.switch.write('agent.json', '{ "hardware": ')
        else:
            self.agent.configure(self.indexes, shared)
        self.take_configuration('orlo-agent: ')
        self.agent.configure(self.indexes, self.interfaces)
        self.tally['reloads refused'] += 1

    def take_configuration(self, word):
        begin = len(self.agent.process.lines())
        by_signal = self.dice.random() < 0.5
        if by_signal:
            self.agent.process.send(signal.SIGHUP)
            self.agent.process.wait_line(lambda line: line.startswith(word), f'{word} after SIGHUP', LONG, begin)
        else:
            status, _, errors = self.ctl.run('reload')
            if (status == 0) != (word == 'reloaded'):
                raise Violation(f'orloctl reload has ended with {status}: {errors}')

    # The agent

    def kill(self):
        """kill -9 at any moment after a burst."""
        self.end(signal.SIGKILL)
        self.tally['kills of the agent'] += 1

    def terminate(self):
        self.end(signal.SIGTERM)
        self.tally['stops of the agent'] += 1

    def end(self, number):
        self.burst()
        time.sleep(self.dice.choice((0, 0.001, 0.003, 0.01, 0.03)))
        self.agent.process.stop(number)
        self.measure_end()
        self.restart()

    def restart(self):
        """What it finds is adopted under the same index, or said to be removed; nothing else."""
        found = self.hardware.entries()
        self.close_clients()
        self.agent.start()
        ready = self.agent.process.wait_line(lambda line: line.startswith('ready'), 'ready')
        begun = [change for change in self.agent.changes()[:len(self.agent.process.lines()[:ready + 1])]
                 if change.word in ('adopted', 'removed')]
        said = {change[1:3]: change.number for change in begun}
        if not found.items() <= said.items():
            raise Violation(f'{self.switch.name}: the new start found {found} and has said\n{begun}')
        self.is_anew = False
        self.begin_measuring()
        self.tally['starts of the agent'] += 1

    def be_overrun(self):
        """The kernel has so much to say, to an agent that does not listen, that something is lost, or nearly."""
        self.agent.process.send(signal.SIGSTOP)
        self.burst()
        chatter = [f'link set lo alias {n:0>200}' for n in range(self.dice.choice((200, 3000)))]
        self.switch.ip(*chatter)
        self.burst()
        self.agent.process.send(signal.SIGCONT)
        self.tally['changes of devices'] += len(chatter)

    # Clients

    def ask(self):
        words = self.dice.choice((('show',), ('show', 'pairs'), ('show', 'waiting'), ('show', 'slots'), ('metrics',),
                                  ('list', 'vrrpSm/virtualRouterIndex'), ('explain', '10', mac(STAYS)), ('audit',)))
        status, _, errors = self.ctl.run(*words)
        if status not in (0, 1) or errors.count('\n') > 1:
            raise Violation(f'orloctl {words} has ended with {status}: {errors}')
        self.tally['clients'] += 1

    def follow(self):
        self.clients.append(self.ctl.follow(*self.dice.choice((('watch',), ('trace', 'OrloVrrp', '0-9')))))
        self.tally['clients'] += 1

    def lose_followers(self):
        """Some end as they should, some do not."""
        for client in self.clients:
            client.send(self.dice.choice((signal.SIGKILL, signal.SIGTERM)))
        self.close_clients()

    def close_clients(self):
        for client in self.clients:
            client.release()
        self.clients.clear()

    def garbage(self):
        """Noise, or half a request, from somebody who goes away without a word."""
        client = Client(self.agent.socket, timeout=0.2)
        noise = self.dice.choice((self.dice.randbytes(self.dice.randint(1, 100000)), b'{"schema":1,"id":1,"comm',
                                  b'{"schema":1,"id":1,"command":"show pairs"}\n' * 50, b'[' * 50000 + b'\n'))
        try:
            client.send(noise)
        except (BrokenPipeError, ConnectionResetError, TimeoutError):
            pass
        client.close()
        self.tally['clients'] += 1

    def crowd(self):
        """More clients than it serves."""
        crowd = []
        for _ in range(80):
            one = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM | socket.SOCK_NONBLOCK)
            try:
                one.connect(self.agent.socket)
            except BlockingIOError:
                pass
            crowd.append(one)
        self.tally['clients'] += len(crowd)
        for one in crowd:
            one.close()

    def lose_socket(self):
        """Somebody removes the control socket: it comes back."""
        os.unlink(self.agent.socket)
        wait_until(lambda: os.path.exists(self.agent.socket), 'the control socket is back', LONG,
                   self.agent.process.report)
        self.tally['control sockets removed'] += 1

    # Quiet points

    def stands_still(self):
        """Do the kernel's devices want what they wanted when this was asked before?"""
        before, self.wanted = self.wanted, wanted(self.switch, self.interfaces)
        return before == self.wanted and time.monotonic() > self.told_by

    def is_right(self):
        held = self.hardware.entries()
        return (held.keys() <= self.wanted and len(held) == min(self.indexes, len(self.wanted))
                and len(set(held.values())) == len(held) and all(0 <= index < self.indexes for index in held.values()))

    def needs(self):
        """What is not right."""
        held = self.hardware.entries()
        return (f'{self.switch.name} with {self.indexes} indexes: not there {sorted(self.wanted - held.keys())}, '
                f'not wanted {sorted(held.keys() - self.wanted)}, there {held}')

    def quiet(self):
        """Everything is checked."""
        if not self.agent.process.running():
            raise Violation(f'the agent has ended with {self.agent.process.returncode}')
        if self.dice.random() < 0.5:
            self.close_clients()
        if not self.is_right():
            raise Violation(self.needs())
        status, output, errors = self.ctl.run('audit')
        if status != 0:
            raise Violation(f'the audit has ended with {status}: {output}{errors}')
        self.tally['audits'] += 1
        self.judge()
        self.measure()
        if self.dice.random() < 0.3:
            self.undisturbed()

    def judge(self):
        """The table and every change that the agent has said agree. With another number of indexes it is told anew."""
        if self.is_anew:
            self.agent.begin_anew()
            rows = self.ctl.json('list', 'vrrpSm/freeVirtualRouterIndex')['members']
            self.agent.free_are([int(row['value']) for row in rows])
            self.is_anew = False
        self.agent.table()

    def undisturbed(self):
        """Killed and started when nothing is to be done, it writes nothing."""
        before, line = self.hardware.entries(), len(self.agent.line)
        number = self.dice.choice((signal.SIGKILL, signal.SIGTERM))
        self.agent.process.stop(number)
        self.measure_end()
        self.restart()
        if self.hardware.entries() != before or self.writes() != 0:
            raise Violation(f'a new start has written {self.writes()} entries: {before} before, '
                            f'{self.hardware.entries()} now, {line} waited')
        self.tally['kills of the agent' if number == signal.SIGKILL else 'stops of the agent'] += 1
        self.tally['starts without a write'] += 1

    def writes(self):
        """Since the agent was started."""
        return int(re.search(r'^orlo_hardware_writes_total (\d+)$', self.ctl.text('metrics'), re.MULTILINE).group(1))

    # What the agent needs

    def begin_measuring(self):
        self.memory = self.descriptors = None

    def measure(self):
        """Compared with the first quiet point of the process. What a client had is given back in the next turn."""
        now = self.agent.memory()
        wait_until(lambda: self.agent.descriptors() - len(self.clients) <= (self.descriptors or 1000),
                   f'{self.descriptors} descriptors are open', LONG, lambda: f'{self.agent.descriptors()} are')
        if self.memory is None:
            self.memory, self.descriptors = now, self.agent.descriptors() - len(self.clients)
        if now > self.memory + GROWTH:
            raise Violation(f'{self.switch.name}: {now} kB in memory, {self.memory} at the first quiet point')
        self.soak.peak(self.agent.memory('VmHWM'))

    def measure_end(self):
        self.tally['overruns'] += sum(line.startswith('overrun') for line in self.agent.process.lines())

    def finish(self):
        self.close_clients()
        self.measure_end()


class Peer(Side):
    """One of the two switches that fail over to each other."""

    svis = {'br10': 10, 'br20': 20, 'br30': 30}
    spare = range(101, 113)
    virtual_routers = (('br10', 51), ('br10', 52), ('br20', 61), ('br20', 62))

    def __init__(self, soak, switch):
        super().__init__(soak, switch, MemoryHardware(switch))
        self.daemon = Keepalived(switch, *self.instances())

    def happenings(self):
        return {**super().happenings(), self.daemon_dies: 4, self.daemon_changes: 3, self.carrier: 1, self.lose_svi: 1}

    def instances(self):
        """A virtual router each, with any priority; now and then one is missing."""
        return [Instance(vrid, self.dice.randint(50, 250), svi, f'10.0.{svi[2:]}.{vrid}/24',
                         preempt=self.dice.random() < 0.7)
                for n, (svi, vrid) in enumerate(self.virtual_routers) if n == 0 or self.dice.random() < 0.85]

    def daemon_dies(self):
        """And comes back, as it would with its service."""
        how = self.dice.choice((self.daemon.kill, self.daemon.kill_child, self.daemon.terminate))
        how()
        time.sleep(self.dice.choice((0, 0.1, 0.5)))
        if how != self.daemon.kill_child:
            self.daemon.process.wait(LONG)
            self.daemon.start()
        else:
            self.daemon.wait_running()
        self.tally['kills of a daemon'] += how != self.daemon.terminate
        self.tally['stops of a daemon'] += how == self.daemon.terminate

    def daemon_changes(self):
        self.daemon.configure(*self.instances())
        self.daemon.reload()
        self.tally['reloads of a daemon'] += 1

    def carrier(self):
        for state in self.dice.choice((('down', 'up'), ('down',), ('up',))):
            self.switch.ip(f'link set port-br30 {state}')
        self.told_by = time.monotonic() + CARRIER
        self.tally['changes of devices'] += 1

    def lose_svi(self):
        """With the devices on it; it comes back without them."""
        self.switch.ip('link del br30', 'link del port-br30')
        self.routers = {name: made for name, made in self.routers.items() if made[0] != 'br30'}
        if self.dice.random() < 0.5:
            self.burst_without('br30')
        self.switch.svi('br30', '10.0.30.1/24')
        self.told_by = time.monotonic() + CARRIER
        self.tally['SVIs deleted'] += 1

    def burst_without(self, svi):
        lines = [f'link set {name} {self.dice.choice(("up", "down"))}' for name, made in sorted(self.routers.items())
                 if made[0] != svi]
        self.switch.ip(*lines)
        self.tally['changes of devices'] += len(lines)

    def tamper(self):
        """Somebody empties a slot behind the agent's back: the audit finds it, a repair puts it back."""
        held = self.hardware.entries()
        if not held:
            return
        pair, index = self.dice.choice(sorted(held.items()))
        with open(self.agent.slots, 'r+b') as slots:
            os.pwrite(slots.fileno(), bytes(8), 64 + 8 * index)
        if (status := self.ctl.run('audit')[0]) != 1:
            raise Violation(f'the audit does not see that {pair} is missing: {status}')
        self.ctl.run('audit', '--repair')
        self.tally['slots emptied and repaired'] += 1

    def quiet(self):
        super().quiet()
        if self.dice.random() < 0.3:
            self.tamper()
            wait_until(self.is_right, 'the slot is filled again', LONG, self.needs)
            super().quiet()


class Router(Side):
    """The switch that routes the counted frames, by the program at its ports. One virtual router stays and its pairs
    were there first, so that no number of indexes from 3 on concerns them."""

    svis = {'br10': 10}
    least_indexes = 3
    rate = 200
    section = 60.0  # seconds: after that its flows are counted, and others begin

    def __init__(self, soak, lab):
        self.lab = lab
        lab.router(STAYS)
        hardware = EbpfHardware(lab.switch, lab.ports.values())
        soak.cleanup.callback(hardware.close)
        super().__init__(soak, lab.switch, hardware)
        self.flows = []

    def happenings(self):
        return {**super().happenings(), self.kill: 4}

    def first(self):
        return [self.lab.interface]

    def deal(self):
        more = self.dice.sample(range(13, 20), self.dice.randint(0, 3))
        return [{**self.lab.interface, 'secondaryVlans': [11, 12, *sorted(more)]}]

    def quiet(self):
        super().quiet()
        if not self.flows:
            self.began = time.monotonic()
            self.flows = [self.lab.flow(vlan, STAYS, rate=self.rate) for vlan in (10, 11, 12)]
        elif time.monotonic() - self.began > self.section:
            self.count()

    def count(self):
        for flow in self.flows:
            flow.stop()
            self.tally['frames sent'] += flow.sent
            self.tally['frames received'] += flow.received_upstream
            self.tally['frames lost'] += len(flow.lost_upstream)
            if flow.lost_upstream:
                raise Violation(f'frames are lost, these of {flow.sent}: {flow.lost_upstream[:20]}: {flow}')
        self.flows = []

    def finish(self):
        self.count()
        super().finish()


class Soak:
    """The labs, and the dice."""

    def __init__(self, seed, say=print):
        self.seed, self.say = seed, say
        self.dice = random.Random(seed)
        self.tally = collections.Counter()
        self.numbers = iter(range(1, 1 << 30))
        self.most_memory = 0
        self.history = collections.deque(maxlen=20)
        self.sides = []
        self.cleanup = contextlib.ExitStack()  # whatever way it ends

    def peak(self, memory):
        self.most_memory = max(self.most_memory, memory)

    def run(self, seconds, burst=8):
        """Runs for so long, and gives what it has counted. A Violation says what was found, and where."""
        self.began = time.monotonic()
        try:
            lab = Lab()
            self.cleanup.callback(lab.close)
            left, right = lab.pair()
            for switch, last in ((left, 1), (right, 2)):
                switch.svi('br20', f'10.0.20.{last}/24')
                switch.svi('br30', f'10.0.30.{last}/24')
            lab.join(left, right, 'br20', index=1011)
            self.sides = [Peer(self, left), Peer(self, right)]
            routed = TaggedLab()
            self.cleanup.callback(routed.close)
            self.sides.append(Router(self, routed))
            self.quiet()
            told = time.monotonic()
            while time.monotonic() < self.began + seconds:
                for _ in range(self.dice.randint(1, burst)):
                    self.happen()
                self.quiet()
                if time.monotonic() - told > 15:
                    told = time.monotonic()
                    self.say(f'{told - self.began:6.0f} s  {self.progress()}')
            for side in self.sides:
                side.finish()
            self.count_fail_overs(left, right)
        except (AssertionError, OSError) as error:
            raise Violation(self.where(error)) from error
        finally:
            self.cleanup.close()
        return self.report()

    def happen(self):
        side = self.dice.choice(self.sides)
        what = side.happenings()
        done = self.dice.choices(list(what), list(what.values()))[0]
        self.note(side, done.__name__)
        done()
        self.tally['events'] += 1

    def quiet(self):
        """Waits until the kernel's devices stand still everywhere and the hardware has what they want, and checks."""
        def settled():
            still = [side.stands_still() for side in self.sides]
            return all(still) and all(side.is_right() for side in self.sides)
        wait_until(settled, 'the hardware holds what is wanted', LONG, every=STANDS_STILL,
                   explain=lambda: '\n'.join(side.needs() for side in self.sides))
        for side in self.sides:
            self.note(side, 'quiet')
            side.quiet()
        self.tally['quiet points'] += 1

    def note(self, side, what):
        self.history.append(f'{time.monotonic() - self.began:.1f} s  {side.switch.name} {what}')

    def count_fail_overs(self, *switches):
        self.tally['fail-overs'] = sum('Entering MASTER STATE' in line for switch in switches
                                       for process in switch.processes for line in process.lines())

    def progress(self):
        return (f'{self.tally["events"]} events, {self.tally["quiet points"]} quiet points, '
                f'{self.tally["starts of the agent"]} new starts, {self.tally["clients"]} clients, '
                f'at most {self.most_memory / 1024:.1f} MB')

    def report(self):
        words = ('events', 'changes of devices', 'fail-overs', 'kills of a daemon', 'stops of a daemon',
                 'reloads of a daemon', 'SVIs deleted', 'reloads', 'reloads refused', 'kills of the agent',
                 'stops of the agent', 'starts of the agent', 'starts without a write', 'overruns', 'clients',
                 'control sockets removed', 'slots emptied and repaired', 'quiet points', 'audits', 'frames sent',
                 'frames received', 'frames lost')
        return {'seed': self.seed, 'seconds': round(time.monotonic() - self.began),
                **{word: self.tally[word] for word in words}, 'peak memory of an agent, kB': self.most_memory}

    def where(self, error):
        said = '\n'.join(f'{side.switch.name}: {side.agent.process.report(last=25)}' for side in self.sides)
        return '\n'.join([f'seed {self.seed}, after {self.tally["events"]} events: {error or type(error).__name__}',
                          'before that:', *(f'    {line}' for line in self.history), said])
