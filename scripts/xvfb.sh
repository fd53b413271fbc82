# Sourced by the scripts: starts a private Xvfb when there is no usable display and exports
# DISPLAY; the server stops when the calling script exits.
start_private_xvfb() {
  if [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; then
    return 0
  fi
  local n
  for n in $(seq 90 140); do
    [ -e "/tmp/.X${n}-lock" ] && continue
    # -noreset: the server must not restart when its last client leaves between two tests.
    Xvfb ":$n" -screen 0 1280x1024x24 -noreset -nolisten tcp >/dev/null 2>&1 &
    XVFB_PID=$!
    for _ in $(seq 1 50); do
      if DISPLAY=":$n" xdpyinfo >/dev/null 2>&1; then
        export DISPLAY=":$n"
        trap 'kill $XVFB_PID 2>/dev/null || true' EXIT
        echo "xvfb: private X server on $DISPLAY"
        return 0
      fi
      sleep 0.1
    done
    kill "$XVFB_PID" 2>/dev/null || true
  done
  echo "xvfb: could not start Xvfb" >&2
  return 1
}
