#pragma once

#include <skelvar/base/Api.h>

#include <memory>

namespace Skelvar {

class VoxelLayoutNodeVisitor;

/// A copy of one visitor for each thread that asks for it. Borrows the visitor, which must outlive
/// it and stay as it is meanwhile.
class SKELVAR_API ThreadVisitors {
public:
    explicit ThreadVisitors(const VoxelLayoutNodeVisitor& in_visitor);
    ~ThreadVisitors();
    ThreadVisitors(const ThreadVisitors&) = delete;
    ThreadVisitors& operator=(const ThreadVisitors&) = delete;

    /// The calling thread's copy, made on first use. Any thread may ask.
    VoxelLayoutNodeVisitor& local();
    /// Calls `io_visitor.join` with each copy. One thread, when no other asks.
    void joinInto(VoxelLayoutNodeVisitor& io_visitor) const;

private:
    struct Copies;

    std::unique_ptr<Copies> m_copies;
};

}  // namespace Skelvar
