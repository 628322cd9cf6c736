"""A plot of cost per key against the number of keys, as an SVG that is readable on light and on dark paper."""

import math

WIDTH, HEIGHT = 300, 230  # of a panel, without its margins
LEFT, TOP, GAP, BOTTOM = 52, 46, 46, 76
COLORS = {'product': '#1f8fdd', 'floor': '#d9822b', 'naive': '#8a8f98'}
DASHES = {'product': '', 'floor': '6 3', 'naive': '2 3'}
NAMES = {'product': 'product', 'floor': 'floor: by hand, flat hash tables', 'naive': 'naive: standard containers'}
TEXT, GRID = '#7d858f', '#7d858f55'


def text(x, y, what, anchor='middle', size=11, weight='normal'):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}" font-weight="{weight}" '
            f'fill="{TEXT}">{what}</text>')


def panel(left, title, curves, most):
    """curves: subject -> list of (keys, nanoseconds)."""
    def x(keys):
        return left + (math.log10(keys) - 2) / 4.05 * WIDTH

    def y(time):
        return TOP + HEIGHT - time / most * HEIGHT

    out = [text(left + WIDTH / 2, TOP - 12, title, size=13, weight='bold')]
    for power in range(2, 7):
        at = x(10 ** power)
        out.append(f'<line x1="{at:.1f}" y1="{TOP}" x2="{at:.1f}" y2="{TOP + HEIGHT}" stroke="{GRID}"/>')
        out.append(text(at, TOP + HEIGHT + 16, f'{10 ** power:,}'.replace(',000,000', ' M').replace(',000', ' k')))
    step = next(step for step in (5, 10, 20, 25, 50, 100, 200, 500) if most / step <= 8)
    for time in range(0, int(most) + 1, step):
        out.append(f'<line x1="{left}" y1="{y(time):.1f}" x2="{left + WIDTH}" y2="{y(time):.1f}" stroke="{GRID}"/>')
        out.append(text(left - 6, y(time) + 4, str(time), 'end'))
    for subject, points in curves.items():
        line = ' '.join(f'{x(keys):.1f},{y(time):.1f}' for keys, time in points)
        out.append(f'<polyline points="{line}" fill="none" stroke="{COLORS[subject]}" stroke-width="2" '
                   f'stroke-dasharray="{DASHES[subject]}"/>')
        out += [f'<circle cx="{x(keys):.1f}" cy="{y(time):.1f}" r="3" fill="{COLORS[subject]}"/>'
                for keys, time in points]
    return out


def svg(panels):
    """panels: title -> curves."""
    most = 1.05 * max(time for curves in panels.values() for points in curves.values() for _, time in points)
    width = LEFT + len(panels) * (WIDTH + GAP)
    height = TOP + HEIGHT + BOTTOM
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" height="{height}" '
           'font-family="sans-serif">']
    for number, (title, curves) in enumerate(panels.items()):
        out += panel(LEFT + number * (WIDTH + GAP), title, curves, most)
    out.append(f'<text transform="translate(14 {TOP + HEIGHT / 2}) rotate(-90)" text-anchor="middle" font-size="11" '
               f'fill="{TEXT}">nanoseconds for each pair</text>')
    out.append(text(LEFT + (width - LEFT - GAP) / 2, TOP + HEIGHT + 36, 'pairs'))
    at = LEFT
    for subject, name in NAMES.items():
        out.append(f'<line x1="{at}" y1="{height - 16}" x2="{at + 30}" y2="{height - 16}" stroke="{COLORS[subject]}" '
                   f'stroke-width="2" stroke-dasharray="{DASHES[subject]}"/>')
        out.append(text(at + 38, height - 12, name, 'start', 12))
        at += 250
    return '\n'.join([*out, '</svg>', ''])
