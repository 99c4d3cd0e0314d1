"""Exceptions and warnings of the tbrelax package.

The compiled core raises these for the faults of the model and of the structure reader; each
carries where the fault lies when it concerns a place in a file.
"""

from __future__ import annotations


class Error(Exception):
    """A fault reported by tbrelax.

    Attributes: ``reason`` (what went wrong), and for faults in a file ``file``, ``line``,
    ``column``, ``length`` (of the offending field) and ``line_text`` (1-based; 0 or "" where
    unknown).
    """

    def __init__(self, reason: str, file: str = "", line: int = 0, column: int = 0,
                 length: int = 0, line_text: str = "") -> None:
        super().__init__(reason)
        self.reason = reason
        self.file = file
        self.line = line
        self.column = column
        self.length = length
        self.line_text = line_text

    def __str__(self) -> str:
        place = self.file
        if place and self.line > 0:
            place += f":{self.line}"
            if self.column > 0:
                place += f":{self.column}"
        text = f"{place}: {self.reason}" if place else self.reason
        if self.line > 0 and self.column > 0 and self.line_text:
            # The line with a caret under the field, tabs kept so that the caret lines up.
            pad = "".join("\t" if ch == "\t" else " " for ch in self.line_text[: self.column - 1])
            caret = "^" + "~" * max(self.length - 1, 0)
            text += f"\n{self.line:5d} | {self.line_text}\n      | {pad}{caret}"
        return text


class InputRejected(Error, ValueError):
    """The input describes no molecule the model can take: an unknown element, no atoms, two
    atoms closer than 1e-10 angstrom, a non-finite coordinate, or a structure file whose atom
    count is wrong."""


class FileError(Error, OSError, ValueError):
    """A structure file cannot be opened or read, ends early, or holds a malformed number."""


class NumericalError(Error, ArithmeticError):
    """An evaluation gave a non-finite energy, force or Hessian entry."""


class OutOfMemory(Error, MemoryError):
    """The molecule needs more memory than the process may use; refused before anything large
    was allocated. The reason names the need, the basis size and what is available."""


class TBRelaxWarning(UserWarning):
    """Something the model or the reader reported without stopping (a negative overlap
    eigenvalue, a skipped atom line)."""
