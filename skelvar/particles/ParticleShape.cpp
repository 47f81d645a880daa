#include <skelvar/particles/ParticleShape.h>

#include <skelvar/base/InputStream.h>
#include <skelvar/base/OutputStream.h>
#include <skelvar/tree/CompactionMoves.h>
#include <skelvar/tree/VoxelLayout.h>

#include <numeric>
#include <set>
#include <stdexcept>

namespace Skelvar {

namespace {

constexpr unsigned short kVersionWithNextId = 4;
constexpr unsigned short kParticleShapeVersion = 4;
constexpr unsigned int kTotalsBytes = kNumDepths * 8;

/// Beyond what any memory holds; keeps the totals from running over.
constexpr unsigned long long kMostParticles = 1ULL << 44;

unsigned long long sumOf(const std::vector<unsigned long long>& in_counts)
{
    return std::accumulate(in_counts.begin(), in_counts.end(), 0ULL);
}

bool isDepth(int in_depth)
{
    return in_depth >= 0 && in_depth < kNumDepths;
}

}  // namespace

const TypeMeta<ParticleShape> ParticleShape::m_typeMeta{};

ParticleShape::ParticleShape(const std::string& in_name)
    : TreeShape3DBase(in_name), m_counts(std::make_shared<ParticleCountBlock>())
{
}

ParticleShape::~ParticleShape() = default;

const std::string& ParticleShape::typeName()
{
    static const std::string& s_typeName = *new std::string("ParticleShape");
    return s_typeName;
}

bool ParticleShape::isCastableTo(const std::string& in_type_name) const
{
    return in_type_name == typeName() || TreeShape3DBase::isCastableTo(in_type_name);
}

unsigned long long ParticleShape::numParticles() const
{
    return std::accumulate(m_counts->totals.begin(), m_counts->totals.end(), 0ULL);
}

unsigned long long ParticleShape::numParticles(int in_depth) const
{
    return isDepth(in_depth) ? m_counts->totals[in_depth] : 0;
}

unsigned long long ParticleShape::numElements(const TileIndex& in_index) const
{
    const auto [index, depth] = in_index;
    if (!isDepth(depth) || index < 0 ||
        static_cast<std::size_t>(index) >= m_counts->tiles[depth].size()) {
        return 0;
    }
    return m_counts->tiles[depth][index];
}

std::shared_ptr<VoxelLayout> ParticleShape::layoutPtr() const
{
    return std::static_pointer_cast<VoxelLayout>(TreeShape3DBase::layoutPtr());
}

VoxelLayout& ParticleShape::layout() const
{
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    if (!layout) {
        throw std::runtime_error(
            "ParticleShape.layout(): layout==null. Did you fetch it from state server?");
    }
    return *layout;
}

void ParticleShape::setLayout(const std::shared_ptr<TreeLayout3DBase>& in_layout)
{
    if (in_layout && in_layout->typeMeta()->typeName() != VoxelLayout::typeName()) {
        throw std::runtime_error("ParticleShape::setLayout() : in_layout is not a VoxelLayout");
    }
    TreeShape3DBase::setLayout(in_layout);
    for (int depth = 0; in_layout && depth < kNumDepths; ++depth) {
        fitCounts(depth, static_cast<unsigned long>(in_layout->numNodes(depth)));
    }
}

// Copies.

std::shared_ptr<TreeShape3DBase> ParticleShape::copy(bool in_copy_data, bool in_share) const
{
    const auto shape = std::make_shared<ParticleShape>();
    copyInto(shape, in_copy_data, in_share);
    return shape;
}

void ParticleShape::copyInto(const std::shared_ptr<TreeShape3DBase>& io_target, bool in_copy_data,
                             bool in_share) const
{
    requireClass(io_target, typeName());
    if (io_target.get() == this) {
        return;
    }
    ParticleShape& target = static_cast<ParticleShape&>(*io_target);
    target.m_counts =
        in_share && !in_copy_data ? m_counts : std::make_shared<ParticleCountBlock>(*m_counts);
    target.m_next_id = m_next_id.load();
    copyShapeInto(target, in_copy_data, in_share);
}

unsigned long long ParticleShape::memUsage(MemUsage::Type in_type) const
{
    unsigned long long bytes = TreeShape3DBase::memUsage(in_type) + sizeof(ParticleCountBlock);
    for (const std::vector<unsigned long long>& counts : m_counts->tiles) {
        bytes += sizeof(unsigned long long) *
                 (in_type == MemUsage::eMemAllocated ? counts.capacity() : counts.size());
    }
    return bytes;
}

// Files.

bool ParticleShape::save(OutputStream& io_stream) const
{
    bool ok = io_stream.write(kParticleShapeVersion);
    ok &= TreeShape3DBase::save(io_stream);
    ok &= io_stream.write(maxParticleId());
    ok &= io_stream.write(static_cast<unsigned int>(kNumDepths));
    for (const std::vector<unsigned long long>& counts : m_counts->tiles) {
        ok &= io_stream.write(static_cast<unsigned long long>(counts.size()));
        for (const unsigned long long count : counts) {
            ok &= io_stream.write(count);
        }
    }
    ok &= io_stream.write(kTotalsBytes);
    ok &=
        io_stream.writebytes(kTotalsBytes, reinterpret_cast<const char*>(m_counts->totals.data()));
    return ok;
}

bool ParticleShape::load(InputStream& io_stream)
{
    unsigned short version = 1;
    if (io_stream.version() >= kKvfVersion2 && !io_stream.read(version)) {
        return false;
    }
    ParticleShape loaded;
    copyHeaderInto(loaded);  // older streams do not hold all of it
    unsigned long long next_id = 0;
    ParticleCountBlock counts;
    if (version > kParticleShapeVersion || !loaded.TreeShape3DBase::load(io_stream) ||
        (version >= kVersionWithNextId && !io_stream.read(next_id)) ||
        !loadCounts(io_stream, counts)) {
        return false;
    }
    loaded.copyHeaderInto(*this);
    m_next_id = next_id;
    *m_counts = std::move(counts);
    return true;
}

bool ParticleShape::loadCounts(InputStream& io_stream, ParticleCountBlock& out_counts) const
{
    unsigned int num_levels = 0;
    if (!io_stream.read(num_levels) || num_levels > kNumDepths) {
        return false;
    }
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    for (unsigned int depth = 0; depth < kNumDepths; ++depth) {
        unsigned long long num_tiles = 0;
        if (depth < num_levels && (!io_stream.read(num_tiles) ||
                                   num_tiles > io_stream.length() / sizeof(unsigned long long))) {
            return false;
        }
        if (layout && num_tiles != static_cast<unsigned long long>(
                                       layout->numNodes(static_cast<int>(depth)))) {
            return false;
        }
        out_counts.tiles[depth].resize(num_tiles);
        for (unsigned long long& count : out_counts.tiles[depth]) {
            if (!io_stream.read(count) ||
                count > kMostParticles - std::min(kMostParticles, out_counts.totals[depth])) {
                return false;
            }
            out_counts.totals[depth] += count;
        }
    }
    // The stored totals have the byte order of the machine that wrote them, and say nothing new.
    unsigned int totals_bytes = 0;
    char totals[kTotalsBytes];
    return io_stream.read(totals_bytes) && totals_bytes == kTotalsBytes &&
           io_stream.readbytes(totals_bytes, totals);
}

bool ParticleShape::dump(OutputStream& io_stream) const
{
    bool ok = TreeShape3DBase::dump(io_stream);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        ok &= io_stream.write("Particles at depth " + std::to_string(depth) + ": " +
                              std::to_string(numParticles(depth)));
    }
    return ok;
}

