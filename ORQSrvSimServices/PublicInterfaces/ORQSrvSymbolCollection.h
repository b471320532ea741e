#pragma once

#include "ORQBasExport.h"
#include "ORQSimArray.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// The symbols of one type in a collection, by place and by name: degrees of freedom, components,
/// element specs. Places run from 0 to NumPlaces() - 1; not each has a symbol. Example, the
/// component collection:
///
///   place          0    1     2    ...  12   ...
///   name         "C_1" "C_11"  ""       "C_2"
///
/// Keeps nothing: each call is one lookup in the database, and sees its changes.
class ORQ_EXPORT ORQSrvSymbolCollection {
  public:
    /// `collection` is the collection, `type` the fragment type of its symbols. A null collection
    /// has no places.
    ORQSrvSymbolCollection(const ORQSimPosition& collection, int type);

    int NumPlaces() const;
    /// Null where there is none.
    ORQSimPosition GetSymbol(int place) const;
    ORQSimPosition GetSymbol(const ORQString& name) const;
    /// Empty where there is no symbol.
    ORQString GetName(int place) const;
    /// -1 when there is no symbol of the name.
    int GetPlace(const ORQString& name) const;
    /// The names by place, empty where there is no symbol.
    ORQSimArray<ORQString> GetNames() const;

  private:
    ORQSimCollectionID m_collection;
    ORQSimTypeID m_type;
};
