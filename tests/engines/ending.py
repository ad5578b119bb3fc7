# SPDX-License-Identifier: MIT
"""Programs that have begun others, and are ended themselves."""

import signal
import sys

SIGNALS = (signal.SIGTERM, signal.SIGHUP)


def exit_when_ended():
    """Whoever is ended ends what it has begun: a signal that ends programs raises SystemExit in the main thread from now on. The next
    ones are left alone, so that this comes to its end. What was begun so that it outlives a terminal goes on doing so."""
    for number in SIGNALS:
        if signal.getsignal(number) != signal.SIG_IGN:
            signal.signal(number, leave)


def leave(number, _):
    for each in SIGNALS:
        signal.signal(each, signal.SIG_IGN)
    sys.exit(f"ended by {signal.Signals(number).name}")
