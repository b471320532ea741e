#include "ORQSrvLabelMapper.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <utility>
#include <vector>

#include "ORQObjModel.h"
#include "ORQSimCollection.h"
#include "ORQSimSchema.h"
#include "ORQSrvAssert.h"
#include "ORQSrvOwnedArray.h"
#include "omi_BlkBitVect.h"

namespace {

using Quad = ORQSrvLabelMapperQuad;

// Finds quads by primary ordinal, for queries in ascending order.
class ForwardSearch {
  public:
    explicit ForwardSearch(std::span<const Quad> quads)
        : m_cursor(quads.data()),
          m_end(m_cursor + quads.size()),
          m_next(quads.empty() ? 0 : quads.front().primaryOrdinal) {}

    // Null when no quad has the ordinal.
    const Quad* Find(int ordinal) {
        if (m_cursor == m_end || ordinal < m_next) {
            return nullptr;
        }
        // Ordinals mostly follow one another, so the quad mostly lies as far ahead as its ordinal;
        // where some are missing it lies before that. Guessing by the last ordinal and not by the
        // one at the cursor lets a processor look for several quads at once.
        const std::int64_t ahead = std::int64_t{ordinal} - m_next;
        const Quad* found = m_cursor + std::min<std::int64_t>(ahead, m_end - m_cursor - 1);
        if (found->primaryOrdinal < ordinal) {
            found = LowerBound(found + 1, m_end, ordinal);
        } else if (found->primaryOrdinal > ordinal) {
            found = LowerBound(m_cursor, found, ordinal);
        }
        m_next = std::int64_t{ordinal} + 1;
        const bool isThere = found != m_end && found->primaryOrdinal == ordinal;
        m_cursor = isThere ? found + 1 : found;
        return isThere ? found : nullptr;
    }

  private:
    static const Quad* LowerBound(const Quad* begin, const Quad* end, int ordinal) {
        return std::ranges::lower_bound(begin, end, ordinal, {}, &Quad::primaryOrdinal);
    }

    const Quad* m_cursor;
    const Quad* m_end;
    std::int64_t m_next;  // no quad from the cursor on has a lower ordinal
};

ORQSrvOwnedArray<int> AscendingMembers(const ORQSimCSet& set) {
    ORQSrvOwnedArray<int> members = ORQSrvAllocateArray<int>(set.Size());
    set.Members(members.get());
    return members;
}

// The set of one field of all quads.
ORQSimCSet Column(std::span<const Quad> quads, int Quad::*field,
                  const ORQSimCollectionID& collection, bool isAscending) {
    const int count = static_cast<int>(quads.size());
    const ORQSrvOwnedArray<int> members = ORQSrvAllocateArray<int>(count);
    std::ranges::transform(quads, members.get(), field);
    return ORQSimCollection(collection).CreateVolatileCSet(members.get(), count, isAscending);
}

}  // namespace

struct ORQSrvLabelMapper::Kind {
    ORQObjLabelerType type;
    int ORQSrvLabelMapper::*count;
    Quad* ORQSrvLabelMapper::*quads;
    int collection;  // from the mesh
    const char* otherModelCheck;
    const char* tableCheck;
    const char* ordinalCheck;
};

const ORQSrvLabelMapper::Kind ORQSrvLabelMapper::s_node = {
    ORQObjLabelerType::Node,
    &ORQSrvLabelMapper::m_nnodes,
    &ORQSrvLabelMapper::m_nodes,
    ORQSimSchema::Mesh_nodes,
    "primaryNodeSet.CollectionID() != nodeCol",
    "m_nodes != 0",
    "mappingOrdinal < m_nnodes"};

const ORQSrvLabelMapper::Kind ORQSrvLabelMapper::s_element = {
    ORQObjLabelerType::Element,
    &ORQSrvLabelMapper::m_nelements,
    &ORQSrvLabelMapper::m_elements,
    ORQSimSchema::Mesh_elements,
    "primaryElementSet.CollectionID() != elementCol",
    "m_elements != 0",
    "mappingOrdinal < m_nelements"};

ORQSrvLabelMapper::ORQSrvLabelMapper(const ORQSimPosition& primary, const ORQSimPosition& secondary)
    : m_primary(primary), m_secondary(secondary) {}

ORQSrvLabelMapper::~ORQSrvLabelMapper() {
    mem_Free(m_nodes);
    mem_Free(m_elements);
}

// --- Building the tables -------------------------------------------------------------------------

int ORQSrvLabelMapper::IntQuadCompare(const void* itemA, const void* itemB) {
    ORQSrvAssertReported(itemA != nullptr, "itemA != NULL");
    ORQSrvAssertReported(itemB != nullptr, "itemB != NULL");
    const int a = static_cast<const Quad*>(itemA)->primaryOrdinal;
    const int b = static_cast<const Quad*>(itemB)->primaryOrdinal;
    return a < b ? -1 : static_cast<int>(a > b);
}

