"""The hardware as somebody else sees it, without the agent: what a test compares with what the agent says."""

import struct


class MemoryHardware:
    """A slot table in a file: 64 bytes of header, then a word for each slot, 4 bits 0xA, 12 VLAN, 48 MAC; 0 is free."""

    kind = 'memory'

    def __init__(self, switch):
        self._path = switch.path('slots')

    def settings(self):
        """For the agent's configuration, beside kind and indexes."""
        return {'path': self._path}

    def entries(self):
        """The index of each pair."""
        try:
            with open(self._path, 'rb') as file:
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

    def empty(self):
        """As it is before an agent has ever run."""
        try:
            with open(self._path, 'r+b') as file:
                file.truncate(0)
        except FileNotFoundError:
            pass
