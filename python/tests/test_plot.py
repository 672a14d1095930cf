"""python -m thermkernel plot: the compositions it builds, the PNG files, its refusals."""
import subprocess
import sys

import numpy as np
import pytest

from conftest import CRFENB
from thermkernel import plot


@pytest.mark.parametrize("text,row", [
    ("FE=0.9,CR=0.1:VA=1", [0.1, 0.9, 0.0, 1.0]),
    ("nb=0.25,cr=0.75:va=1", [0.75, 0.0, 0.25, 1.0]),
])
def test_composition_rows_follow_the_variable_order(bcc, text, row):
    np.testing.assert_array_equal(plot.composition_row(bcc, text), row)


def test_binary_rows_sweep_the_second_constituent(bcc):
    x, y, a, b = plot.binary_rows(bcc, "fe-cr", points=5)
    assert (a, b) == ("FE", "CR")
    np.testing.assert_array_equal(y[:, 0], x)          # CR
    np.testing.assert_array_equal(y[:, 1], 1 - x)      # FE
    np.testing.assert_array_equal(y[:, 2:], [[0, 1]] * 5)


@pytest.mark.parametrize("call,text", [
    (lambda p: plot.composition_row(p, "FE=1"), "BCC_A2 has 2 sublattices, the composition 1"),
    (lambda p: plot.composition_row(p, "FE=1:NB=1"), "NAME one of VA in sublattice 1"),
    (lambda p: plot.composition_row(p, "FE=x:VA=1"), "'x' is not a number"),
    (lambda p: plot.binary_rows(p, "FE-NI"), "two constituents of the first sublattice of BCC_A2 (CR, FE, NB)"),
    (lambda p: plot.parse_temperatures("300:200:10"), "HIGH >= LOW"),
    (lambda p: plot.parse_temperatures("hot"), "expected numbers"),
])
def test_bad_requests_are_refused(bcc, call, text):
    with pytest.raises(plot.UsageError, match=None) as info:
        call(bcc)
    assert text in str(info.value)


def run(*args):
    return subprocess.run([sys.executable, "-m", "thermkernel", "plot", CRFENB, *args], capture_output=True,
                          text=True)


@pytest.mark.parametrize("args", [
    ["--phase", "BCC_A2", "--T", "600,1000,1400", "--x", "FE-CR"],
    ["--phase", "FCC_A1", "--T", "300:2000:50", "--y", "FE=0.9,CR=0.1:VA=1", "--y", "CR=0.8,FE=0.2:VA=1"],
], ids=["binary", "against T"])
def test_pictures_are_written_as_png(tmp_path, args):
    out = tmp_path / "picture.png"
    done = run(*args, "-o", str(out))
    assert done.returncode == 0, done.stderr
    data = out.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n" and len(data) > 10000


@pytest.mark.parametrize("args,code,text", [
    (["--phase", "NONE", "--T", "900", "--x", "FE-CR"], 2, "unknown phase NONE"),
    (["--phase", "BCC_A2", "--T", "9000", "--x", "FE-CR"], 2, "T = 9000 K is outside the temperature ranges of"),
    (["--phase", "BCC_A2", "--T", "900", "--y", "FE=0.5:VA=1"], 2, "sum to 0.5"),
], ids=["phase", "ranges", "sum"])
def test_refusals_exit_with_a_message(tmp_path, args, code, text):
    done = run(*args, "-o", str(tmp_path / "x.png"))
    assert done.returncode == code
    assert text in done.stderr
