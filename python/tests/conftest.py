"""Shared fixtures: the bundled database, the tool, and the package under test.

The test run sets PYTHONPATH to the build's python folder, THERMFN to the
tool and THERM_DATA_DIR to the bundled data (see python/CMakeLists.txt)."""
import os
import warnings

import pytest

import thermkernel as tk

DATA_DIR = os.environ.get("THERM_DATA_DIR", os.path.join(os.path.dirname(__file__), "..", "..", "data"))
CRFENB = os.path.join(DATA_DIR, "CrFeNb_Jacob2016.tdb")


@pytest.fixture(scope="session")
def thermfn():
    path = os.environ.get("THERMFN")
    assert path and os.access(path, os.X_OK), "THERMFN must name the built thermfn tool"
    return path


@pytest.fixture(scope="session")
def db():
    with warnings.catch_warnings():
        warnings.simplefilter("error")  # the bundled database reads without a diagnostic
        return tk.Database(CRFENB)


@pytest.fixture(scope="session")
def bcc(db):
    return db.phase("BCC_A2")
