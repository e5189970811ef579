# Shared by bench/run-startup and bench/run-idle: sandboxes with a cached
# catalogue, launching the hub or the reference window offscreen, medians.
# Sourced, not run.

# Writes a sandbox HOME whose hub directory caches a catalogue of $2 products
# (none installed) into directory $1.
make_sandbox() {
  local dir=$1 count=$2 i
  mkdir -p "$dir/.local/share/QuillmarshHub" "$dir/.config"
  {
    printf '['
    for i in $(seq 1 "$count"); do
      [ "$i" -gt 1 ] && printf ','
      printf '{"plugin_id":"p%d","display_name":"Product %d","category":"c%d","section_title":"Section %d","badge_label":"FX","install_formats":{"vst3":".vst3/p%d.vst3"},"sort_order":%d}' \
        "$i" "$i" $((i % 8)) $((i % 8)) "$i" "$i"
    done
    printf ']'
  } > "$dir/.local/share/QuillmarshHub/product_catalog.json"
}

# The hub against a closed port, so the catalogue drawn is the cached one.
HUB=(build/src/quillmarsh-hub --service-url http://127.0.0.1:9)
REFERENCE=(build/bench/startup_reference)

# Starts "$@" offscreen with HOME=$SANDBOX as coprocess APP and waits for its
# first rendered frame; prints the milliseconds from start to that frame.
start_until_first_frame() {
  local start line
  start=$(date +%s%N)
  coproc APP {
    exec env QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software \
      QT_LOGGING_RULES="qt.scenegraph.time.renderloop=true" \
      HOME="$SANDBOX" XDG_DATA_HOME="$SANDBOX/.local/share" XDG_CONFIG_HOME="$SANDBOX/.config" \
      LANG=en_US.UTF-8 "$@" 2>&1
  }
  while IFS= read -r line <&"${APP[0]}"; do
    case "$line" in
      *"Frame rendered"*) echo $(( ($(date +%s%N) - start) / 1000000 )); return ;;
    esac
  done
  echo "no frame from $*" >&2
  return 1
}

stop_app() {
  [ -n "${APP_PID:-}" ] || return 0
  kill "$APP_PID" 2>/dev/null || true
  wait "$APP_PID" 2>/dev/null || true
}

median() { sort -n | awk '{a[NR]=$1} END {print (NR % 2) ? a[(NR+1)/2] : (a[NR/2] + a[NR/2+1]) / 2}'; }

# One line per figure: name, median, the runs.
report() {
  local name=$1; shift
  printf '%-34s median %8s  (runs: %s)\n' "$name" "$(printf '%s\n' "$@" | median)" "$*"
}

load_note() { echo "load: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores"; }
