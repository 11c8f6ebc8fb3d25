# SPDX-License-Identifier: MIT
"""The Dask cluster that a corpus runs on: one of our own on this machine, or somebody's by its address."""

import asyncio
import contextlib
import logging
import os
import tempfile

import dask
import distributed
from distributed.scheduler import KilledWorker

from . import corpus_work
from .corpus import WORKER_SECONDS
from .errors import LabError


class Cluster:
    def __init__(self, client):
        self._client = client
        self._queue = None

    def workers(self):
        return max(sum(self._client.ncores().values()), 1)

    def submit(self, function, *arguments):
        return self._client.submit(function, *arguments, pure=False)

    def add(self, future):
        """One more to wait for, from within `completed`."""
        self._queue.add(future)

    def completed(self, futures):
        """(future, its result or what went wrong) as they come."""
        self._queue = distributed.as_completed(futures, loop=self._client.loop)
        for future in self._queue:
            if future.cancelled() or future.status == "lost":
                raise LabError("the connection to the cluster is lost; what is done is kept for the next run")
            error = future.exception() if future.status == "error" else None
            yield future, future.result() if error is None else error

    @staticmethod
    def is_loss(error):
        return isinstance(error, KilledWorker)


def expect_ready(client, address, parts):
    """That there is a worker, and that each of them can do its work."""
    try:
        client.wait_for_workers(1, timeout=WORKER_SECONDS)
    except (asyncio.TimeoutError, TimeoutError):
        raise LabError(f"{address}: no worker has come within {WORKER_SECONDS} s") from None
    try:
        answers = client.run(corpus_work.readiness, parts)
    except Exception as error:  # such as a module that a worker does not have
        raise LabError(f"a worker of {address} cannot do this: {corpus_work.reason_of(error)}") from None
    for worker, answer in answers.items():
        if answer is not None:
            raise LabError(f"worker {worker}: {answer}")


@contextlib.contextmanager
def own_cluster(workers):
    """Workers on this machine, one for each core."""
    count = workers or len(os.sched_getaffinity(0))
    with tempfile.TemporaryDirectory(prefix="vekbf-corpus-") as folder:
        with dask.config.set({"temporary-directory": folder}), distributed.LocalCluster(
            n_workers=count,
            threads_per_worker=1,
            processes=True,
            dashboard_address=None,
            local_directory=folder,
            silence_logs=logging.CRITICAL,
        ) as cluster:
            yield cluster


@contextlib.contextmanager
def connect(address, workers, parts):
    # Its warnings would run into the progress bar; what matters is said in our own words.
    logging.getLogger("distributed").setLevel(logging.CRITICAL)
    with contextlib.ExitStack() as stack:
        where = address if address else stack.enter_context(own_cluster(workers))
        try:
            client = stack.enter_context(distributed.Client(where, set_as_default=False))
        except (OSError, ValueError, TypeError, asyncio.TimeoutError) as error:
            raise LabError(f"{address}: no scheduler answers there: {corpus_work.reason_of(error)}") from None
        expect_ready(client, address or "this machine", parts)
        yield Cluster(client)
