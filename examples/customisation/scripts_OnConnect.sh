#!/bin/sh
# Mounts the team share once the tunnel is up.
mount /mnt/team 2>/dev/null || logger -t brightgate "team share is not available"
