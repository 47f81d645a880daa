#!/bin/bash
# check-layers-test.sh CHECK WORK_DIR: plants includes in a small tree and compares what CHECK says.
set -euo pipefail
check=$1
root=$2
rm -rf "$root"
mkdir -p "$root"/{orvel,docs,skelvar/{base,tree,voxel,sampling,state,nodes,numerics}}
cd "$root"

include() { printf '#include <%s>\n' "${@:2}" >> "$1"; }
include skelvar/tree/Layout.h vector skelvar/base/Api.h skelvar/tree/TileId.h orvel/String.h
include skelvar/nodes/Nodes.h skelvar/numerics/Distances.h skelvar/state/Store.h
include skelvar/numerics/Matrix.h skelvar/sampling/Sampler.h
include skelvar/voxel/Channel.cpp skelvar/voxel/Channel.h skelvar/sampling/Sampler.h
printf '| File | Steps up to | Why |\n|---|---|---|\n' > docs/architecture.md
echo '| `skelvar/voxel/Channel.cpp` | `sampling` | makes samplers |' >> docs/architecture.md

"$check" . || { echo "a sound tree was refused"; exit 1; }

include skelvar/tree/Layout.h skelvar/voxel/Channel.h            # line 5: a header steps up
include skelvar/voxel/Channel.cpp skelvar/state/Store.h          # line 3: a step of no row
include orvel/String.h skelvar/base/Api.h                        # line 1: the stand-in steps up
include skelvar/numerics/Matrix.h skelvar/state/Store.h          # line 2: above sampling
printf '#include "TileId.h"\n' > skelvar/tree/TileId.cpp         # line 1: a path from nowhere
echo '| `skelvar/tree/Layout.cpp` | `state` | gone long ago |' >> docs/architecture.md

found=$("$check" .) && { echo "planted faults were not found"; exit 1; }
places=$(cut -d' ' -f1 <<< "$found" | sort)
expected=$(sort <<'END'
skelvar/tree/Layout.h:5:
skelvar/voxel/Channel.cpp:3:
orvel/String.h:1:
skelvar/numerics/Matrix.h:2:
skelvar/tree/TileId.cpp:1:
docs/architecture.md:
END
)
[ "$places" = "$expected" ] || { diff <(echo "$expected") <(echo "$places"); exit 1; }
