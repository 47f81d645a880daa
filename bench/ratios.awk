# Lays the figures of the benchmarks side by side: awk -f bench/ratios.awk METRICS...
# The input is the programs' output, of as many rounds as there are: lines of a metric, a value and
# a unit with tabs between, of which the best value counts. Each row names our metric, the metrics
# it is held against (the best of those that are there) and the ratio wanted.

BEGIN {
    FS = "\t"
    row("channel fill against memset", "channel.fill/skelvar/2t", "channel.fill/memset/2t", 0.8)
    row("in-place scale against a triad", "channel.scale/skelvar/2t", "channel.scale/triad/2t", 0.8)
    row("set(channel) against memcpy", "channel.set/skelvar/2t", "channel.set/memcpy/2t", 0.8)
    row("deep copy of a channel, useful cells", "bulk.deepcopy/skelvar/2t",
        "bulk.deepcopy/openvdb/2t", 3)
    row("bulk addNodes with a channel, per tile", "topology.addnodes/skelvar-channel/2t",
        "topology.ordered.tiles/openvdb-float/2t", 3)
    row("ordered points to tree and channel, per point", "topology.ordered.points/skelvar-channel/2t",
        "topology.ordered.points/openvdb-float/2t", 3)
    row("bulk addNodes, per tile", "topology.addnodes/skelvar/2t",
        "topology.ordered.tiles/openvdb-mask/2t", 1.2)
    row("ordered points to tree, per point", "topology.ordered.points/skelvar/2t",
        "topology.ordered.points/openvdb-mask/2t", 1.2)
    row("random points to tree by refineLayout", "topology.random.points/skelvar-refine/2t",
        "topology.random.points/openvdb-mask/2t", 1.5)
    row("the same with a channel", "topology.random.points/skelvar-refine-channel/2t",
        "topology.random.points/openvdb-float/2t", 4)
    row("ordered points to tree by refineLayout", "topology.ordered.points/skelvar-refine/2t",
        "topology.ordered.points/openvdb-mask/2t", 1.2)
    row("the same with a channel", "topology.ordered.points/skelvar-refine-channel/2t",
        "topology.ordered.points/openvdb-float/2t", 3)
    row("refine by another layout, per tile", "topology.union/skelvar/2t",
        "topology.union/openvdb-mask/2t", 2)
    row("computeGradedTree, tiles of the result", "tree.grade/skelvar/2t", "tree.grade/p4est/2t", 3)
    row("the same, one thread, one process", "tree.grade/skelvar/1t", "tree.grade/p4est/1t", 3)
    row("an empty visitor by depth", "tree.visitnodes/skelvar/2t", "tree.visitnodes/openvdb/2t",
        1.5)
    row("single addNode in random order", "topology.single/skelvar/1t",
        "topology.single/openvdb-mask/1t topology.single/openvdb-float/1t", 1)
    read_peers = "openvdb-accessor openvdb-unsafeaccessor openvdb-noaccessor nanovdb-accessor " \
        "nanovdb-noaccessor"
    read_row("random position to value, one by one", "random", "noaccessor", 1.2)
    read_row("random position to value, in blocks", "random", "blocks", 1.2)
    read_row("position to value along walks, accessor", "walk", "accessor", 1.5)
    read_row("position to value along walks, in blocks", "walk", "blocks", 1.5)
    row("linear samples, random", "sample.linear.random/skelvar/2t",
        "sample.linear.random/openvdb/2t sample.linear.random/nanovdb/2t", 1.5)
    row("quadratic samples, random", "sample.quadratic.random/skelvar/2t",
        "sample.quadratic.random/openvdb/2t sample.quadratic.random/nanovdb/2t", 2)
    row("linear samples with gradient, random", "sample.gradient.random/skelvar/2t",
        "sample.gradient.random/openvdb/2t sample.gradient.random/nanovdb/2t", 1.5)
    row("WENO samples against a 64-point cubic, random", "sample.weno.random/skelvar/2t",
        "sample.cubic64.random/nanovdb/2t", 6)
    row("linear samples, walk", "sample.linear.walk/skelvar/2t",
        "sample.linear.walk/openvdb/2t sample.linear.walk/nanovdb/2t", 1.3)
    row("quadratic samples, walk", "sample.quadratic.walk/skelvar/2t",
        "sample.quadratic.walk/openvdb/2t sample.quadratic.walk/nanovdb/2t", 1.5)
    row("linear samples with gradient, walk", "sample.gradient.walk/skelvar/2t",
        "sample.gradient.walk/openvdb/2t sample.gradient.walk/nanovdb/2t", 1.3)
    row("WENO samples against a 64-point cubic, walk", "sample.weno.walk/skelvar/2t",
        "sample.cubic64.walk/nanovdb/2t", 6)
    row("two threads against one, linear random", "sample.linear.random/skelvar/2t",
        "sample.linear.random/skelvar/1t", 1.8)
    row("two threads against one, linear walk", "sample.linear.walk/skelvar/2t",
        "sample.linear.walk/skelvar/1t", 1.8)
    row("two threads against one, quadratic random", "sample.quadratic.random/skelvar/2t",
        "sample.quadratic.random/skelvar/1t", 1.8)
    row("two threads against one, quadratic walk", "sample.quadratic.walk/skelvar/2t",
        "sample.quadratic.walk/skelvar/1t", 1.8)
    row("two threads against one, weno random", "sample.weno.random/skelvar/2t",
        "sample.weno.random/skelvar/1t", 1.8)
    row("two threads against one, weno walk", "sample.weno.walk/skelvar/2t",
        "sample.weno.walk/skelvar/1t", 1.8)
    row("deleteNodes of a tenth against memcpy of the moves", "tree.delete/skelvar-channel/2t",
        "tree.delete/memcpy/2t", 0.25)
    row("save float, quality 1, against zlib", "file.save.float/skelvar-q1/2t",
        "file.save.float/zlib9-q1/2t", 0.95)
    row("save vec3, quality 0, against zlib", "file.save.vec3/skelvar-q0/2t",
        "file.save.vec3/zlib9-q0/2t", 0.95)
    row("load float, quality 1, against inflate", "file.load.float/skelvar-q1/2t",
        "file.load.float/inflate-q1/2t", 0.85)
    row("load vec3, quality 0, against inflate", "file.load.vec3/skelvar-q0/2t",
        "file.load.vec3/inflate-q0/2t", 0.85)
    row("orient3d of random points against the plain one", "orient3d.random/skelvar/1t",
        "orient3d.random/plain/1t", 0.67)
    row("the same, the plain one singly", "orient3d.random/skelvar/1t",
        "orient3d.random/plain-singly/1t", 0.67)
    row("orient3d of points near a plane", "orient3d.flat/skelvar/1t", "orient3d.flat/cgal/1t", 1)
    row("Poisson, a million unknowns to 1e-5, Eigen's diagonal", "poisson.solve/skelvar/2t",
        "poisson.solve/eigen-diagonal/2t", 1.5)
    row("the same, multigrid and its making", "poisson.solve/skelvar/2t",
        "poisson.once/hypre-boomeramg/2t", 1.4)
    row("the same, multigrid made before, one process", "poisson.solve/skelvar/2t",
        "poisson.solve/hypre-boomeramg/1t", 1.4)
    row("the same, multigrid made before, two processes", "poisson.solve/skelvar/2t",
        "poisson.solve/hypre-boomeramg/2t", 1.4)
    row("the same, two threads against one", "poisson.solve/skelvar/2t", "poisson.solve/skelvar/1t",
        1.8)
    row("matrix times vector, a row", "spmv.rows/skelvar/2t", "spmv.rows/eigen/2t", 1.2)
    row("preconditioner against its plain loop", "precond.rows/skelvar/2t", "precond.rows/plain/2t", 7)
    bound("bytes a row of the 7-point matrix", "poisson.memory.bytesperrow/skelvar/2t", 64)
    row("private copy of a shape against memcpy", "state.copy/skelvar/2t",
        "state.copy/memcpy-fresh/2t", 0.5)
    row("start of a save with a copy against the copy", "state.holdup/skelvar-copy/2t",
        "state.holdup/copy-alone/2t", 0.83)
    row("five saves at once against one after another", "state.frames/skelvar-five/3t",
        "state.frames/skelvar-one/3t", 1.7)
    row("merge of a large shape against a small one", "state.merge/skelvar-large/1t",
        "state.merge/skelvar-small/1t", 0.5)
    row("rename among 10^5 names against 10^4", "state.names.rename/skelvar-100k/1t",
        "state.names.rename/skelvar-10k/1t", 0.4)
    for (n = 1; n <= 2; ++n) {
        size = n == 1 ? "1e6" : "8e6"
        row("move and reblock particles, " size, "particles.move.posvelid." size "/skelvar/2t",
            "particles.move.posvelid." size "/openvdb/2t", 3)
        row("two threads against one, move, " size, "particles.move.posvelid." size "/skelvar/2t",
            "particles.move.posvelid." size "/skelvar/1t", 1.8)
        row("two threads against one, build, " size, "particles.build.posvelid." size "/skelvar/2t",
            "particles.build.posvelid." size "/skelvar/1t", 1.8)
        row("a reblock without a move against reading the positions, " size,
            "particles.reblock.none." size "/skelvar/2t",
            "particles.readpositions." size "/skelvar/2t", 0.33)
    }
    row("build particles, 8e6", "particles.build.posvelid.8e6/skelvar/2t",
        "particles.build.posvelid.8e6/openvdb/2t", 2.5)
    row("remove a tenth of the particles, 8e6", "particles.delete10pct.posvelid.8e6/skelvar/2t",
        "particles.delete10pct.posvelid.8e6/openvdb/2t", 3)
    row("save particles, quality 1, against zlib", "particles.save.q1/skelvar/2t",
        "particles.save.q1/zlib9/2t", 0.9)
    row("load particles, quality 1, against inflate", "particles.load.q1/skelvar/2t",
        "particles.load.q1/inflate/2t", 0.8)
    bound("memory of 8e6 particles, of the payload", "particles.memory.resident.8e6/skelvar/2t", 1.35)
    bound("bytes a cell of the band, channel", "tree.memory.bytespercell/skelvar-channel/1t", 9.4)
    bound("bytes a cell of the band, with nodes", "tree.memory.bytespercell/skelvar/1t", 13)
}

