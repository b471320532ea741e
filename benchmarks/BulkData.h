// One large array that is moved to files and back: its source, where it is read to, and the plain
// file that shows what the system can do with the same bytes.
#pragma once

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Harness.h"
#include "PlainFile.h"

namespace storage_benchmark {

template <class T>
struct BulkData {
    BulkData(const Settings& settings, std::vector<T> source)
        : plain(settings.directory / "plain.bin"),
          values(std::move(source)),
          target(values.size()) {}

    std::span<const std::byte> Bytes() const { return std::as_bytes(std::span(values)); }
    // What a read did not fill is found out: no number that is stored has these bytes.
    void ClearTarget() { std::memset(target.data(), 0xFF, target.size() * sizeof(T)); }
    void CheckTarget() const {
        Require(std::memcmp(target.data(), values.data(), Bytes().size()) == 0,
                "what was read is not what was written");
    }
    void CopyFrom(const MappedFile& map) { map.CopyTo(std::as_writable_bytes(std::span(target))); }

    Contender Writing(const std::string& name, std::function<void()> prepare,
                      std::function<void()> run, std::function<void()> check) {
        return {name,
                [this, prepare = std::move(prepare)] {
                    prepare();
                    LeaveRoomToWrite(plain.parent_path(), Bytes().size());
                },
                std::move(run), std::move(check)};
    }
    Contender Reading(const std::string& name, std::function<void()> run) {
        return {name, [this] { ClearTarget(); }, std::move(run), [this] { CheckTarget(); }};
    }
    Contender ReadingFreshMap() {
        return Reading("fresh map", [this] { CopyFrom(MappedFile(plain)); });
    }
    // Reads a store again through a new handle and compares.
    template <class Store>
    void CheckStored(const std::filesystem::path& path) {
        ClearTarget();
        Store(path).Read(target);
        CheckTarget();
    }
    void CheckPlain() {
        ClearTarget();
        CopyFrom(MappedFile(plain));
        CheckTarget();
    }

    std::filesystem::path plain;
    std::vector<T> values;
    std::vector<T> target;
};

}  // namespace storage_benchmark
