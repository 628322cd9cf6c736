"""What the benchmark scripts share: on which machine they ran, and the measured parts of docs/performance.md."""

import pathlib
import platform

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = ROOT / 'docs' / 'performance.md'
END = '<!-- end -->\n'


def machine():
    with open('/proc/cpuinfo', encoding='ascii', errors='replace') as processors:
        lines = [line.partition(':')[2].strip() for line in processors if line.startswith('model name')]
    return f'{len(lines)} × {lines[0] if lines else platform.machine()}, Linux {platform.release()}'


def table(head, rows):
    """Lines of Markdown: the first column to the left, the others to the right."""
    return ['', f'| {" | ".join(head)} |', f'|---|{"---:|" * (len(head) - 1)}',
            *(f'| {" | ".join(row)} |' for row in rows)]


def write(command, text):
    """Puts the text into the part of the document that this command measures."""
    begin = f'<!-- measured: {command} -->\n'
    before, found, rest = DOCUMENT.read_text(encoding='utf-8').partition(begin)
    if not found:
        raise SystemExit(f'there is no part "{begin.strip()}" in {DOCUMENT.relative_to(ROOT)}')
    _, _, after = rest.partition(END)
    DOCUMENT.write_text(f'{before}{begin}{text}{END}{after}', encoding='utf-8')
