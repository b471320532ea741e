#pragma once

#include "ORQBasExport.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// A model database as a document: knows where the standard objects hang. A shared handle like the
/// database's: the database stays open as long as one of them lives. An empty one counts as closed,
/// and its getters return null.
///
/// Each getter follows a few links, at the cost of a lookup for each. All throw as ORQSimPosition
/// does: Usage when the database is closed, Damaged or Io when the catalogue cannot be read.
class ORQ_EXPORT ORQObjDocument {
  public:
    ORQObjDocument() = default;
    ORQObjDocument(const ORQSimDatabase& database) : m_database(database) {}
    explicit ORQObjDocument(const ORQSimPosition& position) : m_database(position) {}

    const ORQSimDatabase& Database() const { return m_database; }
    ORQSimContextID ContextID() const { return m_database.ContextID(); }
    bool IsClosed() const { return m_database.IsClosed(); }

    ORQSimPosition Focus() const { return m_database.Focus(); }
    ORQSimPosition GetModel() const;
    ORQSimPosition GetMesh() const;
    ORQSimPosition GetResults() const;
    /// REQUIRES: an open transaction.
    void SetResults(const ORQSimPosition& results) const;

    ORQSimPosition GetComponentCollection() const;
    ORQSimPosition GetDofTypeCollection() const;
    ORQSimPosition GetElementSpecCollection() const;
    ORQSimPosition GetMaterialCollection() const;
    ORQSimPosition GetPointCollection() const;

    /// The object at a member number, null when there is none.
    ORQSimPosition GetRecord(const ORQSimCollectionID& collection, int member) const;
    /// A symbol by name; null when there is none and for the empty name.
    ORQSimDynamicID GetSymbol(int type, const ORQString& name,
                              const ORQSimCollectionID& collection) const;
    /// The member number of an object in the collection it belongs to, -1 when it is in none.
    int GetCMemberIndex(const ORQSimPosition& object) const;

    /// New objects; see ORQSimPosition and ORQSimContext. REQUIRES: an open transaction.
    ORQSimDataRecord CreateDataRecord(int type) const;
    ORQSimDistributionID CreateDistribution(const ORQSimGrid& grid, const ORQSimRangeType& range,
                                            ORQSimTypeID type) const;
    ORQSimPosition CreateTypedDistribution(const ORQSimGrid& grid, int type,
                                           const ORQSimRangeType& range) const;

  private:
    ORQSimPosition Library(int slot) const;

    ORQSimDatabase m_database;
};
