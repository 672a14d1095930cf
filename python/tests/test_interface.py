"""Shapes and broadcasting, the refusals of bad input, and threads."""
import os
import threading
import time
import warnings

import numpy as np
import pytest

import thermkernel as tk

Y = np.array([[0.1, 0.88, 0.02, 1.0], [0.7, 0.2, 0.1, 1.0], [0.3, 0.3, 0.4, 1.0]])
T3 = np.array([600.0, 1000.0, 1400.0])


def test_phase_description(db, bcc):
    assert db.phases == ["BCC_A2", "FCC_A1", "LIQUID", "LAVES_C14", "LAVES_C15", "MU_PHASE", "SIGMA"]
    assert bcc.constituents == [("CR", "FE", "NB"), ("VA",)]
    assert bcc.site_ratios == (1.0, 3.0)
    assert bcc.evaluable and bcc.why == ""
    assert db.phase("bcc_a2") is bcc
    assert db.T_limits == (298.15, 6000.0)
    assert "GHSERFE" in db.functions


# Each case: (T, y) in some layout, and the (T index, y row) of each point in the reference grid.
LAYOUTS = {
    "one T, many y": (1000.0, Y, [(1, 0), (1, 1), (1, 2)]),
    "many T, one y": (T3, Y[1], [(0, 1), (1, 1), (2, 1)]),
    "T per y": (T3, Y, [(0, 0), (1, 1), (2, 2)]),
    "y column-major": (T3, np.asfortranarray(Y), [(0, 0), (1, 1), (2, 2)]),
    "y strided view": (T3[::-1].copy(), np.hstack([Y, Y])[::-1, :4], [(2, 2), (1, 1), (0, 0)]),
    "y as lists, T 0-d array": (np.array(600.0), Y.tolist(), [(0, 0), (0, 1), (0, 2)]),
    "one point": (1400.0, list(Y[2]), [(2, 2)]),
}


@pytest.mark.parametrize("layout", LAYOUTS)
def test_layouts_give_the_numbers_of_the_reference_grid(bcc, layout):
    T, y, expect = LAYOUTS[layout]
    grid = {k: bcc.evaluate(T=T3[k], y=Y) for k in range(3)}
    r = bcc.evaluate(T=T, y=y)
    assert r.G.shape == (len(expect),)
    assert r.dG_dy.shape == (len(expect), 4)
    assert r.hessian.shape == (len(expect), 5, 5)
    for p, (t, row) in enumerate(expect):
        ref = grid[t]
        assert r.T[p] == T3[t]
        for key in Result_fields():
            np.testing.assert_array_equal(getattr(r, key)[p], getattr(ref, key)[row], err_msg=key)


def Result_fields():
    return ("G", "dG_dT", "d2G_dT2", "dG_dy", "hessian", "GM", "SM", "HM", "CPM")


@pytest.mark.parametrize("order,present", [(0, {"G", "GM"}), (1, {"G", "GM", "dG_dT", "dG_dy", "SM", "HM"}),
                                           (2, set(Result_fields()))])
def test_order_decides_which_quantities_are_there(bcc, order, present):
    r = bcc.evaluate(T=T3, y=Y, order=order)
    full = bcc.evaluate(T=T3, y=Y, order=2)
    for key in Result_fields():
        if key in present:
            np.testing.assert_array_equal(getattr(r, key), getattr(full, key), err_msg=key)
        else:
            assert getattr(r, key) is None, key


# (what, call, exception, text in the message)
BAD = [
    ("y columns", lambda db, p: p.evaluate(T=1000, y=[0.5, 0.5, 1.0]), ValueError,
     "BCC_A2 has 4 site-fraction variables (CR in sublattice 0, FE in sublattice 0, NB in sublattice 0, VA in"),
    ("y 3-d", lambda db, p: p.evaluate(T=1000, y=np.ones((2, 2, 4))), ValueError, "y has shape (2, 2, 4)"),
    ("T 2-d", lambda db, p: p.evaluate(T=np.ones((3, 1)) * 900, y=Y), ValueError, "T must be a number or one-dim"),
    ("lengths", lambda db, p: p.evaluate(T=[900, 1000], y=Y), ValueError, "T has 2 values and y 3 compositions"),
    ("empty", lambda db, p: p.evaluate(T=[], y=Y), ValueError, "no points"),
    ("order", lambda db, p: p.evaluate(T=900, y=Y, order=3), ValueError, "order must be 0, 1 or 2"),
    ("sum", lambda db, p: p.evaluate(T=900, y=[[0.5, 0.5, 0, 1], [0.5, 0.5 + 2e-9, 0, 1]]), ValueError,
     "point 1: site fractions of sublattice 0 sum to 1.000000002; expected 1 within 1e-9"),
    ("negative", lambda db, p: p.evaluate(T=900, y=[0.5, 0.6, -0.1, 1]), ValueError,
     "site fraction of NB in sublattice 0 is -0.1"),
    ("nan y", lambda db, p: p.evaluate(T=900, y=[0.5, np.nan, 0.5, 1]), ValueError, "site fraction of FE"),
    ("nan T", lambda db, p: p.evaluate(T=[900, np.inf], y=Y[:2]), ValueError, "temperature 1 is inf"),
    ("ranges", lambda db, p: p.evaluate(T=[900, 6500], y=Y[0]), tk.TemperatureRangeError,
     "phase BCC_A2, point 1: T = 6500 K is outside the temperature ranges of "),
    ("T zero", lambda db, p: p.evaluate(T=0.0, y=Y), ValueError, "temperature 0 is 0 K; expected a positive value"),
    ("phase", lambda db, p: db.phase("AUSTENITE"), ValueError, "unknown phase AUSTENITE; expected one of"),
    ("function", lambda db, p: db.function("GHSERXX", T=300), ValueError, "unknown function GHSERXX"),
    ("function T", lambda db, p: db.function("GHSERFE", T=[300, np.nan]), ValueError, "temperature 1 is nan"),
    ("file", lambda db, p: tk.Database("/nonexistent.tdb"), FileNotFoundError, "/nonexistent.tdb"),
]


