"""When a device routes for its MAC, by what the kernel says of it. The devices are made by hand, without a daemon."""

from agent import SVI10, appears, disappears, programmed, published, removed, withdrawn
from case import SystemTest
from lab import wait_until


class PublishingTest(SystemTest):

    def test_each_condition_alone_decides(self):
        agent = self.agent()
        device = self.left.router(51)
        agent.expect(appears(51))

        for spoil, mend in ((f'link set {device} down', f'link set {device} up'),
                            (f'link set {device} protodown on', f'link set {device} protodown off'),
                            (f'addr del 192.0.2.51/32 dev {device}', f'addr add 192.0.2.51/32 dev {device}')):
            with self.subTest(spoil):
                self.left.ip(f'link set {device} addrgenmode none', f'addr flush dev {device} scope link')
                self.left.ip(spoil)
                agent.expect(disappears(51))
                self.left.ip(mend)
                agent.expect(appears(51))

    def test_carrier_of_the_svi(self):
        agent = self.agent()
        self.left.router(51)
        agent.expect(appears(51))

        self.left.carrier('br10', False)
        agent.expect(disappears(51))
        self.left.carrier('br10', True)
        agent.expect(appears(51))

    def test_protocol_down_with_carrier(self):
        agent = self.agent()
        device = self.left.router(51)
        agent.expect(appears(51))
        self.left.ip(f'link set {device} protodown on')
        agent.expect(disappears(51))

        # The carrier of the SVI comes back, and the kernel gives carrier to a device that is protocol-down.
        self.left.carrier('br10', False)
        self.left.carrier('br10', True)
        wait_until(lambda: 'LOWER_UP' in self.left.show(device)['flags'], 'the device has carrier')
        self.assertTrue(self.left.show(device)['proto_down'])
        agent.quiet(0.3)

        self.left.ip(f'link set {device} protodown off')
        agent.expect(appears(51))

    def test_the_link_local_address_of_the_svi_does_not_count(self):
        agent = self.agent()
        below = next(entry['local'] for entry in self.left.show('br10')['addr_info'] if entry['scope'] == 'link')
        self.left.ip('link add vr.51 link br10 address 00:00:5e:00:02:33 type macvlan mode private',
                     'link set vr.51 addrgenmode none',
                     'link set vr.51 up',
                     f'addr add {below}/64 dev vr.51 nodad')
        agent.quiet(0.2)

        self.left.ip('addr add fe80::51/64 dev vr.51 nodad')
        agent.expect(appears(51, ipv6=True))

        self.left.ip('addr del fe80::51/64 dev vr.51')
        agent.expect(disappears(51, ipv6=True))

    def test_what_is_not_a_virtual_router(self):
        agent = self.agent()
        self.left.svi('br20', '10.0.20.1/24')

        self.left.ip('link add vr.51 link br20 address 00:00:5e:00:01:33 type macvlan mode private',
                     'link add other link br10 address 02:00:5e:00:01:34 type macvlan mode private',
                     'link add close link br10 address 00:00:5e:00:03:35 type macvlan mode private',
                     'link add none link br10 address 00:00:5e:00:01:00 type macvlan mode private',
                     *(f'addr add 192.0.2.{n}/32 dev {name}'
                       for n, name in enumerate(('vr.51', 'other', 'close', 'none'), 1)),
                     *(f'link set {name} up' for name in ('vr.51', 'other', 'close', 'none')))

        agent.quiet(0.3)

    def test_more_addresses_change_nothing(self):
        agent = self.agent()
        device = self.left.router(51)
        agent.expect(appears(51))

        self.left.ip(*(f'addr add 192.0.2.{n}/32 dev {device}' for n in range(100, 110)),
                     f'addr del 192.0.2.51/32 dev {device}',
                     f'link set {device} mtu 1400')
        agent.quiet(0.3)

        self.left.ip(f'link del {device}')
        agent.expect(disappears(51))

    def test_another_mac_for_the_same_device(self):
        agent = self.agent()
        device = self.left.router(51)
        agent.expect(appears(51))

        self.left.ip(f'link set {device} address 00:00:5e:00:01:34')

        agent.expect(disappears(51) + appears(52))

    def test_another_name_for_the_same_device(self):
        agent = self.agent()
        device = self.left.router(51)
        agent.expect(appears(51))

        self.left.ip(f'link set {device} name other')
        agent.quiet(0.2)

        self.left.ip('link del other')
        agent.expect(disappears(51))

    def test_an_svi_that_is_made_after_the_agent(self):
        agent = self.agent(interfaces=[SVI10, {'name': 'br20', 'vlan': 20, 'secondaryVlans': [21]}])

        self.left.svi('br20', '10.0.20.1/24')
        self.left.router(51, 'br20')
        agent.expect(appears(51, [20, 21], interface='br20'))

        self.left.ip('link del br20', 'link del port-br20')
        agent.expect(disappears(51, [20, 21], interface='br20'))

        self.left.svi('br20', '10.0.20.1/24')
        self.left.router(51, 'br20')
        agent.expect(appears(51, [20, 21], interface='br20'))

    def test_one_virtual_router_number_on_two_svis(self):
        agent = self.agent(interfaces=[SVI10, {'name': 'br20', 'vlan': 20}])
        self.left.svi('br20', '10.0.20.1/24')

        self.left.router(51)
        self.left.router(51, 'br20', name='vr20.51')
        agent.expect(appears(51) + appears(51, [20], interface='br20'))

        self.left.ip('link del vr.51')
        agent.expect(disappears(51))
        self.assertEqual({(row.vlan, row.interface) for row in agent.table().rows}, {(20, 'br20')})

    def test_many_virtual_routers_at_once(self):
        agent = self.agent(indexes=600)
        vrids = range(1, 201)

        self.left.ip(*(f'link add vr.{n} link br10 address 00:00:5e:00:01:{n:02x} type macvlan mode private'
                       for n in vrids),
                     *(f'addr add 192.0.2.{n}/32 dev vr.{n}' for n in vrids),
                     *(f'link set vr.{n} up' for n in vrids))
        agent.expect(sum((appears(n) for n in vrids), []))

        self.left.carrier('br10', False)
        agent.expect(sum((disappears(n) for n in vrids), []))

    def test_a_withdrawal_says_why(self):
        agent = self.agent()
        device = self.left.router(51)
        agent.expect(appears(51))

        self.left.ip(f'link set {device} down')
        agent.expect(withdrawn(51) + removed(51))

        self.left.ip(f'link set {device} up')
        agent.expect(published(51) + programmed(51))
        said = [line for line in agent.process.lines() if line.startswith('withdrawn')]
        self.assertRegex(said[0], rf'^withdrawn +br10 +00:00:5e:00:01:33 +{device}: \S')
