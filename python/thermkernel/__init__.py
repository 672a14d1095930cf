"""Gibbs energies and their derivatives of the phases of a TDB database.

    import numpy as np
    import thermkernel as tk
    db = tk.Database("data/CrFeNb_Jacob2016.tdb")
    bcc = db.phase("BCC_A2")
    r = bcc.evaluate(T=np.linspace(300, 2000, 18), y=[0.1, 0.9, 0.0, 1.0], order=2)
    r.GM, r.SM, r.HM, r.CPM      # per mole of atoms
    r.G, r.dG_dy, r.hessian      # per mole of formula units

G and its derivatives are per mole of formula units of the phase, GM, SM,
HM and CPM per mole of atoms.  Temperatures in K, pressure in Pa.  The
evaluation releases the GIL, so threads evaluating at once run in parallel
as far as the library allows.
"""

import os
import warnings
from collections import namedtuple

import numpy as np

from . import _thermkernel as _tk

__all__ = [
    "Database", "Phase", "Result", "FunctionValues",
    "ThermkernelError", "DatabaseError", "NotEvaluableError", "TemperatureRangeError", "ReaderWarning",
]

#: Largest deviation of a sublattice's site fractions from a sum of 1 that is accepted.
SUM_TOLERANCE = _tk.SUM_TOLERANCE
#: Standard pressure [Pa], the default of every evaluation.
STANDARD_PRESSURE = 101325.0


class ThermkernelError(Exception):
    """Base of the errors the library reports."""


class DatabaseError(ThermkernelError, ValueError):
    """The database has errors (file:line:column of the first in the message)."""


class NotEvaluableError(ThermkernelError, ValueError):
    """The phase cannot be evaluated; the message gives the reason."""


class TemperatureRangeError(ThermkernelError, ValueError):
    """A temperature outside the database's limits or a function's ranges (named with them)."""


class ReaderWarning(UserWarning):
    """A diagnostic of the database reader: file:line:column: severity: COMMAND: reason."""


def _raise(failure):
    status, message = failure.args
    if status == _tk.ERROR_FILE:
        raise DatabaseError(message) from None
    if status == _tk.ERROR_NOT_EVALUABLE:
        raise NotEvaluableError(message) from None
    if status == _tk.ERROR_RANGE:
        raise TemperatureRangeError(message) from None
    if status in (_tk.ERROR_ARGUMENT, _tk.ERROR_INPUT, _tk.ERROR_NAME):
        raise ValueError(message) from None
    raise ThermkernelError(message) from None


FunctionValues = namedtuple("FunctionValues", "T F dF_dT d2F_dT2")
FunctionValues.__doc__ = "A symbol function's values [J/mol as the database defines it] and T derivatives."


class Result:
    """Results of Phase.evaluate, NumPy arrays over the points.

    G, dG_dT, d2G_dT2: per mole of formula units; dG_dy (points x n) and
    hessian (points x (n+1) x (n+1), variables then T last) likewise.  GM,
    SM, HM, CPM: per mole of atoms.  Quantities above the requested order are
    None.  T holds the temperature of each point, variables the (sublattice,
    constituent) of each column of y.
    """

    _FIELDS = ("G", "dG_dT", "d2G_dT2", "dG_dy", "hessian", "GM", "SM", "HM", "CPM")

    def __init__(self, T, P, variables, arrays):
        self.T = T
        self.P = P
        self.variables = variables
        for name in self._FIELDS:
            setattr(self, name, arrays.get(name))

    def __len__(self):
        return len(self.G)

    def __repr__(self):
        return "Result(points=%d, variables=%s)" % (len(self.G), [name for _, name in self.variables])


