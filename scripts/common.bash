# Shared by the scripts beside it: sourced, never run.

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

die() {
  printf '%s: %s\n' "${0##*/}" "$*" >&2
  exit 1
}

# Compilers that run side by side: one per core, but no more than one per 1.5 GB of memory; two are always fine.
jobs() {
  local cores kilobytes limit=2
  cores=$(nproc)
  kilobytes=$(awk '/^MemAvailable:/ { print $2 }' /proc/meminfo 2>/dev/null || true)
  [ -n "$kilobytes" ] && limit=$((kilobytes / 1500000))
  [ "$limit" -lt 2 ] && limit=2
  [ "$cores" -lt "$limit" ] && limit=$cores
  printf '%s\n' "$limit"
}

# quietly DESCRIPTION COMMAND...: keeps the output of a long step back and shows it when the step fails. After two
# seconds a sign of life goes to standard error: one line that is redrawn on a terminal, a plain line elsewhere.
quietly() {
  local description=$1 log process status=0 seconds=0 last=
  shift
  log=$(mktemp)
  "$@" >"$log" 2>&1 </dev/null &
  process=$!
  trap 'kill "$process" 2>/dev/null; rm -f "$log"; exit 130' INT TERM
  while kill -0 "$process" 2>/dev/null; do
    sleep 0.2
    seconds=$((seconds + 1))
    if [ "$seconds" -ge 10 ]; then
      last=$(grep -aoE '^\[[0-9]+/[0-9]+\]' "$log" | tail -n 1 || true)
      if [ -t 2 ] && [ "${TERM:-dumb}" != dumb ]; then
        printf '\r%s %s' "$description" "$last" >&2
      elif [ $((seconds % 75)) -eq 10 ]; then
        printf '%s %s\n' "$description" "$last" >&2
      fi
    fi
  done
  wait "$process" || status=$?
  trap - INT TERM
  [ -n "$last" ] && [ -t 2 ] && printf '\r%*s\r' "$((${#description} + 24))" '' >&2
  if [ "$status" -ne 0 ]; then
    # What came before the first failed step of a build is no news.
    awk '/^FAILED: / { failed = 1 } { line[NR] = $0 } failed { print; shown = 1 }
         END { if (!shown) for (i = 1; i <= NR; i++) print line[i] }' "$log" >&2
    printf '%s: %s failed\n' "${0##*/}" "$description" >&2
  fi
  rm -f "$log"
  return "$status"
}

# configure PRESET [CMAKE ARGUMENT...]: makes the build folder of a preset ready. A compiler cache is used when there is one.
configure() {
  if [ -z "${CMAKE_CXX_COMPILER_LAUNCHER:-}" ] && command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
  fi
  (cd "$ROOT" && quietly "configuring ($1)" cmake --preset "$@")
}

# sources: every C++ file of the working tree, relative to the root, tracked or new; what is ignored is left out.
sources() {
  (cd "$ROOT" && git ls-files -co --exclude-standard -- '*.h' '*.cpp' | while read -r file; do
    [ -f "$file" ] && printf '%s\n' "$file"
  done)
}