// Events.

void ParticleShape::fitCounts(int in_depth, unsigned long in_size)
{
    m_counts->tiles[in_depth].resize(in_size);
    m_counts->totals[in_depth] = sumOf(m_counts->tiles[in_depth]);
}

void ParticleShape::nodeAdded(const TileIndex& in_index)
{
    TreeShape3DBase::nodeAdded(in_index);
    const auto [index, depth] = in_index;
    if (isDepth(depth) && index >= 0 &&
        static_cast<std::size_t>(index) >= m_counts->tiles[depth].size()) {
        m_counts->tiles[depth].resize(static_cast<std::size_t>(index) + 1);
    }
}

void ParticleShape::nodesAdded(const std::vector<int>* in_indices)
{
    TreeShape3DBase::nodesAdded(in_indices);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        std::vector<unsigned long long>& counts = m_counts->tiles[depth];
        for (const int index : in_indices[depth]) {
            if (static_cast<std::size_t>(index) >= counts.size()) {
                counts.resize(static_cast<std::size_t>(index) + 1);
            }
        }
    }
}

void ParticleShape::nodesCleared()
{
    TreeShape3DBase::nodesCleared();
    *m_counts = {};
}

void ParticleShape::nodeDeleted(const TileIndex& in_index)
{
    if (isDepth(in_index.second)) {
        std::array<std::vector<int>, kNumDepths> deleted;
        deleted[in_index.second].push_back(in_index.first);
        nodesDeleted(deleted.data());
    }
}

