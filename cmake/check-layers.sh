#!/bin/bash
# check-layers.sh ROOT: holds each #include of orvel/ and skelvar/ below ROOT against the order of
# the folders. A header includes from its own folder and from those on which it stands; a source
# file (.cpp, or the Impl.h of a template) may step the other way only if the table of
# docs/architecture.md has a row for the step:
#   | `skelvar/voxel/VoxelChannel.cpp` | `sampling` | the reason |
# A row without such a step is a fault too. Prints file:line of each fault and ends with 1.
set -euo pipefail
cd "$1"

# Each folder stands on all that are named before it, with two exceptions in the script below.
order="orvel base tree voxel sampling particles mesh state io nodes numerics"

find orvel skelvar -name '*.h' -o -name '*.cpp' | sort |
    xargs grep -nHE '^[[:space:]]*#[[:space:]]*include' |
    awk -v order="$order" -v table=docs/architecture.md '
    # the folder of a path of ours, "" for any other path
    function folderOf(path,    parts) {
        split(path, parts, "/")
        if (parts[1] == "orvel") return "orvel"
        if (parts[1] == "skelvar" && parts[2] in rank) return parts[2]
        return ""
    }
    function standsOn(folder, other) {
        if (folder == other || folder == "nodes") return 1
        if (folder == "numerics") return rank[other] <= rank["sampling"]
        return rank[other] < rank[folder]
    }
    function isSource(path) { return path ~ /(\.cpp|Impl\.h)$/ }
    function fault(place, text) { print place ": " text; faults++ }
    BEGIN {
        count = split(order, names, " ")
        for (n = 1; n <= count; n++) rank[names[n]] = n
        while ((getline row < table) > 0) {
            if (row ~ /^\| `skelvar\/[^`]*(\.cpp|Impl\.h)` +\| `[a-z]+` +\| +[^ |]/) {
                split(row, cells, "`")
                listed[cells[2] " " cells[4]] = 1
            }
        }
    }
    {
        split($0, place, ":")
        file = place[1]
        where = place[1] ":" place[2]
        if (match($0, /"[^"]*"/)) {
            fault(where, "write the path from the root, in angle brackets: " substr($0, RSTART, RLENGTH))
            next
        }
        if (!match($0, /<[^>]*>/)) next
        path = substr($0, RSTART + 1, RLENGTH - 2)
        folder = folderOf(file)
        other = folderOf(path)
        if (folder == "" || other == "" || standsOn(folder, other)) next
        if (isSource(file) && (file " " other) in listed) {
            used[file " " other] = 1
        } else if (isSource(file)) {
            fault(where, folder " steps up to " other " (<" path ">), and " table " does not list it")
        } else {
            fault(where, folder " does not stand on " other " (<" path ">)")
        }
    }
    END {
        for (step in listed) {
            if (!(step in used)) fault(table, "lists a step that nobody takes: " step)
        }
        exit faults > 0
    }'