NF == 3 {
    lower = $3 ~ /^bytes/
    if (!($1 in best) || (lower ? $2 + 0 < best[$1] : $2 + 0 > best[$1])) {
        best[$1] = $2 + 0
        unit[$1] = $3
    }
}

END {
    printf "%-52s %10s %10s %-10s %7s %7s\n", "job", "ours", "against", "unit", "ratio", "wanted"
    for (n = 1; n <= rows; ++n) {
        report(n)
    }
}

# Of reading: against each peer's way to do the same.
function read_row(in_text, in_variant, in_ours, in_wanted,    names, n, others)
{
    split(read_peers, names, " ")
    for (n in names) {
        others = others " access." in_variant "/" names[n] "/1t"
    }
    row(in_text, "access." in_variant "/skelvar-" in_ours "/1t", others, in_wanted)
}

function row(in_text, in_ours, in_others, in_wanted)
{
    text[++rows] = in_text
    ours[rows] = in_ours
    others[rows] = in_others
    wanted[rows] = in_wanted
}

# A figure that must not be above `in_most`.
function bound(in_text, in_ours, in_most)
{
    row(in_text, in_ours, "", in_most)
}

function report(in_row,    names, count, k, rival, ratio)
{
    if (!(ours[in_row] in best)) {
        printf "%-52s not measured\n", text[in_row]
        return
    }
    if (others[in_row] == "") {
        printf "%-52s %10.4g %10s %-10s %7s %7.4g  %s\n", text[in_row], best[ours[in_row]], "",
            unit[ours[in_row]], "", wanted[in_row],
            (best[ours[in_row]] <= wanted[in_row] ? "reached" : "MISSED")
        return
    }
    count = split(others[in_row], names, " ")
    for (k = 1; k <= count; ++k) {
        if (names[k] in best && best[names[k]] > rival) {
            rival = best[names[k]]
        }
    }
    if (rival == 0) {
        printf "%-52s %10.4g %10s %-10s\n", text[in_row], best[ours[in_row]], "no peer",
            unit[ours[in_row]]
        return
    }
    ratio = best[ours[in_row]] / rival
    printf "%-52s %10.4g %10.4g %-10s %7.2f %7.4g  %s\n", text[in_row], best[ours[in_row]], rival,
        unit[ours[in_row]], ratio, wanted[in_row], (ratio >= wanted[in_row] ? "reached" : "MISSED")
}
