#pragma once

namespace Skelvar {

class KvfReader;

/// Moves a reader from behind the header of a file of version 2 or above to its first channel body,
/// past the layout and the shape, in a number of short reads that grows with the logarithm of the
/// number of nodes: no size is stated for them, but each node states its place among its like.
/// False if that does not lead through; the reader then stands anywhere.
bool skipLayoutAndShape(KvfReader& io_reader);

}  // namespace Skelvar
