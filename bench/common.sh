# Sourced by the benchmark scripts, which stand in the project's root. With
# QOLT_BENCH_BUILD=DIR they build nothing and take what is in DIR.

scratch=$(mktemp -d "${TMPDIR:-/tmp}/qolt-bench.XXXXXX")
receiver=''
. scripts/scheduler.sh
clean() {
  for pid in "${schedulers[@]}"; do
    kill "$pid" 2>/dev/null && wait "$pid" || true
  done
  if [ -n "$receiver" ]; then
    kill "$receiver"
    kill -CONT "$receiver"
    wait "$receiver" || true
  fi
  rm -rf "$scratch" "/tmp/qolt-bench$$"[.-]*
}
trap clean EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# build TARGET...: sets $bin.
build() {
  bin=$PWD/build/bench/bin
  if [ -n "${QOLT_BENCH_BUILD:-}" ]; then
    bin=$(cd "$QOLT_BENCH_BUILD/bin" && pwd)
    return
  fi
  scripts/setup --bench
  cmake --preset release -B build/bench -DQOLT_BENCH=ON >/dev/null
  cmake --build build/bench --target "$@" >/dev/null
}

# start_receiver [PARAMETER...]: jobs for $endpoint of the account $uid; what arrives lies in
# $scratch/out.
start_receiver() {
  uid=$(id -u nobody) endpoint=bench$$
  chmod 0711 "$scratch"
  install -d -o nobody -m 0700 "$scratch/out"
  install -m 0755 "$bin/qolt-receiver" "$scratch/"
  setpriv --reuid=nobody --regid="$(id -g nobody)" --clear-groups \
    "$scratch/qolt-receiver" --Name="$endpoint" --Output="$scratch/out" --TakeOver=0 "$@" >"$scratch/receiver.log" 2>&1 &
  receiver=$!
  until grep -qs listening "$scratch/receiver.log"; do sleep 0.1; done
}

# backend FORMAT NAME: prints standard input as job bench$$, measured into $scratch/NAME.
backend() {
  DEVICE_URI=qolt:/$1/$uid@$endpoint PRINTER=bench \
    "$bin/measure" "$scratch/$2" "$bin/qolt" "bench$$" user title 1 '' 2>>"$scratch/backend.log"
}

# make_document text|photograph|manual: A4, as $scratch/NAME.pdf.
make_document() {
  [ -e "$scratch/rows" ] || "$bin/photograph" 2100 3000 >"$scratch/rows"
  gs -q -dBATCH -dNOPAUSE -sDEVICE=pdfwrite -dPDFSETTINGS=/prepress -o "$scratch/$1.pdf" \
    -sdocument="$1" --permit-file-read="$scratch/rows" -srows="$scratch/rows" bench/documents.ps
}

# make_raster DOCUMENT: $scratch/raster, through the filters that a queue with our PPD has.
make_raster() {
  make_document "$1"
  /usr/sbin/cupsfilter -p "${bin%/bin}/ppd/qolt-raster.ppd" -i application/pdf \
    -m application/vnd.cups-raster "$scratch/$1.pdf" >"$scratch/raster" 2>"$scratch/filters.log" ||
    { cat "$scratch/filters.log" >&2; exit 1; }
}

median() {
  sort -n | awk '{ v[NR] = $1 } END { print (NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2) }'
}

table_head() { printf '%-28s %10s %10s %12s' "$1" 'CPU ms' 'wall ms' 'max RSS KiB'; }

# table_row NAME: the medians of $scratch/NAME.
table_row() {
  awk '$5 != 0 { exit 1 }' "$scratch/$1" || { echo "$1 failed" >&2; cat "$scratch/backend.log" >&2; exit 1; }
  printf '%-28s %10.2f %10.2f %12d' "$1" \
    "$(awk '{ print ($1 + $2) / 1000 }' "$scratch/$1" | median)" \
    "$(awk '{ print $3 / 1000 }' "$scratch/$1" | median)" \
    "$(awk '{ print $4 }' "$scratch/$1" | median)"
}
