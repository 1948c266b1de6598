#!/usr/bin/env bash
# Runs each fuzz target for a given time, on a scratch copy of its seed corpus
# (fuzz/corpus/<target>), so that runs never add to the corpus kept in the
# repository. Prints each target's final figures; fails if any target crashed,
# leaked or broke one of its checks, leaving the input that did it in
# <build>/fuzz/artifacts/<target>/ and the whole output in <build>/fuzz/logs/.
#
# Usage: fuzz/run.sh BUILD_DIR SECONDS TARGET...
set -uo pipefail

if [ $# -lt 3 ]; then
  echo "usage: $0 BUILD_DIR SECONDS TARGET..." >&2
  exit 2
fi
build=$(cd "$1" && pwd)
seconds=$2
shift 2
here=$(cd "$(dirname "$0")" && pwd)

scratch=$(mktemp -d "${TMPDIR:-/tmp}/videodevice-fuzz.XXXXXX")
trap 'rm -rf "$scratch"' EXIT

export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"

failed=()
for target in "$@"; do
  binary="$build/fuzz/fuzz_$target"
  if [ ! -x "$binary" ]; then
    echo "fuzz: no $binary; build the fuzzers first" >&2
    failed+=("$target")
    continue
  fi
  corpus="$scratch/$target"
  artifacts="$build/fuzz/artifacts/$target"
  log="$build/fuzz/logs/$target.log"
  mkdir -p "$corpus" "$artifacts" "$(dirname "$log")"
  if [ -d "$here/corpus/$target" ]; then cp -R "$here/corpus/$target/." "$corpus/"; fi

  options=(-max_total_time="$seconds" -print_final_stats=1 -timeout=30
           -artifact_prefix="$artifacts/")
  case "$target" in
    # Pictures need room for their headers and a few compressed rows.
    imagefile) options+=(-max_len=65536) ;;
    # Call sequences: long inputs from the start, so that a short run still
    # reaches states several calls deep.
    putimage | device) options+=(-max_len=2048 -len_control=0) ;;
  esac

  if "$binary" "${options[@]}" "$corpus" >"$log" 2>&1; then
    status=ok
  else
    status=FAILED
    failed+=("$target")
  fi
  last=$(grep -E '^#[0-9]+[[:space:]]+(DONE|NEW|REDUCE|pulse|INITED)' "$log" | tail -1)
  runs=$(grep -E '^stat::number_of_executed_units' "$log" | awk '{print $2}')
  speed=$(grep -E '^stat::average_exec_per_sec' "$log" | awk '{print $2}')
  cov=$(sed -nE 's/.* cov: ([0-9]+) ft: ([0-9]+) corp: ([^ ]+).*/cov \1, ft \2, corpus \3/p' \
    <<<"$last")
  printf 'fuzz %-10s %-6s %ss: %s runs, %s exec/s, %s\n' \
    "$target" "$status" "$seconds" "${runs:-?}" "${speed:-?}" "${cov:-no coverage line}"
  if [ "$status" != ok ]; then
    echo "---- last lines of $log ----"
    tail -n 40 "$log"
    echo "----"
  fi
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzz: failures in: ${failed[*]} (inputs in $build/fuzz/artifacts/)" >&2
  exit 1
fi
