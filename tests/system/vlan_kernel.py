"""Runs a program in a kernel with VLAN filtering and 802.1Q devices, which the machine's own kernel may lack.

    if (why := vlan_kernel.obstacle()) is None:
        done = vlan_kernel.run(['/usr/bin/ip', 'link'], on_line=print)

It is Debian's user-mode Linux: a process like any other, so it needs no support for virtualisation, and any number of
them run at once. It boots in two seconds on the root file system that it is started from, also in a change of root, and
sees all of it at the same paths, but read-only; /tmp and /run are its own and empty, except for the checkout and what
else is named. It is gone, with everything in it, when the program has ended, when its time is over, and when the
process that started it dies.
"""

import collections
import glob
import os
import shlex
import shutil
import signal
import subprocess
import tempfile
import threading

from agent import PROGRAM, REPOSITORY
from lab import PYTHON

KERNEL = '/usr/bin/linux.uml'
MODULES = '/usr/lib/uml/modules'
LOADED = ('ipv6', 'bridge', '8021q', 'macvlan', 'veth', 'dummy', 'nf_tables', 'sch_ingress', 'cls_bpf', 'cls_flower',
          'cls_matchall', 'cls_u32', 'act_vlan', 'act_mirred', 'act_bpf', 'act_gact', 'act_skbedit')
REGISTERS = [os.path.join(build, 'tests/system/kernel/libwide_registers.so')
             for build in (os.path.dirname(os.path.dirname(PROGRAM)), os.path.join(REPOSITORY, 'build/release'))]

# The first process of that kernel. What it cannot do, it says on the console; the kernel goes off in any case.
INIT = r'''#!/bin/sh
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8
mount -t proc proc /proc && mount -t sysfs sysfs /sys && mount -t tmpfs tmpfs /run && mount -t tmpfs tmpfs /tmp || exit
chmod 1777 /tmp
[ -c /dev/null ] || mount -t devtmpfs devtmpfs /dev || exit
[ -e /dev/fd ] || ln -s /proc/self/fd /dev/fd
mount -t bpf bpf /sys/fs/bpf || exit
@visible@
mkdir -p @folder@ && mount -t hostfs none @folder@ -o @folder@ || exit
mkdir -p /run/modules/lib && ln -s @modules@ /run/modules/lib/modules || exit
modprobe -d /run/modules -a @loaded@ || exit
cd @checkout@ || exit
@environment@
stty -opost </dev/ttyS0
# It has one processor, of a machine that may be busy: frames wait rather than get lost.
echo 20000 >/proc/sys/net/core/netdev_max_backlog
echo >@folder@/up
{
   timeout --kill-after=2 @limit@ @command@ </dev/null 2>&1
   echo $? >@folder@/status
} | cat >/dev/ttyS0
sync
@python@ -I -S -c 'import ctypes; ctypes.CDLL(None).reboot(0x4321fedc)'
'''


# Booted: whether the program was started at all. Status: what it ended with, 124 when its time was over and None when
# the kernel ended before it. Console: what the kernel itself had to say, which is little when all went well.
class Done(collections.namedtuple('Done', 'booted status console')):

    @property
    def last_words(self):
        """The last line of the console that says something: a panic is but the end of it."""
        said, _, _ = self.console.partition('Kernel panic')
        return ([line.strip() for line in said.splitlines() if line.strip()] or ['it says nothing'])[-1]


def obstacle():
    """Why that kernel cannot run here, or None."""
    if os.geteuid() != 0:
        return 'the VLAN-aware kernel is run as root'
    if not os.access(KERNEL, os.X_OK):
        return f'there is no {KERNEL}: install the package user-mode-linux (scripts/setup does)'
    if not glob.glob(f'{MODULES}/*/modules.dep'):
        return f'{KERNEL} has no modules below {MODULES}: install the package user-mode-linux again'
    if shutil.which('modprobe', path='/usr/sbin:/sbin:/usr/bin') is None:
        return 'there is no modprobe: install the package kmod (scripts/setup does)'
    if _registers() is None and _wide():
        return f'{KERNEL} ends on this processor (AMX) without {REGISTERS[0]}: build it first'
    if any(character in tempfile.gettempdir() for character in ' ,"\'\\'):
        return f'the path of the temporary folder is not one that a kernel can be told: {tempfile.gettempdir()}'
    return None


