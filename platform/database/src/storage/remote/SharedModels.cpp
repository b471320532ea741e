#include "../SharedModels.h"

#include <utility>

#include "ORQBasFailure.h"
#include "RemoteCache.h"

namespace orq::storage {

namespace {

Head HeadOfModel(RemoteStore& store, const ModelUrl& url) {
    const std::optional<Head> head = store.GetHead();
    if (!head) {
        throw ORQBasFailure(ORQBasFailureKind::Io, url.Text() + ": the store has no such model");
    }
    return *head;
}

// Finds pieces that no state from this one on reads: what is named later was written later, or is
// named by this one.
std::vector<RemoteStore::PieceKey> FindUnneeded(RemoteStore& store, Engine& oldest) {
    const std::vector<BulkFile::Place> places = oldest.ChunkPlaces();
    const std::vector<BulkFile::Place> needed = Meet(places, places);
    std::vector<RemoteStore::PieceKey> unneeded;
    auto next = needed.begin();
    for (const RemoteStore::PieceKey& piece :
         store.ListPieces(oldest.GetIdentity(), oldest.Generation())) {
        while (next != needed.end() && next->offset + next->size <= piece.place) {
            ++next;
        }
        if (next == needed.end() || next->offset >= piece.place + piece.size) {
            unneeded.push_back(piece);
        }
    }
    return unneeded;
}

}  // namespace

std::vector<std::string> PrepareStore(const std::string& url) {
    return RemoteStore::Open(ModelUrl::Parse(url, true))->Prepare();
}

bool HasModel(const std::string& url) {
    const ModelUrl parsed = ModelUrl::Parse(url);
    return RemoteStore::Open(parsed)->GetHead().has_value();
}

std::string NameOfModel(const std::string& url) {
    return ModelUrl::Parse(url).model;
}

std::vector<SharedState> ListStates(const std::string& url) {
    const ModelUrl parsed = ModelUrl::Parse(url);
    const auto store = RemoteStore::Open(parsed);
    std::vector<SharedState> states;
    for (LogEntry& entry : store->GetLog(HeadOfModel(*store, parsed).identity)) {
        states.push_back({entry.generation, std::move(entry.time), entry.ageSeconds,
                          std::move(entry.who), std::move(entry.summary), entry.changesetBytes,
                          entry.pieceBytes});
    }
    return states;
}

std::int64_t DropStatesBefore(const std::string& url, std::int64_t oldest) {
    const ModelUrl parsed = ModelUrl::Parse(url);
    const auto store = RemoteStore::Open(parsed);
    const Head head = HeadOfModel(*store, parsed);
    if (oldest <= head.oldest) {
        return 0;
    }
    if (oldest > head.generation) {
        ORQBasThrowUsage(parsed.Text() + ": the newest state is " +
                         std::to_string(head.generation) + ", and is always kept");
    }
    const RemoteCache::Opened slot = RemoteCache(parsed).OpenForReading(*store, head, {oldest});
    // Before anything is dropped: from here on the state needs none of those before it.
    store->PutBase(head.identity, oldest, slot.engine->CatalogueImage());
    const std::vector<RemoteStore::PieceKey> unneeded = FindUnneeded(*store, *slot.engine);
    store->DropBefore(head.identity, oldest, unneeded);
    return static_cast<std::int64_t>(unneeded.size());
}

}  // namespace orq::storage
