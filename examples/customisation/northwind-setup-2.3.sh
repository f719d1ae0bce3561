#!/bin/sh
# Makes Northwind's certificate authority known to the client.
set -eu
install -m 644 northwind-ca.pem /opt/orvanta/brightgate/certs/northwind-ca.pem
