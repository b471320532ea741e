#pragma once

#include <span>

#include "ORQBasExport.h"
#include "ORQObjLabeler.h"
#include "ORQSimArray.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

class omi_BlkBitVect;

/// One node or element that two models have in common.
struct ORQSrvLabelMapperQuad {
    int primaryOrdinal;
    int secondaryOrdinal;
    int instanceIndex;  ///< of the instance's name in the primary model, from 0
    int userLabel;
};

/// Relates two models of the same structure, a primary and a secondary one, by what the user sees:
/// nodes (elements) match when they carry the same label in the instance of the same name.
///
///   primary, PART-1      ordinal  0   1   2     secondary, PART-1    ordinal  0   1   2
///                        label   30  10  20                          label   20  40  30
///   table of nodes       {0, 2, 0, 30}, {2, 0, 0, 20}, by ascending primary ordinal
///
/// The table of the nodes, and that of the elements, is built when it is first needed: 16 bytes for
/// each match, and while it is built some 24 for each label of both models. Later changes of the
/// models do not reach it. A mapping ordinal is a place in such a table, from 0, and nothing of the
/// models. An object is not copied.
class ORQ_EXPORT ORQSrvLabelMapper {
  public:
    /// Both positions are the focus of a document. Reads nothing yet.
    ORQSrvLabelMapper(const ORQSimPosition& primary, const ORQSimPosition& secondary);
    ~ORQSrvLabelMapper();
    ORQSrvLabelMapper(const ORQSrvLabelMapper&) = delete;
    ORQSrvLabelMapper& operator=(const ORQSrvLabelMapper&) = delete;

    /// What has a match, as ordinals of the primary (secondary) model; ascending and volatile.
    ORQSimCSet GetCommonPrimaryNodeSet();
    ORQSimCSet GetCommonPrimaryElementSet();
    ORQSimCSet GetCommonSecondaryNodeSet();
    ORQSimCSet GetCommonSecondaryElementSet();

    /// For each member of a primary set, in the set's own order, its secondary ordinal; -1 for a
    /// member without a match.
    ORQSimArray<int> GetMappingFromPrimaryNodeSet(ORQSimCSetID set);
    ORQSimArray<int> GetMappingFromPrimaryElementSet(ORQSimCSetID set);

    /// The matches of a primary set's members; ascending and volatile. `isAscending` is that
    /// of ORQSimCollection::CreateVolatileCSet. A set that is one of
    /// the secondary model ends the process ("primaryNodeSet.CollectionID() != nodeCol",
    /// "primaryElementSet.CollectionID() != elementCol").
    ORQSimCSet GetSecondaryNodeSet(const ORQSimCSetID& set, bool isAscending);
    ORQSimCSet GetSecondaryElementSet(const ORQSimCSetID& set, bool isAscending);

    /// `out` becomes the secondary ordinals of the bits of `in`; bits without a match are dropped.
    void GetSecondaryNodesBitVector(const omi_BlkBitVect& in, omi_BlkBitVect& out);
    void GetSecondaryElementsBitVector(const omi_BlkBitVect& in, omi_BlkBitVect& out);

    /// Instance and label of a match. REQUIRES: the table was built by one of the operations above
    /// ("m_nodes != 0", "m_elements != 0"), and a mapping ordinal in [0, number of matches); too
    /// high a one ends the process ("mappingOrdinal < m_nnodes", "mappingOrdinal < m_nelements"), a
    /// negative one is not noticed. A name is valid until a table is built.
    const ORQString& GetNodeMappingOrdinalInstanceName(int mappingOrdinal) const;
    const ORQString& GetElementMappingOrdinalInstanceName(int mappingOrdinal) const;
    int GetNodeMappingOrdinalUserLabel(int mappingOrdinal) const;
    int GetElementMappingOrdinalUserLabel(int mappingOrdinal) const;

  private:
    using Quad = ORQSrvLabelMapperQuad;

    static int IntQuadCompare(const void* itemA, const void* itemB);
    static Quad* ReadLabels(const ORQObjLabeler& labeler, const ORQString& instance, int& count);
    static Quad* RemapInstanceBasedOnUserLabels(const ORQObjLabeler& primary,
                                                const ORQObjLabeler& secondary,
                                                const ORQString& instance, int instanceIndex,
                                                int& count);
    Quad* RemapBasedOnUserLabels(ORQObjLabelerType type, int& count);

    // What nodes and elements differ in: members, places in the models, texts.
    struct Kind;
    static const Kind s_node;
    static const Kind s_element;

    std::span<const Quad> Table(const Kind& kind);
    const Quad& At(const Kind& kind, int mappingOrdinal) const;

    static ORQSimCollectionID GetCollection(const ORQSimPosition& position, int fragment);
    ORQSimCSet GetCommonPrimarySet(const Kind& kind);
    ORQSimCSet GetCommonSecondarySet(const Kind& kind);
    ORQSimArray<int> GetMappingFromPrimarySet(const Kind& kind, const ORQSimCSet& set);
    ORQSimCSet MapSet(const Kind& kind, const ORQSimCSet& set, bool isAscending);
    void MapSet(const Kind& kind, const omi_BlkBitVect& in, omi_BlkBitVect& out);

    ORQSimPosition m_primary;
    ORQSimPosition m_secondary;
    int m_nnodes = 0;
    int m_nelements = 0;
    Quad* m_nodes = nullptr;
    Quad* m_elements = nullptr;
    ORQSimArray<ORQString> m_instances;
};
