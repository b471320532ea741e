#include "SqlitePeer.h"

#include "ORQSimDatabase.h"

namespace storage_benchmark {

std::unique_ptr<Sqlite> LikeCatalogue(const Settings& settings) {
    const std::filesystem::path model = settings.directory / "shape.orq";
    std::filesystem::remove_all(model);
    ORQSimDatabase::Create(model.string()).Close();
    const std::filesystem::path path = settings.directory / "peer.sqlite";
    for (const char* suffix : {"", "-wal", "-shm"}) {
        std::filesystem::remove(path.string() + suffix);
    }
    auto peer = std::make_unique<Sqlite>(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    peer->Execute(
        "PRAGMA page_size = 2048; PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;"
        "PRAGMA cache_size = -16384; PRAGMA temp_store = MEMORY");
    Sqlite catalogue(model / "catalogue.sqlite", SQLITE_OPEN_READONLY);
    Statement shapes(catalogue, "SELECT sql FROM sqlite_master WHERE sql IS NOT NULL");
    while (shapes.Step()) {
        peer->Execute(shapes.Text(0));
    }
    return peer;
}

}  // namespace storage_benchmark
