"""Structure files through the module: whole element symbols or the program's first-character
rule, and faults that become exceptions with their place in the file instead of messages and
pauses."""

import subprocess
import sys

import numpy as np
import pytest

import tbrelax


def write(tmp_path, text, name="input.xyz"):
    path = tmp_path / name
    path.write_text(text)
    return path


def test_program_reading_rules(tmp_path):
    # First character of the symbol, commas and tabs, Fortran exponents, a line continued,
    # extra columns, CR LF line ends, a quoted title.
    text = ("4\r\n'two words' ignored\r\nHe, 1.5-3, 1.0d0, -.5\r\n\r\n"
            "Cl\t0 0\r\n 2.5 extra columns\r\nNa 1e-3 0 0\r\nOs 0 0 1\r\n")
    s = tbrelax.read_xyz(write(tmp_path, text), tbrelax_symbols=True)
    assert s.symbols == ["H", "C", "N", "O"]
    assert s.title == "two words"
    np.testing.assert_array_equal(s.positions, [[1.5e-3, 1.0, -0.5], [0, 0, 2.5], [1e-3, 0, 0], [0, 0, 1]])


def test_whole_symbols_in_any_case_with_numeric_labels(tmp_path):
    s = tbrelax.read_xyz(write(tmp_path, "4\nt\nO 0 0 0\nh 0 0 1\nC12 0 1 0\nn 1 0 0\n"))
    assert s.symbols == ["O", "H", "C", "N"]


def test_unknown_element_before_the_first_atom_is_skipped_with_a_warning(tmp_path):
    with pytest.warns(tbrelax.TBRelaxWarning, match="skipped 1 atom line.*: X"):
        s = tbrelax.read_xyz(write(tmp_path, "2\nt\nX 9 9 9\nO 0 0 0\nH 0 0 1\n"), tbrelax_symbols=True)
    assert s.symbols == ["O", "H"]
    np.testing.assert_array_equal(s.positions[0], [0, 0, 0])


@pytest.mark.parametrize("text, kind, line, column, fault, tbrelax_symbols", [
    ("2\nt\nO 0 0 0\nH 0 abc 1\n", tbrelax.FileError, 4, 5, "'abc' is not a real number", False),
    ("2\n", tbrelax.FileError, 2, 1, "ends before the title", False),
    (None, tbrelax.FileError, 0, 0, "cannot open", False),
    ("3\nt\nO 0 0 0\nH 0 0 1\n", tbrelax.InputRejected, 1, 1, "declares 3 atoms but holds 2", False),
    ("2\nt\nH 0 0 0\n Cl 0 0 1\n", tbrelax.InputRejected, 4, 2, "'Cl' is not an element of the model", False),
    ("2\nt\nO 0 0 0\nX 0 0 1\nH 0 0 2\n", tbrelax.InputRejected, 1, 1, "other than H, C, N or O", True),
])
def test_faults_name_the_place(tmp_path, text, kind, line, column, fault, tbrelax_symbols):
    path = write(tmp_path, text) if text is not None else tmp_path / "absent.xyz"
    with pytest.raises(kind, match=fault) as caught:
        tbrelax.read_xyz(path, tbrelax_symbols=tbrelax_symbols)
    e = caught.value
    assert (e.file, e.line, e.column) == (str(path), line, column)
    assert isinstance(e, OSError if kind is tbrelax.FileError else ValueError)
    assert text is not None or not path.exists()
    if e.line_text:
        # The message shows the line with a caret under the field.
        shown = str(e).splitlines()
        assert shown[1].endswith(e.line_text) and shown[2].index("^") == 8 + column - 1


def test_nothing_waits_for_a_key(tmp_path):
    # The program pauses after these messages; the module returns at once although its
    # standard input stays open and empty.
    count = write(tmp_path, "3\nt\nO 0 0 0\nH 0 0 1\n", "count.xyz")
    skip = write(tmp_path, "1\nt\nX 0 0 0\nH 0 0 1\n", "skip.xyz")
    script = (f"import tbrelax, warnings; warnings.simplefilter('ignore')\n"
              f"try: tbrelax.read_xyz({str(count)!r}, tbrelax_symbols=True)\nexcept tbrelax.InputRejected: pass\n"
              f"tbrelax.read_xyz({str(skip)!r}, tbrelax_symbols=True); print('done')")
    done = subprocess.run([sys.executable, "-c", script], stdin=subprocess.PIPE, capture_output=True,
                          text=True, timeout=60)
    assert done.stdout.strip() == "done", done.stderr


@pytest.mark.parametrize("comment, title", [
    ('Properties=species:S:1:pos:R:3 energy=-8.5 title="relaxed \\"w\\""', 'relaxed "w"'),
    ('Lattice="9 0 0 0 9 0 0 0 9" Properties=species:S:1:pos:R:3:forces:R:3 pbc="F F F" water box', "water box"),
])
def test_extended_xyz_title_leaves_the_pairs_out(tmp_path, comment, title):
    # As tbcalc relax and ASE write them; columns after x, y, z are ignored.
    s = tbrelax.read_xyz(write(tmp_path, f"2\n{comment}\nO 0 0 0 1 2 3\nH 0 0 1 4 5 6\n"))
    assert s.title == title
    np.testing.assert_array_equal(s.positions, [[0, 0, 0], [0, 0, 1]])


def test_extended_xyz_bad_lattice_names_the_place(tmp_path):
    with pytest.raises(tbrelax.FileError, match="Lattice must hold nine numbers") as caught:
        tbrelax.read_xyz(write(tmp_path, '1\nLattice="1 0 0" pbc="T T T"\nH 0 0 0\n'))
    assert (caught.value.line, caught.value.column) == (2, 9)
