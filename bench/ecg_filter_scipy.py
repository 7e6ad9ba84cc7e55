#!/usr/bin/python3
"""The Vital ECG filter against scipy.signal.lfilter, in one run.

Runs the kit's benchmark (BM_VitalECGFilter in halvora_bench) with HALVORA_ECG_BENCH_DIR set, so that it
leaves its 10 million raw samples and the kit's output in a temporary folder; then filters the same samples
with scipy.signal.lfilter (same coefficients, same 18.3/128 scaling and +0.06 offset before the filter, the
sign inverted after it), times it, and prints both throughputs, their ratio and the largest deviation.

Usage: bench/ecg_filter_scipy.py BUILD/bench/halvora_bench [--repetitions N]
Needs Debian's python3-numpy and python3-scipy (run it with /usr/bin/python3). Exit status 1 when the
deviation is above 1e-9 or the kit is slower than lfilter.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile
import time

import numpy as np
from scipy.signal import lfilter

B = [0.012493658738073, 0.0, -0.024987317476146, 0.0, 0.012493658738073]
A = [1.0, -3.658469528008591, 5.026987876570873, -3.078346646055655, 0.709828779797188]
MAX_DEVIATION = 1e-9


def run_kit(bench, folder, repetitions):
    """The kit's median samples per second (CPU and wall) from the benchmark's JSON report."""
    env = dict(os.environ, HALVORA_ECG_BENCH_DIR=folder)
    out = subprocess.run(
        [bench, "--benchmark_filter=^BM_VitalECGFilter$", "--benchmark_format=json",
         f"--benchmark_repetitions={repetitions}"],
        env=env, check=True, capture_output=True, text=True).stdout
    runs = [b for b in json.loads(out)["benchmarks"] if b.get("run_type") == "iteration"]
    samples = 10_000_000
    cpu = sorted(samples / (b["cpu_time"] * 1e-3) for b in runs)   # times are in ms
    wall = sorted(samples / (b["real_time"] * 1e-3) for b in runs)
    return cpu[len(cpu) // 2], wall[len(wall) // 2]


def scipy_filter(raw):
    x = raw.astype(np.float64) * 18.3 * 0.0078125 + 0.06
    return -lfilter(B, A, x)


def extended_reference(raw):
    """The same filter in extended precision (long double), from the same double input and coefficients: how
    far each double-precision result is from the exact arithmetic."""
    x = (raw.astype(np.float64) * 18.3 * 0.0078125 + 0.06).astype(np.longdouble)
    return -lfilter(np.array(B, dtype=np.longdouble), np.array(A, dtype=np.longdouble), x)


def run_scipy(raw, repetitions):
    """Median samples per second (CPU and wall) of the whole job: scaling, lfilter, sign."""
    cpu, wall = [], []
    for _ in range(repetitions):
        c0, w0 = time.process_time(), time.perf_counter()
        out = scipy_filter(raw)
        c1, w1 = time.process_time(), time.perf_counter()
        cpu.append(raw.size / (c1 - c0))
        wall.append(raw.size / (w1 - w0))
    cpu.sort()
    wall.sort()
    return out, cpu[len(cpu) // 2], wall[len(wall) // 2]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("bench", help="path of halvora_bench")
    parser.add_argument("--repetitions", type=int, default=5)
    args = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="halvora-ecg-") as folder:
        kit_cpu, kit_wall = run_kit(args.bench, folder, args.repetitions)
        raw = np.fromfile(os.path.join(folder, "ecg_input.i16"), dtype="<i2")
        kit = np.fromfile(os.path.join(folder, "ecg_kit.f64"), dtype="<f8")
    reference, sp_cpu, sp_wall = run_scipy(raw, args.repetitions)
    deviation = float(np.max(np.abs(kit - reference)))
    peak = float(np.max(np.abs(reference)))
    exact = extended_reference(raw)
    kit_error = float(np.max(np.abs(kit - exact)))
    scipy_error = float(np.max(np.abs(reference - exact)))
    print(f"samples            {raw.size}")
    print(f"kit                {kit_cpu / 1e6:.1f} M samples/s CPU, {kit_wall / 1e6:.1f} M samples/s wall")
    print(f"scipy lfilter      {sp_cpu / 1e6:.1f} M samples/s CPU, {sp_wall / 1e6:.1f} M samples/s wall")
    print(f"ratio kit/scipy    {kit_cpu / sp_cpu:.2f} CPU, {kit_wall / sp_wall:.2f} wall (goal >= 1)")
    print(f"max deviation      {deviation:.3e} (goal <= {MAX_DEVIATION:g}); largest output {peak:.1f}")
    print(f"from long double   kit {kit_error:.3e}, scipy {scipy_error:.3e}")
    ok = deviation <= MAX_DEVIATION and kit_cpu >= sp_cpu
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
