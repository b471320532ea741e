#include "Store.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "Engine.h"
#include "remote/RemoteEngine.h"

namespace orq::storage {

namespace {

std::string ListOf(const std::vector<std::int64_t>& objects) {
    std::string list;
    for (const std::int64_t object : objects) {
        list += (list.empty() ? "object " : ", object ") + std::to_string(object);
    }
    return list;
}

}  // namespace

ChangesMeet::ChangesMeet(std::string beginning, std::vector<std::int64_t> objects)
    : ORQBasFailure(ORQBasFailureKind::Busy, beginning + ListOf(objects)),
      m_beginning(std::move(beginning)),
      m_objects(std::move(objects)) {}

// A name is that of a directory, or a URL.

bool Store::IsRemote(std::string_view name) {
    return ModelUrl::IsUrl(name);
}

void Store::Build(const std::string& name, FirstContent content, const Filling& fill) {
    IsRemote(name) ? RemoteEngine::Build(name, content, fill) : Engine::Build(name, content, fill);
}

std::unique_ptr<Store> Store::Create(const std::string& name, FirstContent content) {
    Build(name, content, [](std::unique_ptr<Store> made) { made.reset(); });
    return Open(name, true);
}

std::unique_ptr<Store> Store::CreateInMemory(FirstContent content) {
    return Engine::CreateInMemory(content);
}

std::unique_ptr<Store> Store::Open(const std::string& name, bool writable) {
    if (IsRemote(name)) {
        return RemoteEngine::Open(name, writable);
    }
    return Engine::Open(name, writable);
}

void Store::Copy(Store& from, const std::string& name,
                 const std::function<void(double)>& progress) {
    IsRemote(name) ? RemoteEngine::Push(from, name, progress) : from.CopyTo(name, progress);
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
