#pragma once

#include "ORQBasExport.h"
#include "ORQSimCSet.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQSimTransaction.h"
#include "omi_BlkBitVect.h"
#include "omi_Btree.h"

/// A property of each pair of an element and a section layer: one object of the database, stored as
/// its member number. The values stand in a distribution over (elements, layers), one drawer for
/// each set of layers, behind a data set of the model.
///
///   ORQSrvElementLayerProperty property(model, layers, slotA, slotB, typeA, typeB);
///   property.Add(elements, layers, material);
///   property.Save(transaction);
///
/// Whatever is recorded later replaces what a pair had, also where two sets of layers share some.
///
/// REQUIRES, of Add and Save: an open transaction. An object that an undone transaction made use of
/// may be used on only if it was saved before.
class ORQ_EXPORT ORQSrvElementLayerProperty {
  public:
    /// The pair (slotA, slotB) is the model's link to the property's data set, (typeA, typeB) the
    /// type of that set. What the model holds under the link already is found again.
    ORQSrvElementLayerProperty(const ORQSimPosition& model,
                               const ORQSimCollectionID& layerCollection, int slotA, int slotB,
                               int typeA, int typeB);
    virtual ~ORQSrvElementLayerProperty();

    /// Records the object for every pair of the block; a block without elements or layers has no
    /// pairs, and nothing is recorded. Sets that are not ascending are reported as a failed
    /// assertion, and nothing is written.
    virtual void Add(const ORQSimCSetID& elsetID, const ORQSimCSetID& layersID,
                     const ORQSimDynamicID& value);
    virtual ORQSimCollectionID GetElementCollection();
    virtual ORQSimCollectionID GetSectionLayerCollection();
    /// All layers of the drawers that have some of the elements.
    virtual ORQSimCSet GetElementLayers(const ORQSimCSetID& elements);
    /// Fills values[elements][layers] with member numbers, -1 for pairs without a value, and
    /// returns how many there are.
    virtual int Lookup(const ORQSimCSet& elements, const ORQSimCSet& layers, int* values) const;
    /// Makes the data set of the model, or brings it up to date; does nothing while nothing was
    /// recorded. What another object saved since this one was made stays: the values of this one
    /// join it as the later ones. Commits nothing.
    virtual void Save(ORQSimTransaction& transaction);

  private:
    ORQSimDSetID SavedSet() const;
    void NoteDrawers();
    void CreateDistribution(const ORQSimCollectionID& elements, const ORQSimCollectionID& layers);
    ORQSimDynamicID CreateDrawer(const ORQSimCSetID& elements, const ORQSimCSetID& layers);
    void WriteToLaterDrawers(const ORQSimDynamicID& drawer, const ORQSimCSet& elements,
                             const ORQSimCSet& layers, int value) const;
    void Join(const ORQSimDistributionID& saved);

    ORQSimPosition m_model;
    ORQSimCollectionID m_layerCollection;
    int m_slotA;
    int m_slotB;
    int m_typeA;
    int m_typeB;
    ORQSimDistributionID m_distribution;
    omi_Btree<omi_BlkBitVect, ORQSimDynamicID> m_drawers;  // by layers, of several the last one
    omi_Btree<ORQSimDynamicID, omi_BlkBitVect> m_layers;   // of all drawers, in order of creation
};