class Phase:
    """One phase of a Database: its sublattices and the evaluation."""

    def __init__(self, database, index):
        self._db = database
        self._index = index
        name, evaluable, why, sites, variables = database._db.describe(index)
        #: name as the database spells it
        self.name = name
        #: False when the reader could not take all the phase needs; why says what
        self.evaluable = evaluable
        self.why = why
        #: sites of each sublattice per formula unit
        self.site_ratios = tuple(sites)
        #: (sublattice, constituent) of each site-fraction variable, the columns of y
        self.variables = [tuple(v) for v in variables]
        constituents = [[] for _ in sites]
        for sublattice, constituent in self.variables:
            constituents[sublattice].append(constituent)
        #: per sublattice, its constituents in variable order
        self.constituents = [tuple(c) for c in constituents]

    def __repr__(self):
        return "Phase(%s, constituents=%s)" % (self.name, self.constituents)

    def evaluate(self, T, y, order=2, P=STANDARD_PRESSURE):
        """G and its derivatives at points of temperature T and site fractions y.

        y: one composition (n values, in the order of self.variables) or one
        per point (points x n).  T: one temperature, or one per point; one
        composition with several temperatures evaluates it at each.  order 0
        gives G, GM; 1 also dG_dT, dG_dy, SM, HM; 2 also d2G_dT2, hessian, CPM.
        """
        if order not in (0, 1, 2):
            raise ValueError("order must be 0, 1 or 2, not %r" % (order,))
        n = len(self.variables)
        y = np.asarray(y, dtype=np.float64)
        if y.ndim == 1:
            y = y.reshape(1, -1)
        if y.ndim != 2 or y.shape[1] != n:
            raise ValueError(
                "y has shape %s; %s has %d site-fraction variables (%s), so y must be (%d,) or (points, %d)"
                % (y.shape, self.name, n, self._variable_text(), n, n))
        if y.strides[1] % 8 or y.strides[0] % 8:
            y = np.ascontiguousarray(y)
        T = np.asarray(T, dtype=np.float64)
        if T.ndim > 1:
            raise ValueError("T must be a number or one-dimensional, not of shape %s" % (T.shape,))
        T = np.ascontiguousarray(T.reshape(-1))
        if T.size == 0 or y.shape[0] == 0:
            raise ValueError("no points: T has %d values and y %d compositions" % (T.size, y.shape[0]))
        if T.size > 1 and y.shape[0] > 1 and T.size != y.shape[0]:
            raise ValueError("T has %d values and y %d compositions; expected one T, one composition, or as many "
                             "of each" % (T.size, y.shape[0]))
        points = max(T.size, y.shape[0])
        try:
            P = float(P)
            arrays = self._db._db.evaluate(self._index, T, y, points, order, P)
        except _tk.Failure as failure:
            _raise(failure)
        return Result(np.broadcast_to(T, (points,)).copy(), P, self.variables, arrays)

    def _variable_text(self):
        return ", ".join("%s in sublattice %d" % (name, s) for s, name in self.variables)


class Database:
    """A TDB database.

    The reader's diagnostics are issued as ReaderWarning.  With strict=True
    (the default) an error of the reader raises DatabaseError naming the file,
    line and column; strict=False keeps the database, with the phases an
    error touches marked not evaluable (Phase.why).
    """

    def __init__(self, path, strict=True):
        path = os.fspath(path)
        if not os.path.isfile(path):
            raise FileNotFoundError("no database file %s" % path)
        try:
            self._db = _tk.Database(path, bool(strict))
        except _tk.Failure as failure:
            _raise(failure)
        self.path = path
        for _, text in self._db.diagnostics():
            warnings.warn(text, ReaderWarning, stacklevel=2)
        #: the database's temperature limits [K]
        self.T_limits = tuple(self._db.limits())
        self._phases = {}

    @property
    def phases(self):
        """Names of the phases, in the order the database defines them."""
        return self._db.phases()

    @property
    def functions(self):
        """Names of the symbol functions (FUNCTION)."""
        return self._db.functions()

    def phase(self, name):
        """The phase called name (case-insensitive); ValueError listing the phases otherwise."""
        try:
            index = self._db.find_phase(str(name))
        except _tk.Failure as failure:
            _raise(failure)
        if index not in self._phases:
            self._phases[index] = Phase(self, index)
        return self._phases[index]

    def function(self, name, T, P=STANDARD_PRESSURE):
        """Value and first two T derivatives of symbol function name at T (number or 1-D)."""
        T = np.ascontiguousarray(np.asarray(T, dtype=np.float64).reshape(-1))
        try:
            F, dF, d2F = self._db.function(str(name), T, float(P))
        except _tk.Failure as failure:
            _raise(failure)
        return FunctionValues(T.copy(), F, dF, d2F)

    def __repr__(self):
        return "Database(%r)" % self.path
