#!/usr/bin/env bash
# Checks the order of the house: who includes whom, unique names, formatting, wording, headers that stand alone.
#
#   scripts/check-arrows.sh [--skip-format]
#
# CC, CXX and CFLAGS name the compilers and options for the headers (gcc, g++ and none by default). Prints each finding
# as file:line: message and ends with 1 when there is one.
set -euo pipefail
cd "$(dirname "$0")/.."
exec python3 scripts/check_arrows.py "$@"