def _registers():
    return next(filter(os.path.exists, REGISTERS), None)


def _wide():
    with open('/proc/cpuinfo', encoding='ascii', errors='replace') as processors:
        return any(line.startswith('flags') and 'amx_tile' in line.split() for line in processors)


def _init(folder, command, visible, limit):
    """The script of the first process. Folders that its own /tmp and /run would hide are mounted into these."""
    hidden = [path for path in visible if path.startswith(('/tmp/', '/run/'))]
    words = {
        'visible': '\n'.join(f'mkdir -p {path} && mount -t hostfs -o ro,{path} none {path} || exit'
                             for path in map(shlex.quote, hidden)),
        'folder': folder,
        'modules': MODULES,
        'loaded': ' '.join(LOADED),
        'checkout': shlex.quote(REPOSITORY),
        'environment': '\n'.join(f'export {name}={shlex.quote(value)}' for name, value in os.environ.items()
                                 if name.startswith('ORLO')),
        'limit': f'{limit:g}',
        'command': shlex.join(command),
        'python': PYTHON,
    }
    text = INIT
    for name, value in words.items():
        text = text.replace(f'@{name}@', value)
    return text


def run(command, on_line=None, limit=120.0, visible=()):
    """Boots the kernel, runs a command in the checkout's folder and waits for its end, limit seconds at most. Calls
    on_line with each line that the command prints, as it comes. visible: more folders below /tmp or /run that the
    command needs."""
    with tempfile.TemporaryDirectory(prefix='orlo-kernel-') as folder:
        path = os.path.join(folder, 'init')
        with open(path, 'w', encoding='utf-8') as out:
            out.write(_init(folder, command, [REPOSITORY, os.path.dirname(os.path.dirname(PROGRAM)), *visible], limit))
        os.chmod(path, 0o755)
        console = _boot(folder, path, on_line, limit + 20)

        booted = os.path.exists(os.path.join(folder, 'up'))
        try:
            with open(os.path.join(folder, 'status'), encoding='ascii') as status:
                return Done(booted, int(status.read()), console)
        except (OSError, ValueError):
            return Done(booted, None, console)


def _boot(folder, init, on_line, limit):
    """Runs the kernel to its end and returns what it has said on its console."""
    kernel = [KERNEL, 'mem=512M', 'root=/dev/root', 'rootfstype=hostfs', 'rootflags=/', 'ro', f'uml_dir={folder}/',
              'con=null', 'con0=null,fd:2', 'ssl=null', 'ssl0=null,fd:1', f'init={init}', 'quiet']
    # A process namespace, whose first process has the hard limit: when it ends, the kernel's many processes end.
    # It ends as well when unshare does, and unshare when this process does.
    contained = ['setpriv', '--pdeathsig', 'KILL', 'unshare', '--pid', '--fork', '--kill-child=KILL',
                 'timeout', '--signal=KILL', f'{limit:g}', *kernel]
    environment = {'PATH': '/usr/sbin:/usr/bin:/sbin:/bin', 'HOME': folder}
    if (registers := _registers()) is not None:
        environment['LD_PRELOAD'] = registers
    with open(os.path.join(folder, 'console'), 'w+', encoding='utf-8', errors='replace') as console:
        # A session of its own: the Ctrl-C of a terminal is for us.
        process = subprocess.Popen(contained, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=console,
                                   env=environment, text=True, errors='replace', start_new_session=True)
        # Lines are read beside the wait: a process that is left over must not hold this one by its end of the pipe.
        reader = threading.Thread(target=_read, args=(process.stdout, on_line), daemon=True)
        reader.start()
        try:
            process.wait()
            reader.join(5.0)
        finally:
            process.send_signal(signal.SIGKILL)
            process.wait()
        console.seek(0)
        return console.read()


def _read(stream, on_line):
    for line in stream:
        if on_line is not None:
            on_line(line.rstrip('\r\n'))
