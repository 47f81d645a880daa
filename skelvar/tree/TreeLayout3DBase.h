#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/Persistable.h>
#include <skelvar/base/TypeMeta.h>
#include <skelvar/base/ValueTypes.h>
#include <skelvar/tree/TreeLayout3DObserver.h>

#include <memory>
#include <string>
#include <vector>

namespace Skelvar {

class Dictionary;

/// A set of tiles, with the list of those who hear of its changes. An observer itself: an event
/// raised on it goes to all its observers. It does not own observers; each takes itself off the
/// list before it goes. Edits and the list belong to one thread at a time.
class SKELVAR_API TreeLayout3DBase : public TreeLayout3DObserver,
                                     public std::enable_shared_from_this<TreeLayout3DBase>,
                                     public Persistable {
public:
    static const TypeMeta<TreeLayout3DBase> m_typeMeta;
    static const std::string& typeName();

    /// `in_mvs`: size of a coordinate unit in world units.
    explicit TreeLayout3DBase(const std::string& in_name = {}, float in_mvs = 1.0f);
    TreeLayout3DBase(const TreeLayout3DBase&) = delete;
    TreeLayout3DBase& operator=(const TreeLayout3DBase&) = delete;
    ~TreeLayout3DBase() override;

    // Events: each calls the same operation of all observers in a parallel loop, `dxChanged` in
    // list order on this thread.
    void nodeAdded(const TileIndex& in_node) override;
    void nodesAdded(const std::vector<int>* in_indices) override;
    void nodesCleared() override;
    void nodeDeleted(const TileIndex& in_node) override;
    void nodesDeleted(const std::vector<int>* in_indices) override;
    void nodesDeleted(const std::vector<TileIndex>* in_moves) override;
    void dxChanged(float in_dx) override;

    /// Box around all tiles, [min, max). Leaves the outputs alone on an empty layout.
    virtual void bounds(vec3i& out_min, vec3i& out_max) const = 0;
    virtual int maxDepth() const = 0;
    /// Live nodes.
    virtual int numNodes() const = 0;
    /// Places in the array of a depth, 0 to 7: also counts deleted nodes whose gap is still open.
    virtual int numNodes(int in_depth) const = 0;
    /// A new layout with the same content; with `in_deep` false it shares the nodes.
    virtual std::shared_ptr<TreeLayout3DBase> copy(bool in_deep) const = 0;
    /// Appends, without a test for duplicates.
    virtual void addObserver(TreeLayout3DObserver* in_observer);
    /// Takes away every entry of the observer. The order of the others may change.
    virtual void removeObserver(TreeLayout3DObserver* in_observer);
    /// Address of the nodes' storage: equal for layouts that share it.
    virtual const void* nodeDataPtr() const = 0;
    virtual const TypeMetaBase* typeMeta() const;
    /// The two values that all layouts have: size of a unit and name.
    bool save(OutputStream& io_stream) const override;
    bool load(InputStream& io_stream) override;
    bool dump(OutputStream& io_stream) const override;
    /// The layout's key-value store. There from the start, shared with the caller.
    virtual void dictionary(std::shared_ptr<Dictionary>& out_dictionary) const;
    /// Bytes of the nodes with what stands beside them, and of their child slots if
    /// `in_with_children`.
    virtual unsigned long long memUsage(MemUsage::Type in_type, bool in_with_children) const = 0;
    /// Makes the target a copy of this layout; with `in_deep` false it shares the nodes. Raises no
    /// event. Throws `std::runtime_error` if the target is of another class.
    virtual void copyInto(const std::shared_ptr<TreeLayout3DBase>& io_target,
                          bool in_deep) const = 0;
    /// Copies name, size of a unit and dictionary (by value); the server's id only if the target
    /// has none.
    void copyInto(const std::shared_ptr<TreeLayout3DBase>& io_target) const;

    /// Size of a coordinate unit in world units.
    float MVS() const { return m_mvs; }
    const std::string& name() const { return m_name; }
    void setName(const std::string& in_name) { m_name = in_name; }
    /// Id of the state server that holds the layout, 0xFFFFFFFF for none.
    unsigned int stateServerID() const { return m_state_server_id; }
    void setStateServerID(unsigned int in_id) { m_state_server_id = in_id; }
    const std::vector<TreeLayout3DObserver*>& observers() const { return m_observers; }

protected:
    float m_mvs;
    std::string m_name;
    std::vector<TreeLayout3DObserver*> m_observers;  ///< not owned
    unsigned int m_state_server_id = 0xFFFFFFFFu;
    std::shared_ptr<Dictionary> m_dictionary;
};

}  // namespace Skelvar
