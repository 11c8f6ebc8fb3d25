# SPDX-License-Identifier: MIT
"""A list of recordings through the beam, on all cores or on a Dask cluster, each as `vekbf process` does it.

MANIFEST has a line for each recording: comma-separated values with a head (.csv), or objects of JSON (.jsonl). `files`
names the recording, or several mono ones with ; between them; `output` the result below OUT. All other columns are
settings in the words of the tool's option file: array, angle, angle-track, algorithm, pre-gain, channels. Every line is
checked before the first recording is processed. What was done by an earlier run and has not changed is left as it is.

The exit status is 1 where a line is wrong or a recording failed.
"""

import collections
import sys
import time
from pathlib import Path

from .errors import LabError

# A batch is a task of the cluster: long enough for its administration not to count, short enough to be shared out well.
BATCHES_PER_WORKER = 12
BATCH_BYTES = 32e6


def add_arguments(parser):
    parser.add_argument("manifest", metavar="MANIFEST", help="list of recordings, .csv or .jsonl")
    parser.add_argument("out", metavar="OUT", type=Path, help="folder for results, report.jsonl and summary.html")
    parser.add_argument("--scheduler", metavar="ADDRESS", help="of a Dask cluster, such as tcp://10.0.0.1:8786")
    parser.add_argument("--workers", type=int, metavar="N", help="processes on this machine (default: as many as cores)")


def batches_of(rows, workers):
    """The rows in groups of about the same size, the longest recordings first."""
    limit = min(BATCH_BYTES, sum(row.bytes for row in rows) / (BATCHES_PER_WORKER * workers))
    batches, size = [], limit
    for row in sorted(rows, key=lambda row: -row.bytes):
        if size >= limit:
            batches.append([])
            size = 0
        batches[-1].append(row)
        size += row.bytes
    return batches


def process_all(cluster, rows, out, memory, on_report):
    """Gives every row to a worker and its report to `on_report`."""
    from . import corpus_work

    def submit(batch):
        with_earlier = [(row, memory.reports.get(row.output)) for row in batch]
        return cluster.submit(corpus_work.process_batch, with_earlier, out.absolute(), memory.parts.absolute())

    waiting = {submit(batch): batch for batch in batches_of(rows, cluster.workers())}
    given_up = collections.Counter()  # by the scheduler, by line
    for future, result in cluster.completed(waiting):
        batch = waiting.pop(future)
        if not isinstance(result, Exception):
            for report in result:
                on_report(report)
            continue
        # The scheduler gives a batch up whose workers were lost again and again. One of its recordings may be the
        # reason, or a batch that stood before it: each gets tries of its own.
        for row in batch:
            given_up[row.line] += 1
            if cluster.is_loss(result) and given_up[row.line] <= corpus_work.TRIES:
                cluster.add(again := submit([row]))
                waiting[again] = [row]
            else:
                on_report(corpus_work.failed(row, corpus_work.reason_of(result)))


def run(options):
    try:
        import distributed  # noqa: F401
    except ModuleNotFoundError:
        raise LabError("distributed is missing: install Debian's python3-distributed") from None
    # What takes long to load is loaded by whom needs it.
    import vekbf
    from tqdm import tqdm

    from . import corpus_cluster, corpus_manifest, corpus_report
    from .corpus_work import FAILED

    if options.workers is not None and (options.workers < 1 or options.scheduler):
        raise LabError("--workers is a number from 1, and for this machine only: without --scheduler")

    def bar(items, title, total=None):
        return tqdm(items, title, total=total, leave=False, disable=None)

    try:
        rows = corpus_manifest.read(options.manifest, options.out, lambda lines: bar(lines, "checking"))
    except vekbf.LibraryNotFound as error:
        raise LabError(str(error)) from None
    except corpus_manifest.Faults as faults:
        print(faults, file=sys.stderr)
        return 1

    reports = {}
    with corpus_report.Memory(options.out) as memory:
        with corpus_cluster.connect(options.scheduler, options.workers, memory.parts.absolute()) as cluster:
            begin = time.monotonic()
            with bar(None, "recordings", len(rows)) as progress:

                def on_report(report):
                    memory.remember(report)
                    reports[report["output"]] = report
                    progress.update()

                try:
                    process_all(cluster, rows, options.out, memory, on_report)
                finally:
                    corpus_report.write_report(options.out, rows, reports)
            elapsed = time.monotonic() - begin
    ordered = [reports[row.output] for row in rows]
    line = corpus_report.summary_line(ordered, elapsed)
    corpus_report.write_summary(options.out, f"{Path(options.manifest).name}", ordered, line)
    failures = [report for report in ordered if report["status"] == FAILED]
    for report in failures:
        print(corpus_manifest.printable(f"{report['output']}: {report['reason']}"), file=sys.stderr)
    print(line)
    return 1 if failures else 0
