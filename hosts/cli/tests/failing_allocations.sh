#!/usr/bin/env bash
# failing_allocations.sh PROGRAM ALLOCATOR read|write|analyze: lets allocations of the commands that
# read, write or analyse recordings fail, each once and each with all that follow. The program may not
# crash or hang, and where it fails it ends with status 1, one line on stderr and no file left behind.
set -euo pipefail
program=$1 allocator=$2 commands=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
mkdir made
"$program" synth in --fs 10e6 --ramp 200e-6 --bandwidth 2e6 --chirps 5 --flyback 10e-6 >/dev/null
"$program" convert in in.sigmf >/dev/null
"$program" convert in in.wav >/dev/null

count_of() {
  FMCW_COUNT=$folder/count LD_PRELOAD=$allocator "$program" "$@" >/dev/null 2>&1
  rm -rf made/* made/.fmcw-*
  cat count
}

# What happens before the command is known is the same for every command; the first one tries it.
first=1
# A command that allocates more often than this has a share of its allocations tried.
most=700
failures=0
# try CRASHES ARGUMENT...: CRASHES is how often a library may end the program: libarchive 3.6 and
# libsndfile 1.2 use some of their own blocks without looking whether they got them.
try() {
  local total step status lines mode n crashes=$1
  shift
  total=$(count_of "$@")
  step=$(((total - first) / most + 1))
  for mode in FMCW_FAIL_AT FMCW_FAIL_FROM; do
    for ((n = first; n <= total; n += step)); do
      status=0
      env "$mode=$n" timeout 20 env "LD_PRELOAD=$allocator" "$program" "$@" >/dev/null 2>stderr || status=$?
      mapfile -t lines <stderr
      if [ "$status" -eq 0 ]; then
        rm -rf made/* made/.fmcw-*
      elif [ "$status" -eq 139 ] && [ -z "$(ls -A made)" ] && [ $((crashes--)) -gt 0 ]; then
        continue
      elif [ "$status" -ne 1 ] || [ ${#lines[@]} -ne 1 ] || [ -n "$(ls -A made)" ]; then
        echo "fmcw $*, $mode=$n of $total: status $status, stderr '${lines[*]-}', files: $(ls -A made)"
        failures=$((failures + 1))
        rm -rf made/* made/.fmcw-*
      fi
    done
  done
  echo "fmcw $*: allocations $first to $total, each of $step"
}

if [ "$commands" = read ]; then
  try 0 info in
  first=$(($(count_of --version) - 20))
  try 2 info in.sigmf
  try 2 info in.wav --json
  try 0 convert in made/out
elif [ "$commands" = analyze ]; then
  first=$(($(count_of --version) - 20))
  most=150
  limits=(--set min_chirp_len=100us --set max_chirp_len=300us)
  try 0 analyze in "${limits[@]}" --jobs 1 --json made/a.json --csv made/a.csv
  try 0 analyze in "${limits[@]}" --jobs 2 --csv made/a.csv
  try 0 analyze in "${limits[@]}" --jobs 2 --truth
  try 2 analyze in "${limits[@]}" --traces power,spectrogram --npz made/a.npz --report
  try 0 spectrum in --kind fixed --for 300 --csv made/a.csv --json made/a.json
else
  first=$(($(count_of --version) - 20))
  try 2 convert in.wav made/out.cs16
  try 2 convert in made/out.sigmf --to ci16_le
  try 2 convert in made/out.wav
  try 0 synth made/out --fs 10e6 --ramp 200e-6 --bandwidth 2e6 --chirps 2 --snr 20
fi
exit $((failures != 0))
