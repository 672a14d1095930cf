#!/usr/bin/env bash
# Sets up, builds and runs the main job: thermodynamic properties of the
# stable solid solutions of the bundled Cr-Fe-Nb database.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
build_dir=$(bash scripts/build.sh --release | tail -n 1)
thermfn="$build_dir/bin/thermfn"
db=${THERM_DATA_DIR:-data}/CrFeNb_Jacob2016.tdb

heading() { printf '\n==== %s ====\n\n' "$1"; }

heading "Phases of $db"
"$thermfn" phases "$db"

# Ferrite (BCC_A2) and austenite (FCC_A1): G per formula unit, and GM, SM,
# HM, CPM per mole of atoms, 300-2000 K.  With one vacancy sublattice the
# site fractions of the first sublattice are the mole fractions.  The Fe-rich
# BCC blocks show the heat-capacity peak of the Curie transition near 1000 K.
temperatures=300:2000:100
heading "BCC_A2 (ferrite), Fe-rich: x(Cr)=0.10; x(Cr)=0.05, x(Nb)=0.02"
"$thermfn" eval "$db" --phase BCC_A2 --T "$temperatures" \
  --y "FE=0.9,CR=0.1:VA=1" --y "FE=0.93,CR=0.05,NB=0.02:VA=1"
heading "BCC_A2, Cr-rich: x(Fe)=0.20"
"$thermfn" eval "$db" --phase BCC_A2 --T "$temperatures" --y "CR=0.8,FE=0.2:VA=1"
heading "FCC_A1 (austenite), Fe-rich: x(Cr)=0.10; x(Cr)=0.05, x(Nb)=0.02"
"$thermfn" eval "$db" --phase FCC_A1 --T "$temperatures" \
  --y "FE=0.9,CR=0.1:VA=1" --y "FE=0.93,CR=0.05,NB=0.02:VA=1"
heading "FCC_A1, Cr-rich: x(Fe)=0.20"
"$thermfn" eval "$db" --phase FCC_A1 --T "$temperatures" --y "CR=0.8,FE=0.2:VA=1"
heading "Gibbs energies of the pure elements in their reference states"
for f in GHSERFE GHSERCR GHSERNB; do
  "$thermfn" function "$db" "$f" --T "$temperatures"
  echo
done

heading "Picture: BCC_A2 against T (docs/bcc_a2.png, drawn with the Python package)"
PYTHONPATH="$build_dir/python" /usr/bin/python3 -m thermkernel plot "$db" --phase BCC_A2 --T 300:2000:5 \
  --y "FE=0.9,CR=0.1:VA=1" --y "FE=0.93,CR=0.05,NB=0.02:VA=1" --y "CR=0.8,FE=0.2:VA=1" -o docs/bcc_a2.png