// While lists are merged, the first field of a quad holds the label and the second the ordinal in
// the list's own model.
Quad* ORQSrvLabelMapper::ReadLabels(const ORQObjLabeler& labeler, const ORQString& instance,
                                    int& count) {
    ORQSimArray<int> labels;
    ORQSimArray<int> ordinals;
    if (labeler.IsInstanceValid(instance)) {
        labeler.GetInstanceLabelsAndOrdinals(instance, labels, ordinals);
    }
    count = labels.Size();
    if (count == 0) {
        return nullptr;
    }
    ORQSrvOwnedArray<Quad> quads = ORQSrvAllocateArray<Quad>(count);
    std::transform(labels.begin(), labels.end(), ordinals.begin(), quads.get(),
                   [](int label, int ordinal) {
                       return Quad{label, ordinal, -1, label};
                   });
    return quads.release();
}

Quad* ORQSrvLabelMapper::RemapInstanceBasedOnUserLabels(const ORQObjLabeler& primary,
                                                        const ORQObjLabeler& secondary,
                                                        const ORQString& instance,
                                                        int instanceIndex, int& count) {
    int nA = 0;
    int nB = 0;
    ORQSrvOwnedArray<Quad> a(ReadLabels(primary, instance, nA));
    const ORQSrvOwnedArray<Quad> b(ReadLabels(secondary, instance, nB));
    // The matches are written over the front of `a`, never ahead of what was read of it.
    count = 0;
    for (int i = 0, j = 0; i < nA && j < nB;) {
        const Quad inA = a[static_cast<std::size_t>(i)];
        const Quad& inB = b[static_cast<std::size_t>(j)];
        const int label = inA.primaryOrdinal;
        const int other = inB.primaryOrdinal;
        if (label == other) {
            a[static_cast<std::size_t>(count)] = {inA.secondaryOrdinal, inB.secondaryOrdinal,
                                                  instanceIndex, label};
            ++count;
        }
        i += static_cast<int>(label <= other);
        j += static_cast<int>(other <= label);
    }
    return count == 0 ? nullptr : a.release();
}

Quad* ORQSrvLabelMapper::RemapBasedOnUserLabels(ORQObjLabelerType type, int& count) {
    ORQObjLabeler primary(m_primary, type);
    ORQObjLabeler secondary(m_secondary, type);
    primary.Read();
    secondary.Read();
    m_instances = primary.Occurrences();

    struct Partial {
        ORQSrvOwnedArray<Quad> quads;
        int count;
    };
    std::vector<Partial> partials;
    int ntotal = 0;
    for (int index = 0; index < m_instances.Size(); ++index) {
        int nMatches = 0;
        ORQSrvOwnedArray<Quad> matches(RemapInstanceBasedOnUserLabels(
            primary, secondary, m_instances.ConstGet(index), index, nMatches));
        partials.push_back({std::move(matches), nMatches});
        ntotal += nMatches;
    }

    ORQSrvOwnedArray<Quad> all = ORQSrvAllocateArray<Quad>(ntotal);
    int n = 0;
    for (Partial& partial : partials) {
        std::copy_n(partial.quads.get(), partial.count, all.get() + n);
        n += partial.count;
        partial.quads.reset();
    }
    ORQSrvAssertReported(n == ntotal, "n == ntotal");
    // qsort, because the comparison that it takes is public.
    std::qsort(all.get(), static_cast<std::size_t>(ntotal), sizeof(Quad), IntQuadCompare);
    count = ntotal;
    return all.release();
}

std::span<const Quad> ORQSrvLabelMapper::Table(const Kind& kind) {
    if (this->*kind.quads == nullptr) {
        this->*kind.quads = RemapBasedOnUserLabels(kind.type, this->*kind.count);
    }
    return {this->*kind.quads, static_cast<std::size_t>(this->*kind.count)};
}

// --- Mapping by a table --------------------------------------------------------------------------

ORQSimCollectionID ORQSrvLabelMapper::GetCollection(const ORQSimPosition& position, int fragment) {
    return ORQObjModel(position.GetPosition(ORQSimSchema::Focus_model))
        .GetMesh()
        .GetPosition(fragment)
        .GetCollection();
}

ORQSimCSet ORQSrvLabelMapper::GetCommonPrimarySet(const Kind& kind) {
    return Column(Table(kind), &Quad::primaryOrdinal, GetCollection(m_primary, kind.collection),
                  true);
}

ORQSimCSet ORQSrvLabelMapper::GetCommonSecondarySet(const Kind& kind) {
    return Column(Table(kind), &Quad::secondaryOrdinal, GetCollection(m_secondary, kind.collection),
                  false);
}

