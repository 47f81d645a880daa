#!/bin/bash
# check-exports.sh NM LIBRARY FAMILIES: holds the symbols that LIBRARY shows against FAMILIES, a
# table of template family, member (- for a function) and number of instances. Fails if a family shows another number,
# or if the library shows a symbol that is not its own. Weak instances of std templates are fine:
# the standard library makes them visible, and every library of a process has them.
set -euo pipefail
nm=$1
library=$2
families=$3

symbols=$("$nm" -DC --defined-only "$library" | cut -d' ' -f2-)
if [ -z "$symbols" ]; then
    echo "$library shows no symbol at all"
    exit 1
fi
failed=0

# Without template arguments a symbol reads "kind [about ][result ]namespace::name(...", and what
# counts is the namespace of the name.
about='(vtable for |VTT for |construction vtable for |typeinfo (name )?for |guard variable for |'
about+='(non-virtual |virtual |covariant return )?thunk to )*'
result='([^(]*[ &*])?'
strangers=$(sed -E ':a; s/<[^<>]*>//g; ta' <<< "$symbols" | sort -u |
    grep -vE "^. ($about$result(Skelvar|orvel)::|skelvar(core)?_)" |
    grep -vE "^[VWu] $about$result(std|__gnu_cxx)::" || true)
if [ -n "$strangers" ]; then
    echo "symbols that are not the library's own:"
    echo "$strangers"
    failed=1
fi

while read -r family member expected _; do
    case $family in '#'* | '') continue ;; esac
    tail=::$member
    [ "$member" != - ] || tail=
    # the distinct argument lists of FAMILY<...>::MEMBER( or, for a function template, FAMILY<...>(
    found=$(grep -oP "^. (.* )?\\K$family<.*?>(?=$tail(\\[abi:\\w+\\])?\\()" <<< "$symbols" |
        sort -u || true)
    count=$(grep -c . <<< "$found" || true)
    if [ "$count" != "$expected" ]; then
        echo "$family<...>$tail: $expected instances expected, $count found:"
        echo "$found"
        failed=1
    fi
done < "$families"
exit $failed
