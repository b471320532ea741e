#include "ORQSimModelStore.h"

#include <utility>

#include "storage/SharedModels.h"
#include "storage/Store.h"

bool ORQSimModelStore::IsUrl(std::string_view name) {
    return orq::storage::Store::IsRemote(name);
}

std::vector<std::string> ORQSimModelStore::Prepare(const std::string& url) {
    return orq::storage::PrepareStore(url);
}

bool ORQSimModelStore::Has(const std::string& url) {
    return orq::storage::HasModel(url);
}

std::string ORQSimModelStore::NameOf(const std::string& url) {
    return orq::storage::NameOfModel(url);
}

std::vector<ORQSimModelStore::State> ORQSimModelStore::Log(const std::string& url) {
    std::vector<State> states;
    for (orq::storage::SharedState& state : orq::storage::ListStates(url)) {
        states.push_back({state.generation, std::move(state.time), state.ageSeconds,
                          std::move(state.who), std::move(state.summary), state.changesetBytes,
                          state.pieceBytes});
    }
    return states;
}

std::int64_t ORQSimModelStore::DropBefore(const std::string& url, std::int64_t generation) {
    return orq::storage::DropStatesBefore(url, generation);
}
