# SPDX-License-Identifier: MIT
"""The exceptions of the module; the extension makes them with make()."""

from typing import NamedTuple


class Place(NamedTuple):
    """A place in a script or an expression. Numbers count from 1; 0: not known."""

    file: str
    function: str
    line: int
    column: int
    length: int
    text: str
    is_warning: bool


class Error(Exception):
    """What went wrong. str() is the message with its place.

    text: the message alone; code: as docs/errors.md lists them; subject: the name at fault;
    expression: that failed; file, function, line, column, length: where; faults: of a text, all of
    them; calls: the functions that were running, innermost first.
    """

    def __init__(self, whole, text="", code=-1, subject="", expression="", place=None, faults=(),
                 calls=()):
        super().__init__(whole)
        self.text = text or whole
        self.code = code
        self.subject = subject
        self.expression = expression
        place = place or Place("", "", 0, 0, 0, "", False)
        self.file, self.function, self.line, self.column, self.length = place[:5]
        self.faults = list(faults)
        self.calls = list(calls)


class SyntaxError(Error):  # noqa: A001, the module's own name for it
    """A text or an expression is none."""


class RunError(Error):
    """A call, an evaluation or an operation of a dataset failed."""


def make(is_syntax, whole, text, code, subject, expression, place, faults, calls):
    kind = SyntaxError if is_syntax else RunError
    return kind(whole, text, code, subject, expression, Place(*place),
                [Place(*fault) for fault in faults], [Place(*call) for call in calls])
