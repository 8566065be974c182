# Sourced by scripts that need a CUPS scheduler of their own.

schedulers=() # process ids

# start_scheduler FOLDER ARGUMENTS-OF-private-scheduler...: with FOLDER among these. Returns when it
# runs, and clients of this shell find it.
start_scheduler() {
  local folder=$1
  shift
  scripts/private-scheduler "$@" >"$folder.out" 2>&1 &
  schedulers+=($!)
  for ((i = 0; i < 300; i++)); do
    kill -0 "${schedulers[-1]}" 2>/dev/null || break
    if [ -s "$folder/environment" ]; then
      set -a
      . "$folder/environment"
      set +a
      if lpstat -r 2>/dev/null | grep -q 'scheduler is running'; then return; fi
    fi
    sleep 0.1
  done
  echo "the scheduler did not start" >&2
  cat "$folder.out" >&2
  return 1
}
