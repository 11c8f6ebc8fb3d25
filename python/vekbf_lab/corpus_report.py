# SPDX-License-Identifier: MIT
"""What a corpus run leaves beside the results: its own memory, the report, the summary page."""

import contextlib
import fcntl
import html
import io
import json
import os
import shutil

import numpy as np

from . import plots
from .corpus_work import DONE, FAILED, SKIPPED
from .errors import LabError

REPORT, SUMMARY = "report.jsonl", "summary.html"
# A file of which more than this share of the samples is clipped, or of the blocks is silent, is worth a look.
MUCH_CLIPPED, MUCH_SILENT = 1e-4, 0.5
LONGEST_TABLE = 100


def write_whole(path, text):
    """Replaces the file in one step."""
    part = path.with_name(path.name + ".part")
    part.write_text(text, encoding="utf-8")
    os.replace(part, path)


def line_of(report):
    return json.dumps(report, ensure_ascii=True) + "\n"


class Memory:
    """OUT/.corpus: the reports of everything that was ever done there, and the results that are not complete. A context
    manager that one run at a time can enter."""

    def __init__(self, out):
        self.folder = out / ".corpus"
        self.parts = self.folder / "parts"
        self.path = self.folder / "done.jsonl"
        self.reports = {}
        self._stack = contextlib.ExitStack()

    def __enter__(self):
        self.folder.mkdir(parents=True, exist_ok=True)
        with self._stack as stack:
            lock = stack.enter_context(open(self.folder / "lock", "w"))
            try:
                fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
            except BlockingIOError:
                raise LabError(f"{self.folder.parent}: another run is writing there") from None
            # What a run left that was killed.
            shutil.rmtree(self.parts, ignore_errors=True)
            self.parts.mkdir()
            stack.callback(shutil.rmtree, self.parts, ignore_errors=True)
            self._read()
            write_whole(self.path, "".join(map(line_of, self.reports.values())))
            self._file = stack.enter_context(open(self.path, "a", encoding="utf-8"))
            self._stack = stack.pop_all()
        return self

    def _read(self):
        try:
            text = self.path.read_text(encoding="utf-8")
        except FileNotFoundError:
            return
        for line in text.splitlines():
            # The last one may be cut off.
            with contextlib.suppress(ValueError):
                report = json.loads(line)
                self.reports[report["output"]] = report

    def remember(self, report):
        if report["status"] == DONE:
            self._file.write(line_of(report))
            self._file.flush()

    def __exit__(self, *error):
        return self._stack.__exit__(*error)


def write_report(out, rows, reports):
    """A line for each row in the manifest's order, without what only the next run reads."""
    lines = [reports[row.output] for row in rows if row.output in reports]
    shown = [{name: value for name, value in line.items() if name not in ("key", "size")} for line in lines]
    write_whole(out / REPORT, "".join(map(line_of, shown)))


def seconds(reports):
    return sum(report.get("duration_s", 0.0) for report in reports)


def spoken(duration):
    return f"{duration / 3600:.1f} hours" if duration >= 3600 else f"{duration:.0f} s"


def counted(number, word):
    return f"{number} {word}" + ("" if number == 1 else "s")


def summary_line(reports, elapsed):
    """What a run did, in a sentence."""
    by = {status: [r for r in reports if r["status"] == status] for status in (DONE, SKIPPED, FAILED)}
    text = f"{counted(len(reports), 'recording')}: {len(by[DONE])} done"
    if by[DONE]:
        text += f" ({spoken(seconds(by[DONE]))} of sound in {spoken(elapsed)}, {seconds(by[DONE]) / elapsed:.0f} x real time)"
    return text + f", {len(by[SKIPPED])} done before, {len(by[FAILED])} failed"


def remarks(report):
    """What about a result is worth a look."""
    found = []
    if report["wraps"]:
        found.append(f"the sum of the beam wrapped around {counted(report['wraps'], 'time')}: a lower pre-gain helps")
    if report["clipped_samples"] > MUCH_CLIPPED * report["blocks"] * 128:
        found.append(f"{counted(report['clipped_samples'], 'sample')} beyond full scale: a lower pre-gain helps")
    if report["zero_blocks"] > MUCH_SILENT * report["blocks"]:
        found.append(f"{report['zero_blocks']} of {report['blocks']} blocks are digital silence")
    return found


def histogram(axes, values, title, unit):
    axes.hist(values, bins=min(40, max(5, len(values) // 4)), color="C0")
    axes.set_title(title, fontsize=10)
    axes.set_xlabel(unit, fontsize=9)
    axes.set_ylabel("recordings", fontsize=9)
    axes.spines[["top", "right"]].set_visible(False)


def pictures(reports):
    """The page's figure, as SVG."""
    drawn = plots.figure(10, 6)
    (one, two), (three, four) = drawn.subplots(2, 2)
    histogram(one, [r["duration_s"] for r in reports], "Length", "seconds")
    histogram(two, [1 / r["real_time_factor"] for r in reports], "Speed of a worker", "times real time")
    histogram(three, [r["angle"] for r in reports], "Angle (the median of those that vary)", "degrees")
    shares = [[100 * r["zero_blocks"] / r["blocks"], 100 * r["clipped_samples"] / r["blocks"] / 128] for r in reports]
    for values, label in zip(np.sort(shares, axis=0).T, ("blocks of digital silence", "clipped samples")):
        four.plot(np.linspace(0, 100, len(values)), values, label=label)
    four.set_title("Share within each recording, sorted", fontsize=10)
    four.set_xlabel("% of the recordings", fontsize=9)
    four.set_ylabel("%", fontsize=9)
    four.legend(fontsize=8)
    file = io.StringIO()
    drawn.savefig(file, format="svg", metadata={"Date": None})
    text = file.getvalue()
    return text[text.index("<svg") :]


def table(title, rows):
    if not rows:
        return ""
    cells = "".join(f"<tr><td>{html.escape(name)}</td><td>{html.escape(text)}</td></tr>\n" for name, text in rows)
    return f"<h2>{html.escape(title)}</h2>\n<table>\n{cells}</table>\n"


def write_summary(out, title, reports, line):
    """A page of its own file, without anything from elsewhere."""
    complete = [report for report in reports if report["status"] != FAILED]
    failures = [(report["output"], report["reason"]) for report in reports if report["status"] == FAILED]
    noted = [(report["output"], "; ".join(found)) for report in complete if (found := remarks(report))]
    head = (
        '<!DOCTYPE html>\n<html lang="en">\n<head><meta charset="utf-8"><title>' + html.escape(title) + "</title>\n"
        "<style>body{font-family:sans-serif;max-width:62em;margin:2em auto;padding:0 1em}svg{width:100%;height:auto}"
        "td{padding:0.2em 1em 0.2em 0;vertical-align:top}</style></head>\n<body>\n"
    )
    parts = [head, f"<h1>{html.escape(title)}</h1>\n<p>{html.escape(line)}</p>\n"]
    parts.append(table("Failed", failures[:LONGEST_TABLE]))
    if len(failures) > LONGEST_TABLE:
        parts.append(f"<p>and {len(failures) - LONGEST_TABLE} more, all of them in {REPORT}</p>\n")
    parts.append(table("Worth a look", noted[:LONGEST_TABLE]))
    if len(noted) > LONGEST_TABLE:
        parts.append(f"<p>and {len(noted) - LONGEST_TABLE} more</p>\n")
    if complete:
        parts.append(pictures(complete))
    write_whole(out / SUMMARY, "".join(parts) + "</body>\n</html>\n")
