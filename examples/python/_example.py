"""What every example here does around its task, so that each program shows only the task: take
the adapter selector from the command line, open the adapter, and say why a command failed.

The examples import it from their own folder (Python puts a script's folder first on its path),
so they run as `python3 examples/python/<task>.py` from any working directory.
"""
import contextlib
import sys
from typing import Iterator, List, Optional

import tarvix


def selector(argv: List[str], task: str) -> Optional[str]:
    """The adapter named on the command line: serial:SERIAL, path:PATH or an index from list.py,
    None for the first adapter. Anything else prints the usage of `<task>.py` and ends the
    program with status 2."""
    if len(argv) > 2 or (len(argv) == 2 and argv[1].startswith("-")):
        print("usage: %s.py [serial:SERIAL | path:PATH | INDEX]" % task, file=sys.stderr)
        sys.exit(2)
    return argv[1] if len(argv) == 2 else None


@contextlib.contextmanager
def adapter(argv: List[str], task: str) -> Iterator[tarvix.Adapter]:
    """The adapter the command line names, open for the with block; each call waits up to one
    second for its answer. A TarvixError raised meanwhile (ConnectFailed says why the adapter
    did not open, a StatusError names the command that failed) is printed after the task's name
    and ends the program with status 1."""
    try:
        with tarvix.Adapter(selector(argv, task), timeout=1.0) as dev:
            yield dev
    except tarvix.TarvixError as error:
        print("%s: %s" % (task, error), file=sys.stderr)
        sys.exit(1)
