// What stores of shared models can be asked for beside the models themselves; part of the seam.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orq::storage {

/// One state of a model in a store.
struct SharedState {
    std::int64_t generation = 0;
    std::string time;  // of its commit, by the store's clock
    std::int64_t ageSeconds = 0;
    std::string who;
    std::string summary;  // the rows that it changed, by table
    std::int64_t changesetBytes = 0;
    std::int64_t pieceBytes = 0;
};

/// Makes what a store needs to hold models; returns what could not be made and is not needed.
std::vector<std::string> PrepareStore(const std::string& url);
bool HasModel(const std::string& url);
/// The name of the model that a URL means, without asking the store.
std::string NameOfModel(const std::string& url);
/// The states of a model that can be read, newest first.
std::vector<SharedState> ListStates(const std::string& url);
/// Drops the states before one, and the pieces that only they need. Returns how many pieces.
std::int64_t DropStatesBefore(const std::string& url, std::int64_t oldest);

}  // namespace orq::storage
