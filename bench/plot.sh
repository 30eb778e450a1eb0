#!/usr/bin/env bash
# Turns a benchmark run into a plot: nanoseconds per call against N, one
# line per form of our kernels (sse2, avx2, avx512, or the bound form) and
# one for the peer, in one panel per family. It reads the JSON output of any
# of the benchmark programs:
#
#   build/bench/bench_dft --benchmark_out=run.json --benchmark_out_format=json
#   bench/plot.sh run.json docs/performance_dft.svg
#
# Names are "<family>/<form>/<N>" (bench_dft, the peer being the form
# "fftw"), or "<family>[-<form>]/ours/<N>" beside "<family>[-<form>]/peer/<N>"
# (the WHT, DCT-IV and real benchmarks). Families of one panel each are kept
# to those that have a form or are not a side measurement (Init, a missing
# buffer). With repetitions, the fastest batch counts.
#
# Needs python3 and gnuplot (scripts/install-deps.sh installs gnuplot-nox).
set -euo pipefail
if (($# < 2 || $# > 3)); then
  echo "usage: $0 RUN.json OUTPUT.svg|OUTPUT.png [TITLE]" >&2
  exit 2
fi
run=$1
out=$2
title=${3:-ns per call (fastest batch) against N}
data=$(mktemp -d)
trap 'rm -rf "$data"' EXIT

# One data file per family: N, then each series (ns per call), "?" where a
# series did not run; a first comment line names the series, the peer last.
python3 - "$run" "$data" <<'PY'
import json, sys
run, outdir = sys.argv[1], sys.argv[2]
forms = ["sse2", "avx2", "avx512"]
peers = {"dft": "FFTW", "dct4": "FFTW REDFT11", "wht": "plain loop", "DFTFwd": "FFTW r2c", "DFTInv": "FFTW c2r",
         "Hartley": "FFTW r2r DHT"}
best = {}
for b in json.load(open(run))["benchmarks"]:
    if b.get("run_type") != "iteration" or b.get("error_occurred"):
        continue
    ns = b.get("ns")  # the fastest batch per call, where the benchmark reports it
    if ns is None:
        ns = b["real_time"] if b.get("time_unit", "ns") == "ns" else None
    if ns is None:
        continue
    family, role, n = b["run_name"].split("/")
    if role in forms or role == "fftw":   # bench_dft
        series = "peer" if role == "fftw" else role
    else:
        form = next((f for f in forms if family.endswith("-" + f)), None)
        if form:
            family = family[: -len(form) - 1]
        elif family.endswith("-init") or family.endswith("-nullbuf"):
            continue
        series = "peer" if role == "peer" else (form or "ours")
    key = (family, int(n), series)
    best[key] = min(best.get(key, float("inf")), float(ns))
families = sorted({k[0] for k in best})
for f in families:
    series = [s for s in forms + ["ours"] if any(k[0] == f and k[2] == s for k in best)] + ["peer"]
    peer = next((v for p, v in peers.items() if f.startswith(p)), "peer")
    with open(f"{outdir}/{f}.dat", "w") as o:
        o.write("# " + " ".join(series[:-1] + [peer.replace(" ", "_")]) + "\n")
        for n in sorted({k[1] for k in best if k[0] == f}):
            o.write(f"{n} " + " ".join(f"{best[(f, n, s)]:.3f}" if (f, n, s) in best else "?" for s in series) + "\n")
PY

families=$(cd "$data" && ls *.dat | sed 's/\.dat$//')
count=$(echo "$families" | wc -l)
cols=$((count < 2 ? 1 : 2))
rows=$(((count + cols - 1) / cols))
{
  if [[ $out == *.png ]]; then
    echo "set terminal pngcairo size $((600 * cols)),$((450 * rows)) background rgb 'white' font 'sans,10'"
  else
    echo "set terminal svg size $((600 * cols)),$((450 * rows)) dynamic background rgb 'white' font 'sans,11'"
  fi
  echo "set output '$out'"
  echo "set datafile missing '?'"
  echo "set multiplot layout $rows,$cols title '$title'"
  echo "set grid"
  echo "set key top left"
  echo "set xlabel 'N'"
  echo "set ylabel 'ns per call'"
  for f in $families; do
    file="$data/$f.dat"
    read -r -a names <"$file"
    names=("${names[@]:1}")
    maxn=$(tail -n 1 "$file" | cut -d' ' -f1)
    if ((maxn > 64)); then
      echo "set logscale x 2"
      echo "set logscale y 10"
      echo "set format x '2^{%L}'"
      echo "set format y '10^{%L}'"
      echo "unset xrange"
    else
      echo "unset logscale"
      echo "set format x '%g'"
      echo "set format y '%g'"
      echo "set xrange [1:65]"
    fi
    echo "set title '$f' noenhanced"
    plot="plot"
    last=$((${#names[@]} - 1))
    for i in "${!names[@]}"; do
      width=1
      ((i == last)) && width=2
      plot+=" '$file' using 1:$((i + 2)) with linespoints lw $width title '${names[$i]//_/ }'"
      ((i < last)) && plot+=","
    done
    echo "$plot"
  done
  echo "unset multiplot"
} | gnuplot
echo "wrote $out"