ORQSimArray<int> ORQSrvLabelMapper::GetMappingFromPrimarySet(const Kind& kind,
                                                             const ORQSimCSet& set) {
    ORQSimArray<int> images(set.Size());
    std::ranges::fill(images, -1);
    const ORQSrvOwnedArray<int> members = AscendingMembers(set);
    const bool isAscending = set.IsAscending();
    ForwardSearch search(Table(kind));
    for (int rank = 0; rank < images.Size(); ++rank) {
        const int member = members[static_cast<std::size_t>(rank)];
        if (const Quad* quad = search.Find(member); quad != nullptr) {
            images.Get(isAscending ? rank : set.SeekMember(member)) = quad->secondaryOrdinal;
        }
    }
    return images;
}

ORQSimCSet ORQSrvLabelMapper::MapSet(const Kind& kind, const ORQSimCSet& set, bool isAscending) {
    const std::span<const Quad> quads = Table(kind);
    const ORQSimCollectionID collection = GetCollection(m_secondary, kind.collection);
    ORQSrvAssertReported(set.CollectionID() != collection, kind.otherModelCheck);
    // The images take the place of the members.
    const ORQSrvOwnedArray<int> members = AscendingMembers(set);
    const int* const end = members.get() + set.Size();
    int* image = members.get();
    ForwardSearch search(quads);
    for (const int* member = members.get(); member != end; ++member) {
        if (const Quad* quad = search.Find(*member); quad != nullptr) {
            *image++ = quad->secondaryOrdinal;
        }
    }
    return ORQSimCollection(collection)
        .CreateVolatileCSet(members.get(), static_cast<int>(image - members.get()), isAscending);
}

void ORQSrvLabelMapper::MapSet(const Kind& kind, const omi_BlkBitVect& in, omi_BlkBitVect& out) {
    ForwardSearch search(Table(kind));
    out.Clear();
    omi_BlkBitVectTrav bits(in);
    for (int bit = bits.First(); bit >= 0; bit = bits.Next()) {
        if (const Quad* quad = search.Find(bit); quad != nullptr) {
            out.SetBit(quad->secondaryOrdinal);
        }
    }
}

const Quad& ORQSrvLabelMapper::At(const Kind& kind, int mappingOrdinal) const {
    ORQSrvAssertReported(this->*kind.quads != nullptr, kind.tableCheck);
    ORQSrvAssertReported(mappingOrdinal < this->*kind.count, kind.ordinalCheck);
    return (this->*kind.quads)[mappingOrdinal];
}

// --- Nodes ---------------------------------------------------------------------------------------

ORQSimCSet ORQSrvLabelMapper::GetCommonPrimaryNodeSet() {
    return GetCommonPrimarySet(s_node);
}

ORQSimCSet ORQSrvLabelMapper::GetCommonSecondaryNodeSet() {
    return GetCommonSecondarySet(s_node);
}

ORQSimArray<int> ORQSrvLabelMapper::GetMappingFromPrimaryNodeSet(ORQSimCSetID set) {
    return GetMappingFromPrimarySet(s_node, set);
}

ORQSimCSet ORQSrvLabelMapper::GetSecondaryNodeSet(const ORQSimCSetID& set, bool isAscending) {
    return MapSet(s_node, set, isAscending);
}

void ORQSrvLabelMapper::GetSecondaryNodesBitVector(const omi_BlkBitVect& in, omi_BlkBitVect& out) {
    MapSet(s_node, in, out);
}

const ORQString& ORQSrvLabelMapper::GetNodeMappingOrdinalInstanceName(int mappingOrdinal) const {
    return m_instances.ConstGet(At(s_node, mappingOrdinal).instanceIndex);
}

int ORQSrvLabelMapper::GetNodeMappingOrdinalUserLabel(int mappingOrdinal) const {
    return At(s_node, mappingOrdinal).userLabel;
}

// --- Elements ------------------------------------------------------------------------------------

ORQSimCSet ORQSrvLabelMapper::GetCommonPrimaryElementSet() {
    return GetCommonPrimarySet(s_element);
}

ORQSimCSet ORQSrvLabelMapper::GetCommonSecondaryElementSet() {
    return GetCommonSecondarySet(s_element);
}

ORQSimArray<int> ORQSrvLabelMapper::GetMappingFromPrimaryElementSet(ORQSimCSetID set) {
    return GetMappingFromPrimarySet(s_element, set);
}

ORQSimCSet ORQSrvLabelMapper::GetSecondaryElementSet(const ORQSimCSetID& set, bool isAscending) {
    return MapSet(s_element, set, isAscending);
}

void ORQSrvLabelMapper::GetSecondaryElementsBitVector(const omi_BlkBitVect& in,
                                                      omi_BlkBitVect& out) {
    MapSet(s_element, in, out);
}

const ORQString& ORQSrvLabelMapper::GetElementMappingOrdinalInstanceName(int mappingOrdinal) const {
    return m_instances.ConstGet(At(s_element, mappingOrdinal).instanceIndex);
}

int ORQSrvLabelMapper::GetElementMappingOrdinalUserLabel(int mappingOrdinal) const {
    return At(s_element, mappingOrdinal).userLabel;
}
