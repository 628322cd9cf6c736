"""A switch that routes for hosts on several VLANs, an upstream host behind it, and counted frames between them.

    with TaggedLab() as lab:              on any kernel: the hosts tag their frames, the SVI is the bridge br10
    with FilteringLab() as lab:           with VLANs in the kernel: access ports, the SVI is br0.10 on the bridge br0
        lab.router(51)                    the macvlan of a virtual router, as its daemon would make it
        agent = Agent(lab.switch, interfaces=[lab.interface], ...)
        with lab.flow(11, 51) as flow:
            ...

    host 10 ── port-10 ┌──────────────┐
    host 11 ── port-11 │ bridge  SVI  │ uplink ── upstream
    host 12 ── port-12 │ 10, 11, 12   │ 10.1.0.1  10.1.0.2
    host 20 ── port-20 │              │
    witness ── trunk   └──────────────┘

VLAN 10 is the SVI's own, 11 and 12 are secondary VLANs of it, 20 is not of the set. All hosts have an address of the
SVI's network, so that it is for nothing but the VLAN that one is not routed. The hosts and everything on their way have
static neighbours; the way back to the secondary ports is made here: frames of VLAN 10 leave them without a tag. The
witness is on all VLANs, and hears what is flooded.

In both, a frame that the hardware does not know is not routed. Where the SVI would take it all the same, because the
macvlan above it makes the bridge take every frame, that is undone: see router().
"""

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
            self.hosts = {vlan: self.namespace(f'host-{vlan}') for vlan in VLANS}
            self.witness = self.namespace('witness')
            self.upstream = self.namespace('upstream')
            self.switch.sysctl({'net/ipv4/ip_forward': 1, 'net/ipv4/conf/all/rp_filter': 0,
                                'net/ipv4/conf/default/rp_filter': 0})
            self._make_bridge()
            self._make_upstream()
            self.engine = Engine(self.upstream.directory)
            self.engine.start('answer', self.upstream)
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
        return Flow(self.engine, self.hosts[vlan], source_mac=self.host_mac(vlan), router_mac=mac(vrid),
                    source=self.host_address(vlan), destination=UPSTREAM,
                    vlan=self._tag(vlan) if tag is None else tag, rate=rate, count=count)

    def listen(self, vrid, namespace=None, interface='eth0'):
        """Counts frames to the MAC of a virtual router where they should not be: at the witness, if not told."""
        return Listener(self.engine, namespace or self.witness, interface, mac(vrid))

    def _tag(self, vlan):
        raise NotImplementedError

    # How it is made

    def _make_bridge(self):
        raise NotImplementedError

    def _add_port(self, port, namespace, address, number):
        # Two ends that differ in their index: see join().
        self.switch.ip(f'link add {port} index {1000 + number} type veth peer name eth0 index {2000 + number} '
                       f'address {address} netns {namespace.pid}',
                       f'link set {port} master {self.bridge} up')
        namespace.ip('link set eth0 up')

    def _add_ports(self):
        for number, vlan in enumerate(VLANS):
            self._add_port(self.ports[vlan], self.hosts[vlan], self.host_mac(vlan), number)
        self._add_port('trunk', self.witness, '02:00:00:00:01:fe', len(VLANS))

    def _wait_ports(self):
        for port in (*self.ports.values(), 'trunk'):
            wait_until(lambda: self.switch.forwards(port), f'{port} forwards', 3.0)

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
        self.switch.ip('link add br10 type bridge stp_state 0 forward_delay 0 mcast_snooping 0', 'link set br10 up')
        self._add_ports()
        self._wait_ports()

    def _tag(self, vlan):
        return vlan


class FilteringLab(RoutedLab):
    """A bridge with VLAN filtering: the hosts are on access ports, and tag nothing."""

    bridge, svi = 'br0', 'br0.10'

    def _make_bridge(self):
        self.switch.ip('link add br0 address 02:00:00:00:00:01 type bridge vlan_filtering 1 vlan_default_pvid 0 '
                       'stp_state 0 forward_delay 0 mcast_snooping 0',
                       'link set br0 up')
        self._add_ports()
        self.vlan(*(f'add dev {self.ports[vlan]} vid {vlan} pvid untagged' for vlan in VLANS),
                  *(f'add dev {self.ports[vlan]} vid {PRIMARY} untagged' for vlan in SECONDARY),
                  *(f'add dev trunk vid {vlan}' for vlan in VLANS),
                  *(f'add dev br0 vid {vlan} self' for vlan in VLANS))
        # The bridge knows the host of a secondary port by its own VLAN: without this, answers would be flooded.
        self.fdb(*(f'add {self.host_mac(vlan)} dev {self.ports[vlan]} vlan {PRIMARY} master static'
                   for vlan in SECONDARY))
        self.switch.ip(f'link add br0.10 link br0 type vlan id {PRIMARY}', 'link set br0.10 up')
        self._wait_ports()

    def _tag(self, vlan):
        return 0

    def vlan(self, *lines):
        """Runs lines of bridge vlan."""
        self._bridge(*(f'vlan {line}' for line in lines))

    def fdb(self, *lines):
        """Runs lines of bridge fdb."""
        self._bridge(*(f'fdb {line}' for line in lines))

    def _bridge(self, *lines):
        self.switch.run(need('bridge', 'iproute2'), '-batch', '-', text='\n'.join(lines) + '\n')

    def tc(self, *lines):
        """Runs lines of tc."""
        self.switch.run(need('tc', 'iproute2'), '-batch', '-', text='\n'.join(lines) + '\n')

    def only_by_entry(self, *vrids):
        """A macvlan that comes up enters its MAC into the filter of the SVI; the bridge below has no such filter and
        takes every frame from then on, flooded ones as well. Hardware does not do that: so it leaves the filter."""
        self.fdb(*(f'del {mac(vrid)} dev {self.svi} self' for vrid in vrids))
        wait_until(lambda: self.switch.show(self.bridge)['promiscuity'] == 0, f'{self.bridge} does not take every frame')
