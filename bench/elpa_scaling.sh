#!/bin/sh
# One evaluation of a large flake with tbcalc energy --distributed (ScaLAPACK and ELPA) on 1 and
# 2 ranks of one thread each, against the one-process LAPACK build on 2 threads, side by side
# in one run. Prints the wall time of each command, the same less the start-up of that command
# on a water molecule (MPI's start-up is about a second), the ratio of the latter to the LAPACK
# run's, and the peak resident memory of each rank (VmHWM) against 9 n^2 / K doubles; checks
# that every run gave the same energy within 1e-9 eV.
#
#   bench/elpa_scaling.sh [ELPA_BUILD [LAPACK_BUILD [BASIS_SIZES...]]]
#
# ELPA_BUILD is a build with -DTBRELAX_MPI=ON -DTBRELAX_ELPA=ON (default build-mpi),
# LAPACK_BUILD one with -DTBRELAX_LAPACK=ON (default build-lapack); the flakes are those nearest
# the basis sizes given (default 1600 3200). MPIEXEC_FLAGS passes options to mpiexec.
set -eu
elpa=${1:-build-mpi}
lapack=${2:-build-lapack}
if [ $# -gt 2 ]; then shift 2; else set -- 1600 3200; fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM

echo "Machine: $(nproc --all) cores; load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
printf '3\nwater\nO 0 0 0.1173\nH 0 0.7572 -0.4692\nH 0 -0.7572 -0.4692\n' > "$work/water.xyz"
# The command of one run on FILE: lapack, or a rank count.
run_command() {
  if [ "$1" = lapack ]; then
    OMP_NUM_THREADS=2 /usr/bin/time -f %M -o "$work/rss.0" "$lapack/tbcalc" energy --json "$2"
  else
    # shellcheck disable=SC2086
    OMP_NUM_THREADS=1 mpiexec ${MPIEXEC_FLAGS:-} -n "$1" /bin/sh -c \
      'exec /usr/bin/time -f %M -o "$0/rss.${OMPI_COMM_WORLD_RANK:-${PMIX_RANK:-0}}" "$@"' "$work" \
      "$elpa/tbcalc" energy --json --distributed "$2"
  fi
}
timed() {
  start=$(date +%s.%N)
  run_command "$1" "$2" > "$work/out"
  end=$(date +%s.%N)
  awk "BEGIN { print $end - $start }"
}
echo "   n  run                      seconds  less start-up  ratio to LAPACK  peak MiB per rank  9 n^2/K doubles (MiB)"
for size in "$@"; do
  "$elpa/tbrelax_bench" --write-xyz "flake:$size" > "$work/f.xyz"
  n=$(awk 'NR > 2 { n += ($1 == "H") ? 1 : 4 } END { print n }' "$work/f.xyz")
  reference=""
  for run in lapack 1 2; do
    startup=$(timed "$run" "$work/water.xyz")
    rm -f "$work"/rss.*
    seconds=$(timed "$run" "$work/f.xyz")
    if [ "$run" = lapack ]; then label="LAPACK, 1 x 2 threads"; ranks=1; else label="ELPA, $run x 1 thread"; ranks=$run; fi
    evaluation=$(awk "BEGIN { print $seconds - $startup }")
    energy=$(awk -F'[:,]' '/"energy"/ { print $2; exit }' "$work/out")
    [ -z "$reference" ] && reference=$evaluation && reference_energy=$energy
    awk "BEGIN { if (($energy) - ($reference_energy) > 1e-9 || ($reference_energy) - ($energy) > 1e-9) exit 1 }" ||
      { echo "$label: energy $energy differs from $reference_energy"; exit 1; }
    peak=$(cat "$work"/rss.* | awk '$1 > m { m = $1 } END { printf "%.0f", m / 1024 }')
    awk "BEGIN { printf \"%5d  %-24s %7.2f %14.2f %16.2f %18d %22.0f\\n\", $n, \"$label\", $seconds, $evaluation,
      $evaluation / $reference, $peak, 9 * $n * $n * 8 / $ranks / 1048576 }"
  done
done
echo "Load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
