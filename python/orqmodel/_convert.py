"""Files of other programs."""
import os
from collections import namedtuple

from . import _core
from ._named import Table

ReportEntry = namedtuple("ReportEntry", "outcome kind name count reason")
ReportEntry.__doc__ = """What became of an object, or of a group of like objects: `outcome` is "kept",
"noted", "findings", "changed" or "dropped"; `count` its members; `reason` why."""

Format = namedtuple("Format", "name endings is_read is_written")


class Report(Table):
    """The account of an import or export: an entry for every object that was met."""

    def __init__(self, rows):
        super().__init__(ReportEntry, rows)

    def of(self, outcome):
        return [entry for entry in self if entry.outcome == outcome]

    kept = property(lambda self: self.of("kept"))
    noted = property(lambda self: self.of("noted"))
    findings = property(lambda self: self.of("findings"))
    changed = property(lambda self: self.of("changed"))
    dropped = property(lambda self: self.of("dropped"))

    def __repr__(self):
        """On one screen: counts by kind and outcome, and why what was not just kept was not."""
        return _core.report_summary(list(self)).rstrip("\n")


def formats():
    """The formats that are known, with their endings."""
    return [Format._make(row) for row in _core.formats()]


def _refuse(report, output):
    lost = report.dropped + report.findings
    error = _core.FormatError(f"{output}: nothing was written, since strict: "
                              f"{lost[0].kind} {lost[0].name}: {lost[0].reason}"
                              + (f", and {len(lost) - 1} more" if len(lost) > 1 else ""))
    error.report = report
    raise error


def _options(layup, results_map):
    from ._model import _name
    return [os.fsencode(_name(file)) if file else b"" for file in (layup, results_map)]


def _first_half(progress):
    return progress and (lambda done: progress(done / 2))


def _second_half(progress, is_second):
    return (lambda done: progress(0.5 + done / 2)) if progress and is_second else progress


def convert(input, output, *, strict=False, force=False, layup=None, results_map=None,
            progress=None):
    """Converts a file or model database to another, by their endings, and returns the report.

    strict: raises FormatError, with the report as its `report`, and writes nothing when something
    would be dropped, or is wrong in the input. force: replaces what has the output's name.
    layup, results_map: files that say more of the input. progress: called with numbers from 0 to 1;
    what it raises, and Ctrl-C, leave nothing under the name.
    """
    from ._model import Model, _is_url, _name, open as open_model
    input, output = _name(input), _name(output)
    if not _is_url(input) and not os.path.exists(input):
        raise FileNotFoundError(2, "there is no such file", input)
    if os.path.exists(output) and not force:
        raise FileExistsError(17, "it exists already; force replaces it", output)
    options = _options(layup, results_map)
    if _is_url(output) or output.rstrip("/").endswith(".orq"):
        made, rows = _core.import_into(os.fsencode(input), os.fsencode(output), *options, strict, force, progress)
        return Report(rows) if made else _refuse(Report(rows), output)
    if _is_url(input) or os.path.isdir(input):
        model, imported = open_model(input), []
    else:
        handle, imported = _core.import_to_memory(os.fsencode(input), *options,
                                                    _first_half(progress))
        model = Model(handle)
    with model:
        report = Report(imported)
        if strict and (report.dropped or report.findings):
            _refuse(report, output)
        made, rows = _core.export_from(model._handle, os.fsencode(output), strict, force,
                                       _second_half(progress, bool(imported)))
        report = Report(imported + rows)
        return report if made else _refuse(report, output)


def import_file(input, *, layup=None, results_map=None, progress=None):
    """A model in memory of a file; its `report` says what became of everything."""
    from ._model import Model, _name
    input = _name(input)
    if not os.path.exists(input):
        raise FileNotFoundError(2, "there is no such file", input)
    handle, rows = _core.import_to_memory(os.fsencode(input), *_options(layup, results_map),
                                          progress)
    model = Model(handle)
    model.report = Report(rows)
    return model
