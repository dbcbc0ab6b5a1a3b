#!/usr/bin/env bash
# Main job: runs veltra-cim on the freshly built tree in a temporary root.
#   tests/demo.sh BUILDDIR
# First veltra-cim talks to the test provider (tests/broker/testprov), then
# to the Veltra provider serving the simulated default host.
set -euo pipefail
build=$(cd "${1:?usage: tests/demo.sh BUILDDIR}" && pwd)
top=$(cd "$(dirname "$0")/.." && pwd)

cli=$build/broker/veltra-cim
provider=$build/tests/broker/testprov/libTestProvider.so
mof=$top/tests/broker/testprov
for f in "$cli" "$provider"; do
  [ -e "$f" ] || { echo "demo: $f is not built" >&2; exit 1; }
done

root=$(mktemp -d "${TMPDIR:-/tmp}/veltra-demo.XXXXXX")
trap 'rm -rf "$root"' EXIT
export VELTRA_ROOT=$root

show() { # the command line as a reader would type it
  local out="\$ veltra-cim" a
  for a in "$@"; do
    if [[ $a =~ ^[A-Za-z0-9_,=.:/@+-]+$ ]]; then out+=" $a"; else out+=" '${a//\'/\'\\\'\'}'"; fi
  done
  echo "$out"
}

step() { # title, then the veltra-cim arguments
  local title=$1; shift
  printf '\n=== %s\n' "$title"
  show "$@"
  "$cli" --provider "$provider" --name Test_Provider --mof "$mof" "$@"
}

echo "veltra-cim demo: provider $(basename "$provider"), classes from $mof, VELTRA_ROOT=$root"
step "Class names declared in the MOF" ecn
step "Instances of Test_Element" ei Test_Element
step "One instance, two properties" -p Count,Tags gi 'Test_Element.Name="alpha"'
step "Change two properties" mi 'Test_Element.Name="alpha"' Count=9 Tags=x,y
step "Read them back" gi 'Test_Element.Name="alpha"'
step "A method call with typed in and out arguments" \
  cm 'Test_Element.Name="alpha"' Echo Text=hello Number=21 Numbers=1,-2,30 Flag=true
step "An instance built on a provider thread, as JSON" --json ei Test_Thread
echo
echo "=== A failing request exits non-zero with the CMPI code name"
show gi 'Test_Element.Name="gamma"'
if "$cli" --provider "$provider" --name Test_Provider --mof "$mof" gi 'Test_Element.Name="gamma"'; then
  echo "demo: expected a failure" >&2
  exit 1
else
  echo "(exit status $?)"
fi

provider=$build/provider/libVeltra_Adapter_Provider.so.1
[ -e "$provider" ] || { echo "demo: $provider is not built" >&2; exit 1; }
echo
echo "veltra-cim demo: provider $(basename "$provider") on the simulated default host, classes from $top/mof"
host_step() { # title, then the veltra-cim arguments
  local title=$1; shift
  printf '\n=== %s\n' "$title"
  show "$@"
  "$cli" --provider "$provider" --mof "$top/mof" "$@"
}
host_step "The host's server instance" ei Veltra_Server
host_step "Its FC ports" -p InstanceID,AdapterModel,PortType,Speed,MaxSpeed,PrincipalFabricWWN ei VeltraFC_Port
