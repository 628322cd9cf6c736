"""A switch that routes for hosts on several VLANs, an upstream host behind it, and counted frames between them.

    with TaggedLab() as lab:              on any kernel: the hosts tag their frames, the SVI is the bridge br10
    with FilteringLab() as lab:           with VLANs in the kernel: access ports, the SVI is br0.10 on the bridge br0
        lab.router(51)                    the macvlan of a virtual router, as its daemon would make it
        agent = Agent(lab.switch, interfaces=[lab.interface], ...)
        with lab.flow(11, 51) as flow:
            ...

    host-10 ── port-10 ┌──────────────┐
    host-11 ── port-11 │ bridge  SVI  │ uplink ── upstream
    host-12 ── port-12 │ 10, 11, 12   │ 10.1.0.1  10.1.0.2
    host-20 ── port-20 │              │
    witness ── trunk   └──────────────┘

VLAN 10 is the SVI's own, 11 and 12 are secondary VLANs of it, 20 is not of the set. All hosts have an address of the
SVI's network, so that it is for nothing but the VLAN that one is not routed. The hosts and everything on their way have
static neighbours; the way back to the secondary ports is made here: frames of VLAN 10 leave them without a tag. The
witness is on all VLANs, and hears what is flooded. A host is an interface without any address, on which packet sockets
send and receive: so all of them are in one namespace, of which nothing is seen on the wires.

In both, a frame that the hardware does not know is not routed. Where the SVI would take it all the same, because the
macvlan above it makes the bridge take every frame, that is undone: see router().
"""

import json

from agent import SVI10
from daemons import mac
from frames import Engine, Flow, Listener
from lab import Lab, need, wait_until

PRIMARY, SECONDARY, OUTSIDE = 10, (11, 12), 20
VLANS = (PRIMARY, *SECONDARY, OUTSIDE)
GATEWAY, UPLINK, UPSTREAM = '10.0.10.1', '10.1.0.1', '10.1.0.2'


class RoutedLab(Lab):
    """What the two have in common."""

    bridge = svi = None

    def __init__(self):
        super().__init__()
        self.engine = None
        try:
            self.switch = super().switch('switch')
            self.hosts = self.namespace('hosts')
            self.upstream = self.namespace('upstream')
            self.switch.sysctl({'net/ipv4/ip_forward': 1, 'net/ipv4/conf/all/rp_filter': 0,
                                'net/ipv4/conf/default/rp_filter': 0})
            self._make_bridge()
            self.hosts.ip(*(f'link set host-{vlan} up' for vlan in VLANS), 'link set witness up')
            self._make_upstream()
            self.engine = Engine(self.upstream.directory)
            self.engine.start('answer', self.upstream)
            ports = {*self.ports.values(), 'trunk'}
            wait_until(lambda: self._forwarding() == ports, f'{ports} forward', 3.0)
        except BaseException:
            self.close()
            raise

    def close(self):
        if self.engine is not None:
            self.engine.close()
        super().close()

    # What there is

    @property
    def interface(self):
        """The SVI as it stands in the agent's configuration."""
        return {**SVI10, 'name': self.svi}

    @property
    def ports(self):
        """The ports of the hosts, by VLAN."""
        return {vlan: f'port-{vlan}' for vlan in VLANS}

    @staticmethod
    def host_mac(vlan):
        return f'02:00:00:00:01:{vlan:02x}'

    @staticmethod
    def host_address(vlan):
        return f'10.0.10.{100 + vlan}'

    def router(self, *vrids):
        """Makes the devices of virtual routers, without a daemon behind them."""
        for vrid in vrids:
            self.switch.router(vrid, self.svi)
        self.only_by_entry(*vrids)

    def only_by_entry(self, *vrids):
        """After a macvlan has come up: sees to it that its frames reach the SVI by the hardware alone."""

    # Frames

    def flow(self, vlan, vrid, rate=1000, count=None, tag=None):
        """The host on a VLAN sends frames for the upstream host to the MAC of a virtual router; tag: another VLAN tag
        than it has to send, 0 for none."""
        return Flow(self.engine, self.hosts, f'host-{vlan}', source_mac=self.host_mac(vlan), router_mac=mac(vrid),
                    source=self.host_address(vlan), destination=UPSTREAM,
                    vlan=self._tag(vlan) if tag is None else tag, rate=rate, count=count)

    def flooded(self, vrid):
        """Counts the frames to the MAC of a virtual router that the bridge floods, by their VLAN."""
        return Listener(self.engine, self.hosts, 'witness', mac(vrid))

    def up(self, vrid):
        """Counts the frames to the MAC of a virtual router that the bridge takes, by the tag with which they come up."""
        return Listener(self.engine, self.switch, self.bridge, mac(vrid))

    def _tag(self, vlan):
        raise NotImplementedError

    # How it is made

    def _make_bridge(self):
        raise NotImplementedError

    def _add_ports(self):
        """The lines that make the ports of the bridge. The two ends of a veth differ in their index: see join()."""
        ends = [(self.ports[vlan], f'host-{vlan}', self.host_mac(vlan)) for vlan in VLANS]
        for number, (port, end, address) in enumerate([*ends, ('trunk', 'witness', '02:00:00:00:01:fe')]):
            yield (f'link add {port} index {1000 + number} type veth peer name {end} index {2000 + number} '
                   f'address {address} netns {self.hosts.pid}')
            yield f'link set {port} master {self.bridge} up'

    def _forwarding(self):
        """The ports of the bridge that forward."""
        links = json.loads(self.switch.run('ip', '-j', '-d', 'link', 'show', 'master', self.bridge))
        return {link['ifname'] for link in links if link['linkinfo']['info_slave_data']['state'] == 'forwarding'}

    def _make_upstream(self):
        self.switch.ip(f'addr add {GATEWAY}/24 dev {self.svi}',
                       *(f'neigh add {self.host_address(vlan)} lladdr {self.host_mac(vlan)} dev {self.svi}'
                         for vlan in VLANS),
                       'link add uplink index 1100 address 02:00:00:00:02:01 type veth peer name eth0 index 2100 '
                       f'address 02:00:00:00:02:02 netns {self.upstream.pid}',
                       'link set uplink up', f'addr add {UPLINK}/24 dev uplink',
                       f'neigh add {UPSTREAM} lladdr 02:00:00:00:02:02 dev uplink')
        self.upstream.ip('link set eth0 up', f'addr add {UPSTREAM}/24 dev eth0',
                         f'neigh add {UPLINK} lladdr 02:00:00:00:02:01 dev eth0',
                         f'route add default via {UPLINK}')


