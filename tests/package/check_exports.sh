#!/usr/bin/env bash
# Fails if the library exports a symbol of ours that is not public API. Standard-library
# template instances (std::, __gnu_cxx::) may be exported by any C++ shared library and are not
# ours; everything else must be one of the two classes, the Notification views, the status
# text functions or a flat TarvixSDK_ function.
set -euo pipefail
library=$1
allowed='^(_ZN[K]?14TarvixAsyncSDK|_ZN[K]?9TarvixSDK|_ZNK12Notification|_Z14statusCodeName|_Z16connectErrorName|_Z13describeFrame|_Z17statusCodeMessage|TarvixSDK_)'
stdlib='^(_ZN?K?St|_ZNKSt|_ZNSt|_ZSt|_ZT[VISH]St|_ZT[VISH]N9__gnu_cxx|_ZN9__gnu_cxx|_ZNK9__gnu_cxx|_ZGVZ|_ZT[VISH]NSt|_ZZN?K?St)'
symbols=$(nm -D --defined-only "$library" | awk '{print $3}' | grep -v -E '^(_init|_fini|_edata|_end|__bss_start)$' || true)
bad=$(printf '%s\n' "$symbols" | grep -v -E "$allowed" | grep -v -E "$stdlib" | grep -v '^$' || true)
count=$(printf '%s\n' "$symbols" | grep -c -E "$allowed" || true)
if [ -n "$bad" ]; then
  echo "exported symbols that are not public API:"
  printf '%s\n' "$bad" | c++filt
  exit 1
fi
if [ "$count" -lt 20 ]; then
  echo "only $count public symbols exported: the API is missing"
  exit 1
fi
echo "exports: $count public symbols, nothing else of ours"
