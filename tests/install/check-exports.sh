#!/usr/bin/env bash
# The shared library exports exactly the functions its public header
# declares, all under the KELVO_0 version node: no C++ symbol of the core,
# no std:: template code, no unprefixed name, and nothing declared missing.
#
# usage: check-exports.sh LIBRARY KelvoPPD.h
set -euo pipefail
lib=$1
header=$2

# "ADDRESS TYPE NAME@@NODE"; the version node itself is an absolute (A) symbol.
exported=$(nm -D --defined-only "$lib" | awk '$2 != "A" { print $3 }' | sort)
declared=$(grep -oE '^KELVO_API[^(]*[^A-Za-z0-9_](Kelvo[A-Za-z0-9_]+)\(' "$header" |
  grep -oE 'Kelvo[A-Za-z0-9_]+\($' | tr -d '(' | sort -u)

status=0
unversioned=$(grep -v '@@KELVO_0$' <<<"$exported" || true)
if [ -n "$unversioned" ]; then
  echo "exported outside the KELVO_0 node:"; sed 's/^/  /' <<<"$unversioned"; status=1
fi
names=$(sed 's/@.*//' <<<"$exported" | sort -u)
extra=$(comm -23 <(echo "$names") <(echo "$declared"))
missing=$(comm -13 <(echo "$names") <(echo "$declared"))
if [ -n "$extra" ]; then
  echo "exported but not declared in $(basename "$header"):"; sed 's/^/  /' <<<"$extra"; status=1
fi
if [ -n "$missing" ]; then
  echo "declared but not exported:"; sed 's/^/  /' <<<"$missing"; status=1
fi
count=$(wc -l <<<"$declared")
[ "$status" -eq 0 ] && echo "$count functions exported, each declared, each Kelvo-prefixed"
exit "$status"
