#!/usr/bin/env bash
# Builds the safety guard's libFuzzer target with clang in build/fuzz and runs it for SECONDS
# (default 60). Exits non-zero when it finds a crash or a broken invariant; the input that did it is
# kept in build/fuzz/findings/ (replay: build/fuzz/fuzz/SafetyGuardFuzz build/fuzz/findings/<file>).
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DVELMORA_FUZZ=ON -DVELMORA_WINDOW=OFF -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_BENCH=OFF >/dev/null
cmake --build build/fuzz --target SafetyGuardFuzz -j2
mkdir -p build/fuzz/corpus build/fuzz/findings
# The fuzzer builds and removes a small tree per input: a memory file system makes that cheap.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
build/fuzz/fuzz/SafetyGuardFuzz -max_total_time="$seconds" -max_len=512 -len_control=0 -timeout=10 \
  -artifact_prefix=build/fuzz/findings/ build/fuzz/corpus
