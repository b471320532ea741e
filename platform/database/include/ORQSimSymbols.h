#pragma once

#include "ORQBasExport.h"
#include "ORQSimIDs.h"
#include "ORQString.h"

/// Symbols of one open database: records with a fixed place and a name in a collection. A handle;
/// each call is one lookup by key or index. Throws ORQBasFailure: Usage when the database is
/// closed, Damaged or Io when the catalogue cannot be read.
class ORQ_EXPORT ORQSimSymbols {
  public:
    explicit ORQSimSymbols(ORQSimContextID context) : m_context(context) {}

    /// The symbol of a type at a place in a collection, null when there is none.
    ORQSimDynamicID Get(ORQSimTypeID type, int place, const ORQSimCollectionID& collection) const;
    /// The same by name; the empty name finds nothing.
    ORQSimDynamicID Find(ORQSimTypeID type, const ORQString& name,
                         const ORQSimCollectionID& collection) const;
    /// The place of a symbol, -1 for an object that is none.
    int Get(const ORQSimDynamicID& symbol) const;
    bool IsMember(const ORQSimDynamicID& symbol) const;
    /// Makes a symbol record. REQUIRES: an open transaction. Throws Usage when the place or the
    /// name is taken.
    ORQSimDynamicID Create(ORQSimTypeID type, int place, const ORQString& name,
                           const ORQSimCollectionID& collection) const;

  private:
    ORQSimContextID m_context;
};
