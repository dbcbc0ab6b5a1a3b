#!/usr/bin/env bash
# What an administrator does with the provider, on the simulated default host
# in a temporary root: every step shows the veltra-cim command line it runs.
#   tests/demo.sh BUILDDIR
set -euo pipefail
build=$(cd "${1:?usage: tests/demo.sh BUILDDIR}" && pwd)
top=$(cd "$(dirname "$0")/.." && pwd)

cli=$build/broker/veltra-cim
provider=$build/provider/libVeltra_Adapter_Provider.so.1
for f in "$cli" "$provider"; do
  [ -e "$f" ] || { echo "demo: $f is not built" >&2; exit 1; }
done

root=$(mktemp -d "${TMPDIR:-/tmp}/veltra-demo.XXXXXX")
trap 'rm -rf "$root"' EXIT
export VELTRA_ROOT=$root
# The simulator's embedded default host, no faults; what is written through
# the library is kept in the root from one command to the next.
unset VTAPI_SIM_HOST VTAPI_SIM_FAULTS VTAPI_SIM_DELAYS
export VTAPI_SIM_STATE=$root/vtsim-state.json

show() { # the command line as a reader would type it
  local out="\$ veltra-cim" a
  for a in "$@"; do
    if [[ $a =~ ^[A-Za-z0-9_,=.:/@+-]+$ ]]; then out+=" $a"; else out+=" '${a//\'/\'\\\'\'}'"; fi
  done
  echo "$out"
}

vcim() { "$cli" --provider "$provider" --mof "$top/mof" "$@"; }

# One line of "Property=value" pairs per instance (its key among them).
compact() {
  awk '/^  [A-Za-z0-9_]+ = / { sub(/^  /, ""); sub(/ = /, "="); line = line (line == "" ? "" : "  ") $0; next }
       /^[^ ]/ { if (line != "") print line; line = ""; next }
       END { if (line != "") print line }'
}

step=0
title() { step=$((step + 1)); printf '\n=== %d. %s\n' "$step" "$1"; }

# run TITLE ARGS...: shows and runs one command; its diagnostics are shown
# only when it fails, and then the demo stops. A status the caller expects
# (EXPECT=CODE-NAME) is reported instead.
run() {
  title "$1"; shift
  show "$@"
  local status=0
  vcim "$@" 2>"$root/stderr" | compact || status=$?
  if [ $status -ne 0 ]; then
    if [ -n "${EXPECT:-}" ] && grep -q "$EXPECT" "$root/stderr"; then
      echo "(exit status $status: $EXPECT, ${EXPECT_MEANING:-expected})"
    else
      cat "$root/stderr" >&2
      exit $status
    fi
  fi
}

echo "Veltra adapter provider on the simulated default host (root $root)"
run "The server and its adapter counts" ei Veltra_Server
run "Adapters with their firmware versions" \
  -p AdapterModel,ActiveFirmwareVersion,FlashFirmwareVersion ei Veltra_Adapter
run "FC ports" -p PortType,Speed,MaxSpeed ei VeltraFC_Port
run "Physical ports" -p SupportedProtocolTypes,ManagementFunctionName ei Veltra_PhysicalPort
run "NPAR configuration" -p FunctionType,MinimumBandwidth,MaximumBandwidth ei VeltraNIC_NPARConfiguration

# A parameter of the first FC port: changed, then read back.
port=$(vcim ein VeltraFC_Port 2>/dev/null | grep -m1 VeltraFC_Port)
port=${port#*:}
# The adapter keeps the new value in its NVRAM and asks for a reboot to use
# it: the provider reports that with status 201.
EXPECT=CMPI_RC_201 EXPECT_MEANING="saved, used after a reboot" run "Change a port parameter" mi "$port" LinkDownTimeout=45
run "Read it back" -p LinkDownTimeout gi "$port"

# A firmware update: the image is staged, the job runs, and flash watches it
# until its final state (7: completed).
serial=$(vcim -p InstanceID ei Veltra_Adapter 2>/dev/null | sed -n 's/.*InstanceID = "\{0,1\}\([^"]*\)"\{0,1\}$/\1/p' | head -1)
head -c 65536 /dev/urandom >"$root/firmware.bin"
run "Firmware update, watched to its final job state" flash "$serial" "$root/firmware.bin" --async
echo
echo "Demo finished."
