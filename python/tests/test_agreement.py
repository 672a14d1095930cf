"""The package (through the compiled plan) against the tool's JSON (the kernel path): every quantity."""
import json
import subprocess

import numpy as np
import pytest

from conftest import CRFENB

# (phase, composition as the tool takes it, the same as a row of y)
CASES = [
    ("BCC_A2", "FE=0.9,CR=0.1:VA=1", [0.1, 0.9, 0.0, 1.0]),
    ("BCC_A2", "FE=0.2,CR=0.75,NB=0.05:VA=1", [0.75, 0.2, 0.05, 1.0]),
    ("FCC_A1", "FE=0.93,CR=0.05,NB=0.02:VA=1", [0.05, 0.93, 0.02, 1.0]),
    ("LIQUID", "CR=0.3,FE=0.4,NB=0.3", [0.3, 0.4, 0.3]),
]


def tool_eval(thermfn, phase, composition):
    # The package evaluates through the compiled plan; the tool is asked for
    # the kernel path, the independent arithmetic of the same model.
    out = subprocess.run([thermfn, "eval", CRFENB, "--phase", phase, "--T", "300:2000:170", "--y", composition,
                          "--json", "--hessian", "--engine", "kernel"], check=True, capture_output=True,
                         text=True).stdout
    return json.loads(out)


@pytest.mark.parametrize("phase,composition,y", CASES, ids=[c[0] + ":" + c[1] for c in CASES])
def test_every_quantity_agrees_with_the_tools_json(db, thermfn, phase, composition, y):
    points = tool_eval(thermfn, phase, composition)
    T = np.array([p["T"] for p in points])
    ph = db.phase(phase)
    r = ph.evaluate(T=T, y=y, order=2)
    assert [name for _, name in ph.variables] == [name for sub in points[0]["dG_dy"] for name, _ in sub]
    # The same model on both sides; two evaluation paths may differ by rounding
    # (1e-12 relative to |G| + 1), never by more.
    tol = dict(rtol=1e-12, atol=1e-11 * (np.abs(r.G).max() + 1))
    for key in ("G", "dG_dT", "d2G_dT2", "GM", "SM", "HM", "CPM"):
        np.testing.assert_allclose(getattr(r, key), [p[key] for p in points], err_msg=key, **tol)
    np.testing.assert_allclose(r.dG_dy, [[v for sub in p["dG_dy"] for _, v in sub] for p in points], **tol)
    np.testing.assert_allclose(r.hessian, [p["d2G_dydy"] for p in points], **tol)


def test_functions_agree_with_the_tools_json(db, thermfn):
    for name in ("GHSERFE", "GHSERCR", "GHSERNB"):
        out = subprocess.run([thermfn, "function", CRFENB, name, "--T", "300:6000:300", "--json"], check=True,
                             capture_output=True, text=True).stdout
        points = json.loads(out)
        f = db.function(name, T=[p["T"] for p in points])
        np.testing.assert_allclose(f.F, [p["F"] for p in points], rtol=1e-15, err_msg=name)
        np.testing.assert_allclose(f.dF_dT, [p["dF_dT"] for p in points], rtol=1e-15, err_msg=name)
        np.testing.assert_allclose(f.d2F_dT2, [p["d2F_dT2"] for p in points], rtol=1e-15, err_msg=name)
