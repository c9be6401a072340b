#!/usr/bin/env bash
# The demonstration of ./dev demo: this machine through the typed calls, a program and its trace, a
# call that fails, an event. Needs varnock-agent, varnockctl and first_call in the path. Stops at the
# first step that fails, with its name and a non-zero status.
set -euo pipefail

# The user's settings would make the demonstration use other files.
unset "${!QX_@}" TraceFileLimit

bold='' plain=''
if [[ -t 1 && -z ${NO_COLOR:-} && ${TERM:-dumb} != dumb ]]; then
  bold=$'\033[1m' plain=$'\033[0m'
fi

step=''
heading() {
  step=$*
  printf '\n%s$ %s%s\n' "$bold" "$step" "$plain"
}
trap 'printf "demo: this step failed: %s\n" "$step" >&2' ERR

heading varnock-agent run --host -- varnockctl inventory
varnock-agent run --host -- varnockctl inventory

# The library traces the program's calls. The filter selects requests and responses.
both='first_call && varnockctl trace --grep "Kolm::get|Receive response"'
heading "varnock-agent run --host -- sh -c '$both'"
varnock-agent run --host -- sh -c "$both"

heading varnock-agent run --host -- varnockctl call getPciBusInfoDeviceList --cabinet 99
# There is no such cabinet, so the agent refuses and the call throws.
status=0
varnock-agent run --host -- varnockctl call getPciBusInfoDeviceList --cabinet 99 2>&1 || status=$?
echo "exit status $status"
((status == 3)) # not found or not available

heading "varnockctl watch --count 1 & varnock-agent ctl event systemMessageLog 42"
# shellcheck disable=SC2016 # the inner shell expands
varnock-agent run --host -- sh -c '
  varnockctl watch --count 1 --timeout 30 &
  watch=$!
  trap "kill $watch 2>/dev/null" EXIT
  while :; do
    kill -0 "$watch" && status=$(varnock-agent ctl status) || exit 1
    case $status in
      *"registered for events: 1"*) break ;;
    esac
  done
  varnock-agent ctl event systemMessageLog 42 && wait "$watch"
'
