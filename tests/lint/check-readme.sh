#!/bin/bash
# check-readme.sh ROOT: the program in README.md is the one that the tests build and run, and every
# file that README.md links to is there.
set -euo pipefail
cd "$1"
diff <(sed -n '/^```cpp$/,/^```$/p' README.md | sed '1d;$d') tests/install/consumer/main.cpp ||
    { echo "README.md shows another program than tests/install/consumer/main.cpp"; exit 1; }

status=0
for link in $(grep -oE '\]\([^)#]+' README.md docs/*.md CONTRIBUTING.md | sed 's/:\](/:/' | sort -u); do
    file=${link%%:*}
    target=${link#*:}
    case $target in http*) continue ;; esac
    [ -e "$(dirname "$file")/$target" ] || { echo "$file links to $target, which is not there"; status=1; }
done
exit $status
