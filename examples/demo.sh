#!/usr/bin/env bash
# The tour that ./dev demo gives: this machine through the typed calls, a call that fails, an event.
# Needs varnock-agent and varnockctl in the path.
set -euo pipefail

heading() { printf '\n\033[1m%s\033[0m\n' "$*"; }

heading '$ varnock-agent run --host -- varnockctl inventory'
varnock-agent run --host -- varnockctl inventory

heading '$ varnock-agent run --host -- varnockctl call getPciBusInfoDeviceList --cabinet 99'
# There is no such cabinet, so the agent refuses and the call throws. The trace of the process that
# made the call tells the story from its side.
# shellcheck disable=SC2016 # the inner shell expands
varnock-agent run --host -- sh -c '
  varnockctl call getPciBusInfoDeviceList --cabinet 99 2>&1 || echo "exit status $?"
  echo
  echo "The trace of it, $QX_LOG_RINGBUF_DIR/log.CIM_Provider_a:"
  tail -c +1025 "$QX_LOG_RINGBUF_DIR"/log.CIM_Provider_a |
    grep -aE "Request Channel|getPciBusInfo|Unexpected" | cut -c 1-150
'

heading '$ varnockctl watch --count 1 & varnock-agent ctl event systemMessageLog 42'
# shellcheck disable=SC2016 # the inner shell expands
varnock-agent run --host -- sh -c '
  varnockctl watch --count 1 &
  watch=$!
  until varnock-agent ctl status | grep -q "^registered for events: 1"; do
    kill -0 "$watch" || exit 1
  done
  varnock-agent ctl event systemMessageLog 42
  wait "$watch"
'
