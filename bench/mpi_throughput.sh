#!/bin/sh
# Throughput of tbcalc over MPI ranks: the 40 molecules of `tbrelax_bench --write-batch`
# (8 to 44 atoms) under mpiexec with 1 rank and with 2, one thread each, side by side in one
# run. Prints seconds, molecules per second and the ratio to the first rank count, and checks
# that every rank count printed the same document and wrote the same relaxed files.
#
#   bench/mpi_throughput.sh [BUILD_DIR [COMMAND [RANKS...]]]
#
# BUILD_DIR is a build with -DTBRELAX_MPI=ON (default build-mpi), COMMAND relax, energy or freq
# on the whole batch (default relax), or hessian: freq on one flake of about 250 basis
# functions (C54H18), its Hessian shared among the ranks. RANKS are the rank counts (default 1 2). MPIEXEC_FLAGS
# passes options to mpiexec (--oversubscribe to start more ranks than there are cores).
set -eu
build=${1:-build-mpi}
command=${2:-relax}
if [ $# -gt 2 ]; then shift 2; else set -- 1 2; fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT INT TERM

"$build/tbrelax_bench" --write-batch "$work/in" > "$work/files"
if [ "$command" = hessian ]; then
  command=freq
  echo "$work/in/hessian.xyz" > "$work/files"
fi
echo "Machine: $(nproc --all) cores; load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
export OMP_NUM_THREADS=1
molecules=$(wc -l < "$work/files")
echo "tbcalc $command --json on $molecules molecules, OMP_NUM_THREADS=1"
echo "ranks   seconds   molecules/s   throughput ratio"
first=""
for ranks in "$@"; do
  rm -f "$work"/in/*.relaxed.xyz
  start=$(date +%s.%N)
  # shellcheck disable=SC2046,SC2086
  mpiexec ${MPIEXEC_FLAGS:-} -n "$ranks" "$build/tbcalc" "$command" --json $(cat "$work/files") \
    > "$work/out.$ranks" 2> "$work/err.$ranks" || { echo "ranks $ranks failed:"; tail "$work/err.$ranks"; exit 1; }
  end=$(date +%s.%N)
  cat "$work"/in/*.relaxed.xyz 2>/dev/null | cksum > "$work/written.$ranks"
  seconds=$(awk "BEGIN { print $end - $start }")
  [ -z "$first" ] && first=$seconds && reference=$ranks
  awk "BEGIN { printf \"%5d %9.2f %13.3f %18.2f\\n\", $ranks, $seconds, $molecules / $seconds, $first / $seconds }"
  if ! cmp -s "$work/out.$reference" "$work/out.$ranks" || ! cmp -s "$work/written.$reference" "$work/written.$ranks"; then
    echo "ranks $ranks: results differ from $reference rank(s)"
    exit 1
  fi
done
echo "Load average after: $(cut -d' ' -f1-3 /proc/loadavg); every rank count gave the same results"
