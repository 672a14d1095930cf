"""Pictures of a phase's molar quantities (matplotlib, PNG).

    python -m thermkernel plot DB --phase NAME --T 800,1200 --x FE-CR [-o FILE]
        GM (per mole of atoms) across the binary A-B at the given temperatures:
        x(B) from 0 to 1 in the first sublattice; each other sublattice must
        hold one constituent, which fills it.
    python -m thermkernel plot DB --phase NAME --T 300:2000:10 --y "FE=0.9,CR=0.1:VA=1" [--y ...] [-o FILE]
        GM, HM, SM, CPM (per mole of atoms) against T for each composition,
        written as for thermfn eval: sublattices separated by ':'.

Temperatures are a list (800,1200) or a range LOW:HIGH:STEP.  Exit code 2
with a message for bad arguments, 1 when the evaluation is refused.
"""
import argparse
import sys

import numpy as np

from . import Database, NotEvaluableError


class UsageError(Exception):
    pass


def parse_temperatures(text):
    try:
        if ":" in text:
            low, high, step = (float(v) for v in text.split(":"))
            if not (step > 0 and high >= low):
                raise UsageError("--T %s: expected LOW:HIGH:STEP with STEP > 0 and HIGH >= LOW" % text)
            return np.arange(low, high + step / 2, step)
        return np.array([float(v) for v in text.split(",")])
    except ValueError:
        raise UsageError("--T %s: expected numbers as LOW:HIGH:STEP or T1,T2,..." % text) from None


def composition_row(phase, text):
    """Site fractions in the phase's variable order from "A=0.3,B=0.7:VA=1"; unnamed ones are 0."""
    sublattices = text.split(":")
    if len(sublattices) != len(phase.constituents):
        raise UsageError("--y %s: %s has %d sublattices, the composition %d"
                         % (text, phase.name, len(phase.constituents), len(sublattices)))
    y = np.zeros(len(phase.variables))
    for s, part in enumerate(sublattices):
        for item in part.split(","):
            name, sep, value = item.partition("=")
            column = [i for i, (sub, c) in enumerate(phase.variables) if sub == s and c == name.strip().upper()]
            if not sep or not column:
                raise UsageError("--y %s: expected NAME=FRACTION with NAME one of %s in sublattice %d"
                                 % (text, ", ".join(phase.constituents[s]), s))
            try:
                y[column[0]] = float(value)
            except ValueError:
                raise UsageError("--y %s: %r is not a number" % (text, value)) from None
    return y


def binary_rows(phase, pair, points=201):
    """Rows of y across A-B (x of B from 0 to 1) and the x values."""
    a, sep, b = pair.upper().partition("-")
    first = phase.constituents[0]
    if not sep or a not in first or b not in first or a == b:
        raise UsageError("--x %s: expected A-B with two constituents of the first sublattice of %s (%s)"
                         % (pair, phase.name, ", ".join(first)))
    for s, names in enumerate(phase.constituents[1:], start=1):
        if len(names) != 1:
            raise UsageError("--x needs one constituent in each further sublattice; sublattice %d of %s has %s"
                             % (s, phase.name, ", ".join(names)))
    x = np.linspace(0.0, 1.0, points)
    y = np.zeros((points, len(phase.variables)))
    y[:, phase.variables.index((0, a))] = 1 - x
    y[:, phase.variables.index((0, b))] = x
    for s in range(1, len(phase.constituents)):
        y[:, phase.variables.index((s, phase.constituents[s][0]))] = 1.0
    return x, y, a, b


def plot_binary(db, phase, temperatures, pair, output):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    x, y, a, b = binary_rows(phase, pair)
    fig, ax = plt.subplots(figsize=(6.4, 4.4))
    for T in temperatures:
        r = phase.evaluate(T=T, y=y, order=0)
        ax.plot(x, r.GM / 1000.0, label="%g K" % T)
    ax.set_xlabel("x(%s) in %s-%s" % (b, a, b))
    ax.set_ylabel("GM / (kJ per mole of atoms)")
    ax.set_title("%s of %s" % (phase.name, db.path.rsplit("/", 1)[-1]))
    ax.legend()
    fig.tight_layout()
    fig.savefig(output, dpi=100, metadata={"Software": None})
    plt.close(fig)


def plot_properties(db, phase, temperatures, texts, output):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    fig, axes = plt.subplots(2, 2, figsize=(9.6, 7.2), sharex=True)
    quantities = [("GM", "GM / (kJ/mol)", 1e-3), ("HM", "HM / (kJ/mol)", 1e-3),
                  ("SM", "SM / (J/(mol K))", 1.0), ("CPM", "CPM / (J/(mol K))", 1.0)]
    for text in texts:
        r = phase.evaluate(T=temperatures, y=composition_row(phase, text), order=2)
        for ax, (key, _, scale) in zip(axes.flat, quantities):
            ax.plot(temperatures, getattr(r, key) * scale, label=text)
    for ax, (_, label, _) in zip(axes.flat, quantities):
        ax.set_ylabel(label)
        ax.grid(alpha=0.3)
    for ax in axes[1]:
        ax.set_xlabel("T / K")
    axes[0, 0].legend(fontsize="small")
    fig.suptitle("%s of %s, per mole of atoms" % (phase.name, db.path.rsplit("/", 1)[-1]))
    fig.tight_layout()
    fig.savefig(output, dpi=100, metadata={"Software": None})
    plt.close(fig)


def main(argv):
    parser = argparse.ArgumentParser(prog="python -m thermkernel",
                                     description="Pictures of a phase's molar quantities (PNG).")
    commands = parser.add_subparsers(dest="command", required=True)
    p = commands.add_parser("plot", help="GM across a binary, or GM/HM/SM/CPM against T")
    p.add_argument("database")
    p.add_argument("--phase", required=True)
    p.add_argument("--T", required=True, dest="temperatures", help="T1,T2,... or LOW:HIGH:STEP [K]")
    group = p.add_mutually_exclusive_group(required=True)
    group.add_argument("--x", help="A-B: GM across this binary at each temperature")
    group.add_argument("--y", action="append", help="a composition (A=0.9,B=0.1:VA=1); repeatable")
    p.add_argument("-o", "--output", help="PNG file (default PHASE.png)")
    args = parser.parse_args(argv)

    try:
        temperatures = parse_temperatures(args.temperatures)
        db = Database(args.database)
        phase = db.phase(args.phase)
        output = args.output or phase.name + ".png"
        if args.x:
            plot_binary(db, phase, temperatures, args.x, output)
        else:
            plot_properties(db, phase, temperatures, args.y, output)
    except (UsageError, FileNotFoundError) as e:
        print("thermkernel plot: %s" % e, file=sys.stderr)
        return 2
    except ValueError as e:
        # errors of the request (names, compositions, limits), or a phase the kernel cannot evaluate
        print("thermkernel plot: %s" % e, file=sys.stderr)
        return 1 if isinstance(e, NotEvaluableError) else 2
    print(output)
    return 0