@pytest.mark.parametrize("what,call,error,text", BAD, ids=[b[0] for b in BAD])
def test_bad_input_raises_a_clear_error(db, bcc, what, call, error, text):
    with pytest.raises(error) as info:
        call(db, bcc)
    assert text in str(info.value)


SNIPPET = """ELEMENT VA VACUUM 0 0 0 !
ELEMENT A X 10 0 0 !
FUNCTION GLIM 298.15 -1000+2*T; 1000 N !
TYPE_DEFINITION % SEQ * !
PHASE SOL % 1 1 !
CONSTITUENT SOL :A: !
PARAMETER G(SOL,A;0) 298.15 GLIM; 6000 N !
PHASE BROKEN % 1 1 !
CONSTITUENT BROKEN :A: !
PARAMETER G(BROKEN,A;0) 298.15 GUNDEFINED+T; 6000 N !
"""


def test_reader_errors_raise_or_warn_and_ranges_are_named(tmp_path):
    path = tmp_path / "snippet.tdb"
    path.write_text(SNIPPET)
    with pytest.raises(tk.DatabaseError) as info:
        tk.Database(path)
    assert str(path) + ":10:32: error: PARAMETER G(BROKEN,A;0): undefined function" in str(info.value)
    with pytest.warns(tk.ReaderWarning, match=str(path) + ":10:.*error"):
        db = tk.Database(path, strict=False)
    broken = db.phase("BROKEN")
    assert not broken.evaluable and broken.why
    with pytest.raises(tk.NotEvaluableError, match="phase BROKEN cannot be evaluated"):
        broken.evaluate(T=500, y=[1.0])
    sol = db.phase("SOL")
    assert sol.evaluate(T=500, y=[1.0]).G[0] == pytest.approx(0.0, abs=1e-12)
    with pytest.raises(tk.TemperatureRangeError,
                       match=r"T = 1500 K is outside the temperature ranges of function GLIM \(298.15 to 1000 K\)"):
        sol.evaluate(T=[500, 1500], y=[1.0])
    with pytest.raises(tk.TemperatureRangeError, match="function GLIM"):
        db.function("GLIM", T=[900, 1200])


def compositions(points, seed=3):
    rng = np.random.default_rng(seed)
    y = rng.uniform(0.01, 1.0, size=(points, 4))
    y[:, :3] /= y[:, :3].sum(axis=1, keepdims=True)
    y[:, 3] = 1.0
    return y


def test_two_threads_evaluating_at_once_give_the_numbers_of_one(bcc):
    y = compositions(20000)
    T = np.linspace(400, 1800, len(y))
    alone = bcc.evaluate(T=T, y=y)
    results = [None, None]
    barrier = threading.Barrier(2)

    def work(k):
        barrier.wait()
        for _ in range(3):
            bcc.evaluate(T=900.0 + 100 * k, y=y)  # another temperature in between
            results[k] = bcc.evaluate(T=T, y=y)

    threads = [threading.Thread(target=work, args=(k,)) for k in range(2)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    for r in results:
        for key in Result_fields():
            np.testing.assert_array_equal(getattr(r, key), getattr(alone, key), err_msg=key)


def test_evaluation_releases_the_gil(bcc):
    # While one thread evaluates a large batch, this thread keeps running
    # Python code; with the GIL held it could not between the call's start
    # and end (save a switch interval right at the start).
    y = compositions(200000)
    span = {}

    def work():
        span["start"] = time.perf_counter()
        bcc.evaluate(T=1000.0, y=y)
        span["end"] = time.perf_counter()

    worker = threading.Thread(target=work)
    ticks = []
    worker.start()
    while worker.is_alive():
        ticks.append(time.perf_counter())
    worker.join()
    start, end = span["start"], span["end"]
    late = start + 0.25 * (end - start)  # well after any switch interval at the start
    assert end - start > 0.05, "the batch is too small to tell"
    assert sum(late < t < end for t in ticks) > 100
