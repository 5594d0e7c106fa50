#!/usr/bin/env bash
# Builds the benchmarks and prints the table of docs/performance.md, followed by the performance
# targets worked out from it.
#
#   scripts/bench.sh [Google Benchmark flags...]   e.g. --benchmark_filter=Legacy
#
# Environment:
#   CUSTPOLICY_BENCH_REPETITIONS   runs of each benchmark; the table shows their median (default 5)
#   CUSTPOLICY_BENCH_BUILD         build directory (default build/bench)
#   CUSTPOLICY_JOBS                build parallelism (default 2)
#
# The simulator's code is configured too (CUSTPOLICY_TOOLS), for the cost of a sweep point; only
# the benchmark program is built.
#
# The benchmarks use Debian's Google Benchmark, which is built against libstdc++, so they are
# built with the gcc preset's toolchain (gcc, libstdc++, RelWithDebInfo: -O2 -g) in their own
# build directory.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

bash scripts/setup.sh

repetitions=${CUSTPOLICY_BENCH_REPETITIONS:-5}
build=${CUSTPOLICY_BENCH_BUILD:-build/bench}
jobs=${CUSTPOLICY_JOBS:-2}

cmake --preset gcc -B "${build}" -DCUSTPOLICY_BENCH=ON -DCUSTPOLICY_TESTS=OFF \
  -DCUSTPOLICY_TOOLS=ON >/dev/null
cmake --build "${build}" --parallel "${jobs}" --target custpolicy_bench custpolicy_lint_bench \
  >/dev/null

echo "Machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//')"
echo "Compiler: $(g++ --version | head -1)"
echo "Load average before the run: $(cut -d' ' -f1-3 /proc/loadavg)"
"${build}/bench/custpolicy_bench" --benchmark_repetitions="${repetitions}" \
  --benchmark_report_aggregates_only=true "$@"
# Lint of large and hostile configurations (docs/performance.md, "Lint at scale"): each case is
# seconds long, so it runs once.
"${build}/bench/custpolicy_lint_bench" "$@"
