#!/usr/bin/env bash
# Turns a run of bench_dft into a plot: nanoseconds per call against N, one
# line per form of our kernels (sse2, avx2, avx512) and one for FFTW, in
# one panel per precision and direction.
#
#   build/bench/bench_dft --benchmark_out=run.json --benchmark_out_format=json
#   bench/plot_dft.sh run.json docs/performance_dft.svg
#
# Needs python3 and gnuplot (scripts/install-deps.sh installs gnuplot-nox).
set -euo pipefail
if (($# != 2)); then
  echo "usage: $0 RUN.json OUTPUT.svg" >&2
  exit 2
fi
run=$1
out=$2
data=$(mktemp -d)
trap 'rm -rf "$data"' EXIT

# One data file per family: N, then the fastest batch of each form (ns per
# call), "?" where a form did not run.
python3 - "$run" "$data" <<'EOF'
import json, sys
run, outdir = sys.argv[1], sys.argv[2]
forms = ["sse2", "avx2", "avx512", "fftw"]
best = {}
for b in json.load(open(run))["benchmarks"]:
    if b.get("run_type") != "iteration" or "ns" not in b:
        continue
    family, form, n = b["run_name"].split("/")
    key = (family, int(n), form)
    best[key] = min(best.get(key, float("inf")), b["ns"])
families = sorted({k[0] for k in best})
for f in families:
    with open(f"{outdir}/{f}.dat", "w") as o:
        o.write("# N " + " ".join(forms) + "\n")
        for n in sorted({k[1] for k in best if k[0] == f}):
            o.write(f"{n} " + " ".join(f"{best[(f, n, x)]:.3f}" if (f, n, x) in best else "?" for x in forms) + "\n")
print(" ".join(families))
EOF

families=$(cd "$data" && ls *.dat | sed 's/\.dat$//' | tr '\n' ' ')
{
  echo "set terminal svg size 1200,900 dynamic background rgb 'white' font 'sans,11'"
  echo "set output '$out'"
  echo "set datafile missing '?'"
  echo "set multiplot layout 2,2 title 'Complex DFT, ns per call (fastest batch) against N'"
  echo "set grid"
  echo "set key top left"
  echo "set xlabel 'N'"
  echo "set ylabel 'ns per call'"
  echo "set xrange [1:65]"
  for f in $families; do
    echo "set title '$f'"
    echo "plot '$data/$f.dat' using 1:2 with linespoints title 'sse2', \\"
    echo "     '' using 1:3 with linespoints title 'avx2', \\"
    echo "     '' using 1:4 with linespoints title 'avx512', \\"
    echo "     '' using 1:5 with linespoints lw 2 title 'FFTW'"
  done
  echo "unset multiplot"
} | gnuplot
echo "wrote $out"
