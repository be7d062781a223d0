#!/usr/bin/env bash
# Checks every C and C++ file of the tree against the checked-in .clang-format: git's tracked
# files and the new ones it does not ignore. Prints the files clang-format would change (and
# how, with -v) and exits 1 if there is any; changes nothing. To format a file:
# clang-format -i FILE.
#   scripts/check-format.sh        the names of the files that differ
#   scripts/check-format.sh -v     and clang-format's report of each difference
# Environment: CLANG_FORMAT (default clang-format: Debian 12's is version 14; another version may
# format a few constructs differently).
set -euo pipefail
cd "$(dirname "$0")/.."

verbose=0
case "${1:-}" in
  "") ;;
  -v) verbose=1 ;;
  *) echo "usage: scripts/check-format.sh [-v]" >&2; exit 2 ;;
esac

clang_format=${CLANG_FORMAT:-clang-format}
if ! command -v "$clang_format" >/dev/null 2>&1; then
  echo "check-format: $clang_format not found (Debian: apt-get install clang-format)" >&2
  exit 2
fi
if ! git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  echo "check-format: not a git checkout: the files to check are the ones git knows" >&2
  exit 2
fi

mapfile -t files < <(git ls-files --cached --others --exclude-standard -- \
  '*.c' '*.cc' '*.cpp' '*.cxx' '*.h' '*.hh' '*.hpp' '*.hxx' | sort -u)
differ=()
for file in "${files[@]}"; do
  [ -f "$file" ] || continue # deleted in the working tree, not yet in the index
  if ! "$clang_format" --dry-run --Werror "$file" >/dev/null 2>&1; then
    differ+=("$file")
  fi
done

echo "check-format: $($clang_format --version | head -n 1), ${#files[@]} files"
if [ ${#differ[@]} -eq 0 ]; then
  echo "check-format: every file is formatted"
  exit 0
fi
echo "check-format: ${#differ[@]} files are not formatted (clang-format -i FILE...):"
for file in "${differ[@]}"; do
  echo "  $file"
  if [ $verbose -eq 1 ]; then
    "$clang_format" --dry-run "$file" 2>&1 | sed 's/^/    /' || true
  fi
done
exit 1
