"""Spreads the parts over workers of Dask, and adds their tallies up in the order of the parts."""

import collections
import contextlib
import sys
import time
from typing import Callable, Iterator, List, Optional, Sequence

from . import counting, inventories
from .tallies import Tallies

IN_FLIGHT = 4  # parts for each worker that are handed out or wait to be added up
PATIENCE = 30  # seconds for a cluster to be there, and a worker in it


class ClusterError(RuntimeError):
    """The workers cannot do what they are asked for."""


@contextlib.contextmanager
def cluster(scheduler: str, workers: int) -> Iterator:
    """A client of the scheduler at an address, or of one that lives as long as this."""
    import dask
    from distributed import Client, LocalCluster

    if scheduler:
        with Client(scheduler, timeout=PATIENCE) as client:
            try:
                client.wait_for_workers(1, timeout=PATIENCE)
            except TimeoutError as error:
                raise ClusterError(
                    f"expected a worker at the scheduler {scheduler}; there was none for "
                    f"{PATIENCE} seconds"
                ) from error
            yield client
        return
    # Several processes, since reading rows is Python's work; nothing listens beyond this machine.
    settings = {
        "distributed.worker.daemon": True,
        "distributed.comm.timeouts.connect": "60s",
        "distributed.logging": {"distributed": "error"},
        # What schedulers and workers do by the clock, and nobody here looks at: a tenth of a core.
        "distributed.worker.profile.enabled": False,
        "distributed.admin.tick.interval": "1s",
        "distributed.admin.system-monitor.interval": "10s",
        "distributed.scheduler.work-stealing-interval": "1s",
    }
    with dask.config.set(settings), LocalCluster(
        n_workers=workers,
        threads_per_worker=1,
        processes=True,
        dashboard_address=None,
        host="127.0.0.1",
        silence_logs=50,
    ) as local, Client(local) as client:
        yield client


def count(
    client,
    job: counting.Job,
    parts: Sequence[inventories.Part],
    progress: Callable[[int, int, Tallies], None],
) -> Tallies:
    """The tallies of all parts. What a lost worker had in hand is counted anew by another one. Raises
    ClusterError when a part ends every worker that takes it."""
    from distributed import KilledWorker

    tallies = Tallies()
    workers = max(1, sum(client.nthreads().values()))
    # A task of its own, so that the policies travel once to each worker, and again after a loss.
    shared = client.submit(_same, job, pure=False)
    waiting: collections.deque = collections.deque()
    rest = iter(enumerate(parts))
    done = 0
    while True:
        while len(waiting) < IN_FLIGHT * workers:
            numbered = next(rest, None)
            if numbered is None:
                break
            number, part = numbered
            task = client.submit(counting.count_part, shared, part, pure=False, priority=-number)
            waiting.append((part, task))
        if not waiting:
            return tallies
        part, first = waiting.popleft()
        try:
            tallies.merge(first.result(), inventories.SAMPLED_ROWS)
        except KilledWorker as error:
            raise ClusterError(
                f"{part.file}: expected workers to live while they read this, from byte {part.start:,} on; "
                "several have ended, by lack of memory perhaps"
            ) from error
        del first
        done += 1
        progress(done, len(parts), tallies)


def _same(job: counting.Job) -> counting.Job:
    return job


class Progress:
    """A line on standard error, where that is a terminal; ten times a second at most."""

    def __init__(self):
        self._shown = sys.stderr.isatty()
        self._start = time.monotonic()
        self._next = 0.0

    def __call__(self, done: int, count: int, tallies: Tallies) -> None:
        now = time.monotonic()
        if not self._shown or (now < self._next and done < count):
            return
        self._next = now + 0.1
        rows = tallies.counts("found")[0]
        seconds = max(now - self._start, 1e-9)
        left = seconds / done * (count - done)
        line = f"{rows:,} rows, {rows / seconds:,.0f} a second, {done:,} of {count:,} parts"
        print(f"\r\x1b[K{line}, {left:,.0f} s left", end="", file=sys.stderr, flush=True)

    def end(self) -> None:
        if self._shown:
            print("\r\x1b[K", end="", file=sys.stderr, flush=True)


def parts_of_all(
    files: Sequence[str], named: dict, list_columns: Optional[Sequence[str]]
) -> List[inventories.Part]:
    parts: List[inventories.Part] = []
    for file in files:
        try:
            parts += inventories.parts_of(file, named, list_columns)
        except inventories.DAMAGES as damage:
            raise inventories.InventoryError(f"{file}: {damage}") from damage
    return parts
