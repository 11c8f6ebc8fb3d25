# SPDX-License-Identifier: MIT
"""Measures what the documents say about improvement and parameters, and writes it into them.

Tables go between the marks `<!-- measured: NAME -->` and `<!-- end -->` of DOCS/improvement.md and
DOCS/parameters.md, pictures into DOCS/pictures. Every scene is made anew from Debian's pocketsphinx-testdata; it takes
a minute or two. With --direction it is DOCS/direction.md instead, from the recorded prompts of Debian's
asterisk-core-sounds-es-g722, -fr-g722, -it-g722 and -ru-g722, which ffmpeg decodes; that takes a quarter of an hour.
"""

from pathlib import Path

from .errors import LabError

DOCUMENTS = ("improvement.md", "parameters.md")
PICTURES = "pictures"
DIRECTION = "direction.md"


def add_arguments(parser):
    parser.add_argument("docs", metavar="DOCS", type=Path, help="folder of the documents")
    parser.add_argument("--direction", action="store_true", help="how well the direction finder finds, instead")
    parser.add_argument("--stamp", metavar="TEXT", help="date and commit, as the documents name them")


def filled(text, name, content):
    """The text with the content between the marks of that name."""
    head, begin, rest = text.partition(f"<!-- measured: {name} -->\n")
    _, end, tail = rest.partition("<!-- end -->")
    return head + begin + "\n" + content + "\n\n" + end + tail if end else text


def direction(options):
    import vekbf

    from . import study_direction

    page = options.docs / DIRECTION
    text = page.read_text(encoding="utf-8")
    try:
        tables = study_direction.measured()
    except (vekbf.VekBfError, vekbf.LibraryNotFound, FileNotFoundError, ValueError) as error:
        raise LabError(str(error)) from None
    if options.stamp:
        tables["stamp"] = options.stamp
    for title, content in tables.items():
        text = filled(text, title, content)
    page.write_text(text, encoding="utf-8")
    print("\n\n".join(f"{title}:\n{content}" for title, content in tables.items()))
    return 0


def run(options):
    if options.direction:
        return direction(options)
    # What takes long to load is loaded by whom needs it.
    import vekbf

    from . import plots, study_pictures, study_runs, study_tables

    texts = {}
    for name in DOCUMENTS:
        texts[name] = (options.docs / name).read_text(encoding="utf-8")
    try:
        measured = study_runs.cases()
        curves = study_runs.curves()
    except (vekbf.VekBfError, vekbf.LibraryNotFound, FileNotFoundError, ValueError) as error:
        raise LabError(str(error)) from None
    tables = study_tables.tables(measured, curves)
    if options.stamp:
        tables["stamp"] = options.stamp
    for name, text in texts.items():
        for title, content in tables.items():
            text = filled(text, title, content)
        (options.docs / name).write_text(text, encoding="utf-8")
    folder = options.docs / PICTURES
    folder.mkdir(exist_ok=True)
    for name, picture in study_pictures.pictures(measured, curves).items():
        plots.save(picture, folder / f"{name}.svg")
    print("\n\n".join(f"{title}:\n{content}" for title, content in tables.items()))
    return 0
