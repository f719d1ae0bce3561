#!/bin/sh
# Starts and stops the client's agent on machines without systemd.
agent=/opt/orvanta/brightgate/bin/vpnagentd
case ${1-} in
start) exec "$agent" ;;
stop) exec "$agent" --stop ;;
*) echo "usage: $0 start|stop" >&2; exit 2 ;;
esac
