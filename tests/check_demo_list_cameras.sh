#!/usr/bin/env bash
# camera_host --list-cameras: one --camera value (or a "#" remark) a line,
# exit 0; with the Aravis fake GigE camera running, it is listed by its id
# (the fake camera is started here, one user at a time, and stopped again).
#   check_demo_list_cameras.sh DEMO
set -euo pipefail
demo="$1"
fail() { echo "check_demo_list_cameras: $*" >&2; exit 1; }

check_lines() {
  local out="$1"
  [ -n "$out" ] || fail "nothing printed"
  while IFS= read -r line; do
    [[ "$line" =~ ^(genicam:[^[:space:]].*|v4l2:/dev/video[0-9]+|#\ .+)$ ]] || fail "unexpected line: $line"
  done <<<"$out"
  grep -q -E '^(genicam:|# GenICam)' <<<"$out" || fail "GenICam not mentioned"
  grep -q -E '^(v4l2:|# (v4l2|V4L2))' <<<"$out" || fail "V4L2 not mentioned"
}

out="$("$demo" --list-cameras)" || fail "exit code $?"
check_lines "$out"
echo "$out"

fake="$(command -v arv-fake-gv-camera-0.8 || true)"
if [ -z "$fake" ]; then
  echo "check_demo_list_cameras: no arv-fake-gv-camera-0.8, the GenICam listing is not checked"
  exit 0
fi
exec 9>/tmp/hxl-fake-gige.lock
flock 9
"$fake" -i 127.0.0.1 >/dev/null 2>&1 &
fake_pid=$!
trap 'kill "$fake_pid" 2>/dev/null || true; wait "$fake_pid" 2>/dev/null || true' EXIT
listed=""
for _ in $(seq 20); do
  out="$("$demo" --list-cameras)" || fail "exit code $? with the fake camera"
  if grep -q '^genicam:Aravis-Fake' <<<"$out"; then listed=1; break; fi
  sleep 0.5
done
check_lines "$out"
echo "$out"
[ -n "$listed" ] || fail "the running fake GigE camera was not listed"
