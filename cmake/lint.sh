#!/bin/bash
# lint.sh JOBS: every check of form that needs no running program. Goes through all of them and
# ends with 1 if any failed.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
jobs=$1
mkdir -p build
failed=()

# check NAME COMMAND...
check() {
    local name=$1 start=$SECONDS
    shift
    echo "== $name"
    if "$@"; then
        echo "   fine, $((SECONDS - start)) s"
    else
        failed+=("$name")
        echo "   FAILED, $((SECONDS - start)) s"
    fi
}

# a checkout may belong to another user than the one who checks it
git() { command git -c safe.directory="$PWD" "$@"; }

form() { git ls-files -- '*.h' '*.cpp' | xargs clang-format-14 --dry-run -Werror; }

# Nothing that we keep may name a place on somebody's machine.
no_machine_paths() {
    ! git grep -nIE '(^|[^A-Za-z0-9_.])/(home|root|work|Users|mnt|tmp/wt)/' -- . ':!cmake/lint.sh'
}

# clang gives a template's instances the visibility of its first declaration. Where that does not
# say SKELVAR_API_FORWARD, a program links or not with the order of the headers that it includes.
forward_declarations() {
    git ls-files -- '*.h' | xargs awk '
        /^template </ { head = FNR }
        FNR == head + 1 && $2 == "SKELVAR_API" && /\{$/ { name = $3; exported[name] = 1 }
        FNR == head + 1 && NF == 2 && /;$/ { sub(/;/, ""); hidden[$2] = hidden[$2] " " FILENAME }
        END {
            for (name in hidden) if (name in exported) {
                print name " is declared without SKELVAR_API_FORWARD in" hidden[name]; bad = 1
            }
            exit bad
        }'
}

configure() {
    local log=build/lint.configure.log
    cmake --preset lint "$@" > "$log" 2>&1 || {
        cat "$log"
        return 1
    }
}

# Each file of the library, the tools, the examples, the benchmarks (with the peers that are
# installed) and the fuzz targets, read by clang alone; warnings are errors.
files_alone() {
    local log=build/lint-files.log
    configure || return 1
    (cd build/lint && ninja -t commands all) | grep -E ' -c [^ ]+\.cpp$' |
        sed -E 's/ -o [^ ]+\.o / -fsyntax-only /' > build/lint-commands.txt
    [ -s build/lint-commands.txt ] || return 1
    (cd build/lint && xargs -P "$jobs" -d '\n' -n 1 bash -c < ../lint-commands.txt) > "$log" 2>&1 || {
        grep -E 'error:|warning:' -A 6 "$log" | head -n 200
        echo "   the whole log: $log"
        return 1
    }
}

headers() {
    local log=build/lint-headers.log
    cmake --build build/lint -j "$jobs" --target all_verify_interface_header_sets -- -k 0 \
        > "$log" 2>&1 || {
        grep -E 'error:|warning:' -A 6 "$log" | head -n 100
        echo "   the whole log: $log"
        return 1
    }
}

# The library, the tools and the examples; the rest is left to the compilers. Files are read a few
# at a time, which takes a quarter of the time.
patterns() {
    local log=build/clang-tidy.log
    configure -B build/tidy -DCMAKE_UNITY_BUILD=ON -DSKELVAR_BUILD_BENCH=OFF \
        -DSKELVAR_BUILD_FUZZ=OFF || return 1
    run-clang-tidy-14 -quiet -p build/tidy -j "$jobs" > "$log" 2>&1 || {
        sed 's/\x1b\[[0-9;]*m//g' "$log" | grep -E '(error|warning):' -A 3 | head -n 200
        echo "   the whole log: $log"
        return 1
    }
}

check "form (clang-format)" form
check "layers" cmake/check-layers.sh .
check "no paths of a machine" no_machine_paths
check "forward declarations" forward_declarations
check "each file alone, clang without warnings" files_alone
check "each header compiles alone" headers
check "patterns of faults (clang-tidy)" patterns

if [ ${#failed[@]} -gt 0 ]; then
    echo
    printf 'lint: FAILED: %s\n' "${failed[@]}"
    exit 1
fi