class TaggedLab(RoutedLab):
    """A bridge without VLAN filtering, which is itself the SVI. An untagged frame to a virtual router's MAC would be
    routed with no hardware at all, so every host tags its frames: what comes up with a tag is for nobody."""

    bridge = svi = 'br10'

    def _make_bridge(self):
        # With an address of its own: it would take another one when a port goes, and forget its neighbours.
        self.switch.ip('link add br10 address 02:00:00:00:00:01 type bridge stp_state 0 forward_delay 0 '
                       'mcast_snooping 0', 'link set br10 up',
                       *self._add_ports())

    def _tag(self, vlan):
        return vlan


class FilteringLab(RoutedLab):
    """A bridge with VLAN filtering: the hosts are on access ports, and tag nothing."""

    bridge, svi = 'br0', 'br0.10'

    def _make_bridge(self):
        self.switch.ip('link add br0 address 02:00:00:00:00:01 type bridge vlan_filtering 1 vlan_default_pvid 0 '
                       'stp_state 0 forward_delay 0 mcast_snooping 0',
                       'link set br0 up',
                       *self._add_ports(),
                       f'link add br0.10 link br0 type vlan id {PRIMARY}', 'link set br0.10 up')
        self.run_bridge(*(f'vlan add dev {self.ports[vlan]} vid {vlan} pvid untagged' for vlan in VLANS),
                        *(f'vlan add dev {self.ports[vlan]} vid {PRIMARY} untagged' for vlan in SECONDARY),
                        *(f'vlan add dev trunk vid {vlan}' for vlan in VLANS),
                        *(f'vlan add dev br0 vid {vlan} self' for vlan in VLANS),
                        # The bridge learns the host of a secondary port on its own VLAN: answers would be flooded.
                        *(f'fdb add {self.host_mac(vlan)} dev {self.ports[vlan]} vlan {PRIMARY} master static'
                          for vlan in SECONDARY))

    def _tag(self, vlan):
        return 0

    def run_bridge(self, *lines):
        """Runs lines of bridge, in one process."""
        self.switch.run(need('bridge', 'iproute2'), '-batch', '-', text='\n'.join(lines) + '\n')

    def tc(self, *lines):
        """Runs lines of tc, in one process."""
        self.switch.run(need('tc', 'iproute2'), '-batch', '-', text='\n'.join(lines) + '\n')

    def only_by_entry(self, *vrids):
        """A macvlan that comes up enters its MAC into the filter of the SVI; the bridge below has no such filter and
        takes every frame from then on, flooded ones as well. Hardware does not do that: so it leaves the filter."""
        self.run_bridge(*(f'fdb del {mac(vrid)} dev {self.svi} self' for vrid in vrids))
        wait_until(lambda: self.switch.show(self.bridge)['promiscuity'] == 0, f'{self.bridge} does not take every frame')
