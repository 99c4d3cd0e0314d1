"""The comparisons of tools/check_docs.py: what a page may show for what a program prints."""

import unittest
from pathlib import Path

from check_docs import Block, anchor, commands_of, same_line, same_output


class Comparison(unittest.TestCase):
    def test_lines(self):
        for shown, printed, equal in [
            ("E  -8.6857502275412486 eV", "E -8.6857502275411349 eV", True),    # last digits
            ("E -8.68575 eV", "E -8.68576 eV", False),                          # 1.2e-6 relative
            ("force 0.0000000000", "force -0.0000000004", True),                # absolute 1e-6
            ("force 6.860e-10 eV/Å", "force 2.055e-09 eV/Å", True),             # rounding at a minimum
            ("force 0.000003", "force 0.000001", False),
            ("took 3.2 s, 12 ms", "took 9 s, 150 ms", True),                    # timings
            ("in 3 steps", "in 4 steps", False),                                # not a timing
            ("water, 3 atoms (H2O)", "water, 3 atoms (H2O2)", False),
            ("1e-3", "0.001", True),
        ]:
            with self.subTest(shown=shown, printed=printed):
                self.assertEqual(same_line(shown, printed), equal)

    def test_outputs(self):
        for shown, printed, equal in [
            (["a", "...", "d"], ["a", "b", "c", "d"], True),
            (["a", "...", "d"], ["a", "d"], True),
            (["a", "", "b"], ["a", "b", ""], True),      # blank lines do not count
            (["a"], ["a", "b"], False),
            (["a", "b"], ["a"], False),
        ]:
            with self.subTest(shown=shown, printed=printed):
                self.assertEqual(same_output(shown, printed), equal)

    def test_anchors_and_commands(self):
        self.assertEqual(anchor("One molecule over ELPA: `--distributed`"), "one-molecule-over-elpa-distributed")
        self.assertEqual(anchor("input.xyz"), "inputxyz")
        block = Block(Path("page.md"), 10, "console", ["$ printf a \\", "  b", "a b", "$ true"])
        self.assertEqual([(c.line, c.source, c.expected) for c in commands_of(block)],
                         [(11, "printf a \\\n  b", ["a b"]), (14, "true", [])])


if __name__ == "__main__":
    unittest.main()