void ParticleShape::nodesDeleted(const std::vector<int>* in_deleted)
{
    if (const std::shared_ptr<VoxelLayout> layout = layoutPtr()) {
        nodesDeleted(compactionMoves(in_deleted, *layout).data());
    }
}

void ParticleShape::nodesDeleted(const std::vector<TileIndex>* in_moves)
{
    TreeShape3DBase::nodesDeleted(in_moves);
    const std::shared_ptr<VoxelLayout> layout = layoutPtr();
    for (int depth = 0; layout && depth < kNumDepths; ++depth) {
        std::vector<unsigned long long>& counts = m_counts->tiles[depth];
        const int size = static_cast<int>(counts.size());
        if (size == layout->numNodes(depth)) {
            continue;
        }
        for (const auto& [destination, source] : in_moves[depth]) {
            if (destination >= 0 && destination < size && source >= 0 && source < size) {
                counts[destination] = counts[source];
            }
        }
        fitCounts(depth, static_cast<unsigned long>(layout->numNodes(depth)));
    }
}

// What channels tell one another.

namespace {

/// Gives a variable another value for the length of a scope.
template <typename T>
class ScopedValue {
public:
    ScopedValue(T& io_variable, T in_value) : m_variable(io_variable), m_old(io_variable)
    {
        m_variable = in_value;
    }
    ~ScopedValue() { m_variable = m_old; }
    ScopedValue(const ScopedValue&) = delete;
    ScopedValue& operator=(const ScopedValue&) = delete;

private:
    T& m_variable;
    T m_old;
};

}  // namespace

void ParticleShape::publishCounts(ParticleCountBlock in_counts, const std::string& in_except)
{
    *m_counts = std::move(in_counts);
    for (int depth = 0; depth < kNumDepths; ++depth) {
        m_counts->totals[depth] = sumOf(m_counts->tiles[depth]);
    }
    const ScopedValue<bool> scope(m_count_sync, true);
    sync({in_except});
}

void ParticleShape::publishReblock(const ParticleReblock& in_reblock)
{
    const ScopedValue<const ParticleReblock*> scope(m_reblock, &in_reblock);
    sync(std::set<std::string>());
}

void ParticleShape::setCounts(int in_depth, std::vector<unsigned long long> in_counts)
{
    m_counts->totals[in_depth] = sumOf(in_counts);
    m_counts->tiles[in_depth] = std::move(in_counts);
}

}  // namespace Skelvar
