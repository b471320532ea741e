#include "ORQSimSymbols.h"

#include <string>

#include "DatabaseState.h"
#include "ORQBasFailure.h"

using orq::database::DatabaseState;
using orq::storage::Index;
using orq::storage::SymbolRow;

ORQSimDynamicID ORQSimSymbols::Get(ORQSimTypeID type, int place,
                                   const ORQSimCollectionID& collection) const {
    DatabaseState* state = DatabaseState::Reading(collection);
    if (state == nullptr) {
        return {};
    }
    auto row = state->Rows().Find<SymbolRow>(collection.MinorID(), type.Index(), place);
    return row.Next() ? state->Objects().Find(row->object) : ORQSimDynamicID();
}

ORQSimDynamicID ORQSimSymbols::Find(ORQSimTypeID type, const ORQString& name,
                                    const ORQSimCollectionID& collection) const {
    DatabaseState* state = DatabaseState::Reading(collection);
    if (state == nullptr || name.IsEmpty()) {
        return {};
    }
    auto row = state->Rows().FindBy<Index::SymbolByName>(collection.MinorID(), type.Index(),
                                                         std::string_view(name.UTF8()));
    return row.Next() ? state->Objects().Find(row->object) : ORQSimDynamicID();
}

int ORQSimSymbols::Get(const ORQSimDynamicID& symbol) const {
    DatabaseState* state = DatabaseState::Reading(symbol);
    if (state == nullptr || symbol.Category() != ORQSimCategoryRecord) {
        return -1;
    }
    auto row = state->Rows().FindBy<Index::SymbolByObject>(symbol.MinorID());
    return row.Next() ? row->place : -1;
}

bool ORQSimSymbols::IsMember(const ORQSimDynamicID& symbol) const {
    return symbol.ContextID() == m_context && Get(symbol) >= 0;
}

ORQSimDynamicID ORQSimSymbols::Create(ORQSimTypeID type, int place, const ORQString& name,
                                      const ORQSimCollectionID& collection) const {
    DatabaseState& state = DatabaseState::Writing(collection);
    if (place < 0 || !Find(type, name, collection).IsNull() ||
        !Get(type, place, collection).IsNull()) {
        ORQBasThrowUsage("place " + std::to_string(place) + " or name \"" + name.UTF8() +
                         "\" of a symbol is taken or below 0");
    }
    const ORQSimDynamicID id = state.Objects().New(type.Index(), ORQSimCategoryRecord);
    state.Rows().Insert(
        SymbolRow{collection.MinorID(), type.Index(), place, name.UTF8(), id.MinorID()});
    return id;
}
