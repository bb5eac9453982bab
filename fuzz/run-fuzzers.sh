#!/usr/bin/env bash
# Usage: bash fuzz/run-fuzzers.sh SECONDS
#
# Configures and builds the libFuzzer targets with clang in build-fuzz/ under
# the repository root, then runs each for SECONDS seconds, starting from the
# committed seed corpus in fuzz/corpus/<target>/. New coverage-increasing inputs go to
# build-fuzz/ so the committed corpus stays small; an input that crashes, leaks,
# hangs or runs out of memory is copied into that folder, where the ordinary
# test suite replays it. Exits non-zero when any target failed.
set -u

if [[ $# -ne 1 || ! $1 =~ ^[0-9]+$ ]]; then
    echo "usage: $0 SECONDS" >&2
    exit 2
fi
readonly RUN_SECONDS=$1
readonly ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
readonly BUILD=$ROOT/build-fuzz
readonly CORPUS=$ROOT/fuzz/corpus
readonly FUZZERS=(fuzz_UBXMessageStream fuzz_ImageSequence fuzz_UBXHybridCodec fuzz_UBXJson
    fuzz_UBXConnection fuzz_UBXOverlay)

cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_COMPILER=clang++ -DBEAMORA_FUZZ=ON -DBEAMORA_BUILD_TESTS=OFF || exit 1
cmake --build "$BUILD" --target "${FUZZERS[@]}" -j2 || exit 1

# Qt keeps font caches of system libraries to the end of the process; the
# suppressions keep those from counting as leaks of the code under test.
export LSAN_OPTIONS="suppressions=$ROOT/.ci/lsan.supp${LSAN_OPTIONS:+:$LSAN_OPTIONS}"

status=0
for fuzzer in "${FUZZERS[@]}"; do
    work=$BUILD/fuzz-work/$fuzzer
    artifacts=$BUILD/fuzz-artifacts/$fuzzer
    rm -rf "$artifacts"
    mkdir -p "$work" "$artifacts"
    # Frames reach 64 KiB and one read up to 64 KiB more, so inputs must be
    # allowed to exceed both.
    "$BUILD/fuzz/$fuzzer" -max_total_time="$RUN_SECONDS" -max_len=140000 -timeout=30 \
        -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$artifacts/" \
        "$work" "$CORPUS/$fuzzer"
    rc=$?
    found=0
    for artifact in "$artifacts"/crash-* "$artifacts"/leak-* "$artifacts"/timeout-* \
        "$artifacts"/oom-*; do
        [[ -e $artifact ]] || continue
        cp "$artifact" "$CORPUS/$fuzzer/"
        echo "$fuzzer: kept $(basename "$artifact") in fuzz/corpus/$fuzzer/" >&2
        found=1
    done
    if [[ $rc -ne 0 || $found -ne 0 ]]; then
        echo "$fuzzer: FAILED (exit code $rc)" >&2
        status=1
    fi
done
exit $status
