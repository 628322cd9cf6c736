"""What is asked of the product, and what came of it: a row for each goal. Lower is better everywhere."""

import collections
import statistics

# value and other are lists, one figure for each repetition; the goals are about value over other, or about value itself
# when there is no other.
Goal = collections.namedtuple('Goal', 'what pairs value other must aim unit', defaults=('',))

CYCLES = {  # of so many pairs: what must be reached and what is aimed at, for first / again / delete
    '10x10': ('100', (1.3, 1.0, 1.8), (0.95, 0.55, 1.35)),
    '4094x16': ('65,504', (0.9, 1.4, 1.5), (0.45, 1.0, 1.0)),
    '4094x150': ('614,100', (0.9, 0.7, 0.6), (0.5, 0.32, 0.3)),
    '4094x255': ('1,043,970', (0.9, 0.7, 0.6), (0.5, 0.32, 0.3)),
}
PHASES = {'first': 'add first time', 'again': 'add again', 'delete': 'delete'}
ORDERS = {'arrival': 'in the order of arrival', 'reverse': 'in reverse', 'random': 'in random order'}
LINES = {'waiting': 'delete of waiting pairs', 'duplicates': 'the same, 100 pairs waiting very often'}
COUNTS = {'10k': '10,000', '1M': '1,000,000'}
TRACES = 4000  # in one step of the loops with and without traces
CALLS = 1000  # in one step of the loops of notification


def goals(figures, memory):
    """All goals of which there are figures: figures[benchmark, subject, phase] and memory[what, subject, pairs]."""
    def pair(what, pairs, bench, phase, must, aim):
        if (bench, 'product', phase) in figures:
            yield Goal(what, pairs, figures[bench, 'product', phase], figures[bench, 'floor', phase], must, aim)

    def within(what, pairs, value, other, must, aim, unit=''):
        if value in figures and other in figures:
            yield Goal(what, pairs, figures[value], figures[other], must, aim, unit)

    for size, (pairs, must, aim) in CYCLES.items():
        for number, (phase, name) in enumerate(PHASES.items()):
            yield from pair(name, pairs, f'cycle/{size}/sequential/enough', phase, must[number], aim[number])
    yield from pair('removal by VLAN, at teardown', '1,043,970', 'teardown/4094x255', 'teardown', 1.2, 0.9)
    for line, name in LINES.items():
        for order, how in ORDERS.items():
            for count, pairs in COUNTS.items():
                yield from pair(f'{name}, {how}', pairs, f'{line}/{order}/{count}', 'leave', 1.5, 1.0)
    for line, name in LINES.items():
        for order, how in ORDERS.items():
            many, few = ((f'{line}/{order}/{count}', 'product', 'leave') for count in ('1M', '10k'))
            floor_many, floor_few = ((f'{line}/{order}/{count}', 'floor', 'leave') for count in ('1M', '10k'))
            if many in figures and few in figures:
                growth = statistics.median(figures[floor_many]) / statistics.median(figures[floor_few])
                # No more than the caches cost the floor, which is more than what must be reached now and then.
                yield from within(f'{name}, {how}: product, 1,000,000 over 10,000 (the floor: {growth:.1f})', '', many,
                                  few, 3.0, min(growth, 3.0))
    for size, (pairs, _, _) in CYCLES.items():
        for phase, name in PHASES.items():
            yield from within(f'{name}: product, sequential over random MACs', pairs,
                              (f'cycle/{size}/sequential/enough', 'product', phase),
                              (f'cycle/{size}/random/enough', 'product', phase), 1.1, 1.0)
    for what, must, aim in (('programmed', 64, 54), ('waiting', 40, 36)):
        of = {count: value for (kind, subject, count), (value, _) in memory.items()
              if (kind, subject) == (what, 'product')}
        if of:
            worst = max(of, key=of.get)
            yield Goal(f'memory of a {what} pair, the most of all sizes', f'{worst:,}', [of[worst]], None, must, aim,
                       ' bytes')
    if ('longest', 'product', 'processor') in figures:
        yield Goal('longest single event while growing to 2,087,940 pairs, processor time', '',
                   figures['longest', 'product', 'processor'], None, 40, 22, ' ms')
    told, called = ('changes/1', 'framework', 'time'), ('directCalls/1', 'framework', 'time')
    if told in figures:
        more = [(one - other) / CALLS for one, other in zip(figures[told], figures[called])]
        yield Goal('one notification, one watcher: more than a direct virtual call', '', more, None, 5, 1, ' ns')
    on, off = ('withTraces', 'framework', 'time'), ('withoutTraces', 'framework', 'time')
    if on in figures:
        more = [(one - other) / TRACES for one, other in zip(figures[on], figures[off])]
        yield Goal('a trace that is off (aim: below measurement)', '', more, None, 1, 0.1, ' ns')
    yield from within('start that adopts all: product, over publishing them', '65,504',
                      ('start/4094x16', 'product', 'adopt'), ('start/4094x16', 'product', 'publish'), 1.0, 0.5)


def verdict(goal):
    reached = ratio(goal)
    if reached <= goal.aim:
        return 'aim'
    if reached <= goal.must:
        return 'must'
    return f'**missed by {reached / goal.must:.2f}×**' if goal.must else '**missed**'


def ratio(goal):
    """The median over the repetitions, of the ratio or of the value itself."""
    return statistics.median(goal.value if goal.other is None else
                             [one / other for one, other in zip(goal.value, goal.other)])


def best(goal):
    """The same of the least disturbed repetitions."""
    return min(goal.value) / (1 if goal.other is None else min(goal.other))


def number(value):
    return f'{value:,.0f}' if value >= 1000 else f'{value:.3g}' if value >= 100 else f'{value:.2f}'


HEAD = ('what', 'pairs', 'product', 'floor', 'ratio', 'of the lowest', 'must', 'aim', 'verdict')


def rows(all_goals):
    for goal in all_goals:
        value = [number(statistics.median(goal.value)) + goal.unit]
        if goal.other is None:
            value += ['', number(ratio(goal)) + goal.unit, number(best(goal)) + goal.unit]
        else:
            value += [number(statistics.median(goal.other)), f'{ratio(goal):.2f}', f'{best(goal):.2f}']
        yield [goal.what, goal.pairs, *value, f'{goal.must:g}{goal.unit}',
               f'{goal.aim:.3g}{goal.unit}', verdict(goal)]
