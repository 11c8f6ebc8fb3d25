# SPDX-License-Identifier: MIT
"""The Dask cluster that a corpus runs on: one started on this machine, or one that runs already, by its address."""

import asyncio
import concurrent.futures
import contextlib
import logging
import os
import tempfile

import dask
import distributed
from distributed.comm.addressing import parse_address, parse_host_port
from distributed.scheduler import KilledWorker

from . import corpus_work
from .errors import LabError

SCHEDULER_SECONDS = 10  # to wait for an answer
WORKER_SECONDS = 60  # to wait for the first worker


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
            try:
                # What was lost with the worker that held it is computed again meanwhile.
                result = future.result()
            except (asyncio.CancelledError, concurrent.futures.CancelledError):
                raise LabError("the connection to the cluster is lost; what is done is kept for the next run") from None
            except Exception as error:
                result = error
            yield future, result

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
            scheduler_kwargs={"dashboard_address": "127.0.0.1:0"},  # it has an HTTP server all the same
            local_directory=folder,
            silence_logs=logging.CRITICAL,
        ) as cluster:
            yield cluster


def be_quiet():
    """Dask's warnings would run into the progress bar; what matters is said in our own words."""
    for name in list(logging.root.manager.loggerDict):  # each of Dask's loggers has a level of its own
        if name.partition(".")[0] in ("asyncio", "distributed"):
            logging.getLogger(name).setLevel(logging.CRITICAL)


@contextlib.contextmanager
def connect(address, workers, parts):
    be_quiet()
    with contextlib.ExitStack() as stack:
        if address:
            try:
                parse_host_port(parse_address(address)[1])
            except ValueError as error:
                raise LabError(f"{address} is no address such as tcp://10.0.0.1:8786: {error}") from None
        where = address or stack.enter_context(own_cluster(workers))
        try:
            client = distributed.Client(where, set_as_default=False, timeout=SCHEDULER_SECONDS)
        except (OSError, asyncio.TimeoutError):
            raise LabError(f"{where}: no scheduler answers within {SCHEDULER_SECONDS} s") from None
        stack.enter_context(client)
        expect_ready(client, address or "this machine", parts)
        yield Cluster(client)
