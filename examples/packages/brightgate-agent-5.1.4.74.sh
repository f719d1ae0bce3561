#!/bin/sh
# Starts, stops and restarts the client's agent on machines without systemd.
agent=/opt/orvanta/brightgate/bin/vpnagentd
case ${1-} in
start) exec "$agent" ;;
stop) exec "$agent" --stop ;;
restart) "$agent" --stop; exec "$agent" ;;
*) echo "usage: $0 start|stop|restart" >&2; exit 2 ;;
esac
