#!/usr/bin/env bash
# Runs one program under valgrind memcheck and fails unless the program
# succeeds and memcheck reports no error and no definite leak beyond the
# suppressions given. With EXPECT_SUPPRESSED=1 it also fails unless the
# suppressions did hide at least one block (the leak they name is there).
#   run_memcheck.sh <suppressions> <log> <program> [args...]
set -u
supp=$1; log=$2; shift 2
if ! command -v valgrind >/dev/null; then
  echo "run_memcheck: valgrind is not installed (apt-get install valgrind)" >&2
  exit 2
fi
export QT_QPA_PLATFORM=offscreen
valgrind --tool=memcheck --leak-check=full --show-leak-kinds=definite \
  --errors-for-leak-kinds=definite --error-exitcode=3 \
  --suppressions="$supp" --gen-suppressions=all --num-callers=30 \
  --log-file="$log" "$@"
status=$?
grep -E "ERROR SUMMARY|definitely lost|suppressed:" "$log" | sed 's/^==[0-9]*== /memcheck: /'
if [ $status -ne 0 ]; then
  echo "run_memcheck: exit status $status (3 = memcheck errors; full report in $log)" >&2
  exit 1
fi
grep -q "ERROR SUMMARY: 0 errors" "$log" || { echo "run_memcheck: no clean error summary in $log" >&2; exit 1; }
if [ "${EXPECT_SUPPRESSED:-0}" = 1 ] && ! grep -Eq "suppressed: [0-9,]+ bytes in [1-9][0-9]* blocks" "$log"; then
  echo "run_memcheck: the suppressed leak did not happen (nothing suppressed)" >&2
  exit 1
fi
exit 0
