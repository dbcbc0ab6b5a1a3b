#!/usr/bin/env bash
# Main job: runs veltra-cim on the freshly built tree in a temporary root.
set -euo pipefail
build=${1:?build dir}
echo "veltra-cim is not built yet in $build"
