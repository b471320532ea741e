#include "ORQSrvSymbolCollection.h"

#include "ORQObjDocument.h"
#include "ORQSimCollection.h"
#include "ORQSimSymbols.h"

ORQSrvSymbolCollection::ORQSrvSymbolCollection(const ORQSimPosition& collection, int type)
    : m_collection(collection.GetCollection()), m_type(type) {}

int ORQSrvSymbolCollection::NumPlaces() const {
    return ORQSimCollection(m_collection).Space();
}

ORQSimPosition ORQSrvSymbolCollection::GetSymbol(int place) const {
    return ORQSimSymbols(m_collection.ContextID()).Get(m_type, place, m_collection);
}

ORQSimPosition ORQSrvSymbolCollection::GetSymbol(const ORQString& name) const {
    return ORQObjDocument(ORQSimPosition(m_collection))
        .GetSymbol(m_type.Index(), name, m_collection);
}

ORQString ORQSrvSymbolCollection::GetName(int place) const {
    return GetSymbol(place).GetSymbolName();
}

int ORQSrvSymbolCollection::GetPlace(const ORQString& name) const {
    return GetSymbol(name).GetSymbolPosition();
}

ORQSimArray<ORQString> ORQSrvSymbolCollection::GetNames() const {
    ORQSimArray<ORQString> names(NumPlaces());
    for (int place = 0; place < names.Size(); ++place) {
        names.Get(place) = GetName(place);
    }
    return names;
}
