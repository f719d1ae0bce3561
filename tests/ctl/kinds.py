"""The numbers of the kinds of file by their words, as tests/kinds.txt states them."""

import pathlib

_ROWS = [line.split()[:3] for line in (pathlib.Path(__file__).parents[1] / "kinds.txt").read_text().splitlines()
         if not line.startswith("#")]

ALL = {word: int(number) for word, number, _ in _ROWS}
STORED = {word: int(number) for word, number, keeping in _ROWS if keeping == "stored"}
DROPPED = {word: int(number) for word, number, keeping in _ROWS if keeping == "dropped"}
