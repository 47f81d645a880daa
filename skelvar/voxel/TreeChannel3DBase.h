#pragma once

#include <skelvar/base/Api.h>
#include <skelvar/base/MemUsage.h>
#include <skelvar/base/PathName.h>
#include <skelvar/base/Persistable.h>
#include <skelvar/base/SamplerSpace.h>
#include <skelvar/base/TypeMetaBase.h>
#include <skelvar/base/VoxelOffsetType.h>
#include <skelvar/tree/TileIndex.h>
#include <skelvar/tree/TreeLayout3DObserver.h>

#include <memory>
#include <string>

namespace Skelvar {

class BaseSampler;
class ChannelAccessor;
class Dictionary;
class TreeLayout3DBase;
class TreeShape3DBase;

/// A named array of data over a layout, without its element type: one tile for each node, in
/// arrays that run parallel to the node arrays. Belongs to one shape, which it does not own and
/// which passes the events of the layout on to it. Holds no lock: one thread edits a channel, and
/// reading it during an edit of its layout is not allowed.
class SKELVAR_API TreeChannel3DBase : public TreeLayout3DObserver,
                                      public Persistable,
                                      public NS::PathName {
public:
    explicit TreeChannel3DBase(const std::string& in_name = {});
    ~TreeChannel3DBase() override;
    TreeChannel3DBase(const TreeChannel3DBase&) = delete;
    TreeChannel3DBase& operator=(const TreeChannel3DBase&) = delete;

    static const std::string& typeName();

    const std::string& name() const { return m_name; }
    void setName(const std::string& in_name) { m_name = in_name; }
    /// Name of the shape. Lasts when the shape is gone.
    const std::string& shapeName() const { return m_shape_name; }
    void setShapeName(const std::string& in_name) { m_shape_name = in_name; }
    /// The shape, or null if there is none or it is gone.
    std::shared_ptr<TreeShape3DBase> shapePtr() const { return m_shape.lock(); }
    /// A free word of the user, as a role in a solver.
    const std::string& customType() const { return m_custom_type; }
    void setCustomType(const std::string& in_type) { m_custom_type = in_type; }
    /// A free text, kept in files.
    const std::string& tagText() const { return m_tag_text; }
    void setTagText(const std::string& in_text) { m_tag_text = in_text; }
    /// A free word, kept in files. 0 at the start.
    unsigned short tagWord() const { return m_tag_word; }
    void setTagWord(unsigned short in_word) { m_tag_word = in_word; }
    /// How the channel came to its shape: 1 made for it under a unique name, 0 added as it was. A
    /// file keeps it, so that a reader makes the channel in the same way.
    unsigned short creationKind() const { return m_creation_kind; }
    void setCreationKind(unsigned short in_kind) { m_creation_kind = in_kind; }
    /// The state server that holds the channel; all ones if none does.
    unsigned int stateServerID() const { return m_state_server_id; }
    void setStateServerID(unsigned int in_id) { m_state_server_id = in_id; }

    virtual int maxDepth() const = 0;
    virtual int numTiles(int in_depth) const = 0;
    virtual int numTiles() const = 0;
    virtual unsigned long long numElements(int in_depth) const = 0;
    virtual unsigned long long numElements() const = 0;
    /// Bytes taken. `in_with_header` counts the object itself and its texts too.
    virtual unsigned long long memUsage(MemUsage::Type in_type, bool in_with_header) const = 0;

    /// The values of a tile and their count, or null and 0 if there is no such tile: any depth and
    /// any index may be asked for.
    virtual void* tileArrayPtr(const TileIndex& in_index, unsigned long& out_count) = 0;
    virtual const void* tileArrayPtr(const TileIndex& in_index, unsigned long& out_count) const = 0;
    /// One value of a tile. The tile and the cell must be there.
    virtual void* getElemVoidPtr(const TileIndex& in_index, int in_i, int in_j, int in_k) = 0;
    virtual const void* getElemVoidPtr(const TileIndex& in_index, int in_i, int in_j,
                                       int in_k) const = 0;
    virtual void setElemVoidPtr(const TileIndex& in_index, int in_i, int in_j, int in_k,
                                const void* in_value) = 0;

    /// A new channel without a shape. With `in_copy_data` it has arrays of its own; else, with
    /// `in_share`, it shares this channel's arrays; with neither it is a header without arrays,
    /// which ignores all events.
    virtual std::shared_ptr<TreeChannel3DBase> copy(bool in_copy_data, bool in_share) const = 0;
    /// This channel's header, and by the same flags its data, into another channel of the same
    /// class; with neither flag, and from a channel without arrays, the target's arrays stay. The
    /// target keeps its shape, and its state server id if it has one. Throws `std::runtime_error`
    /// on another class.
    virtual void copyInto(const std::shared_ptr<TreeChannel3DBase>& io_target, bool in_copy_data,
                          bool in_share) const = 0;

    virtual const TypeMetaBase* typeMeta() const = 0;
    virtual const TypeMetaBase* elementTypeMeta() const = 0;
    /// True for the name of the channel's class and of each of its bases.
    virtual bool isCastableTo(const std::string& in_type_name) const;
    /// Identity of the data: equal for channels that share it, null for a channel without arrays.
    virtual std::shared_ptr<const void> blockDataPtr() const = 0;

    /// Sets the shape and its name; null clears both. Throws `std::runtime_error` if the class of
    /// the shape does not fit.
    virtual void setShape(const std::shared_ptr<TreeShape3DBase>& in_shape);
    /// Leaves `out_accessor` as it is if the class has none.
    virtual void createChannelAccessor(std::shared_ptr<ChannelAccessor>& out_accessor) = 0;
    virtual VoxelOffsetType offsetType() const = 0;
    /// Offset of the values in a cell, in cells.
    virtual const vec3f& offset() const = 0;
    /// Says where in a cell the values stand; they are not touched.
    virtual void setOffsetType(VoxelOffsetType in_type) = 0;
    /// A reader of the channel at continuous positions, by the name of its kind. Leaves
    /// `out_sampler` as it is for a kind that this channel has not.
    virtual void createSampler(const std::string& in_kind, SamplerSpace in_space,
                               std::shared_ptr<BaseSampler>& out_sampler) const = 0;
    virtual const void* backgroundValuePtr() const = 0;

    /// Version 2 (unsigned 16), tag word, tag text, dictionary text.
    bool save(OutputStream& io_stream) const override;
    /// Reads nothing from streams of format versions before 4.
    bool load(InputStream& io_stream) override;
    bool dump(OutputStream& io_stream) const override;

    /// `shape.channel`, or the channel's name if it has no live shape.
    std::string partialPathName() const override;
    /// `object.shape.channel`, as far as they are there.
    std::string fullPathName() const override;
    /// Empty: a channel has no children.
    std::string makePartialPathName(const std::string& in_child) const override;

    virtual void dictionary(std::shared_ptr<Dictionary>& out_dictionary) const;
    /// Sets the number of tiles of a depth; new tiles hold the background value.
    virtual void resize(int in_depth, int in_count) = 0;
    /// Takes over what another channel of the shape has changed for all of them.
    virtual void sync() = 0;

    /// Brings every depth to the size of the layout; without work if all agree. A channel without
    /// arrays stays without.
    void resize(const TreeLayout3DBase& in_layout);

    void dxChanged(float in_dx) override;
    // The two that tell what is gone come down to the one that tells the moves.
    using TreeLayout3DObserver::nodesDeleted;
    void nodeDeleted(const TileIndex& in_index) override;
    void nodesDeleted(const std::vector<int>* in_deleted) override;

protected:
    /// The header part of `copyInto`.
    void copyHeaderInto(TreeChannel3DBase& io_target) const;
    /// Bytes of the texts.
    unsigned long long textMemUsage() const;

private:
    static constexpr unsigned int kNoStateServer = 0xFFFFFFFFu;

    std::string m_name;
    std::string m_shape_name;
    std::weak_ptr<TreeShape3DBase> m_shape;
    std::string m_custom_type;
    std::string m_tag_text;
    unsigned int m_state_server_id = kNoStateServer;
    unsigned short m_tag_word = 0;
    unsigned short m_creation_kind = 1;
    std::shared_ptr<Dictionary> m_dictionary;
};

}  // namespace Skelvar
