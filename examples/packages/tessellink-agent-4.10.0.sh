#!/bin/sh
# Starts and stops the legacy client's agent.
agent=/opt/orvanta/tessellink/bin/vpnagentd
case ${1-} in
start) exec "$agent" ;;
stop) kill "$(cat /run/vpnagentd.pid)" ;;
esac
