#include "Store.h"

#include <algorithm>
#include <filesystem>

#include "Engine.h"

namespace orq::storage {

// Every name is that of a directory so far.

void Store::Build(const std::string& name, FirstContent content, const Filling& fill) {
    Engine::Build(name, content, fill);
}

std::unique_ptr<Store> Store::Create(const std::string& name, FirstContent content) {
    Build(name, content, [](std::unique_ptr<Store> made) { made.reset(); });
    return Open(name, true);
}

std::unique_ptr<Store> Store::CreateInMemory(FirstContent content) {
    return Engine::CreateInMemory(content);
}

std::unique_ptr<Store> Store::Open(const std::string& name, bool writable) {
    return Engine::Open(name, writable);
}

std::vector<std::string> Store::FindForeignFiles(const std::string& directory) {
    const std::string catalogue = CataloguePath("");  // "/" and the file's name
    const std::string ours[] = {catalogue, catalogue + "-wal", catalogue + "-shm", BulkPath(""),
                                LockPath("")};
    std::vector<std::string> foreign;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const std::string file = entry.path().filename().string();
        if (std::ranges::find(ours, "/" + file) == std::end(ours)) {
            foreign.push_back(file);
        }
    }
    std::ranges::sort(foreign);
    return foreign;
}

}  // namespace orq::storage
