#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace exodus_file {

/// A mesh with its results by labels, so that it does not matter how a file orders them.
struct LabelledModel {
    struct Block {
        std::string name;
        std::string shape;
        std::map<int, std::vector<int>> elements;
        std::map<int, std::vector<double>> attributes;
        bool operator==(const Block&) const = default;
    };
    using Member = std::pair<int, int>;                    // label, and side
    using Values = std::map<std::pair<int, int>, double>;  // by step and label
    struct Set {
        std::string name;
        std::set<Member> members;
        std::map<Member, std::vector<double>> factors;
        std::map<std::string, std::map<Member, std::vector<double>>> variables;  // by name; by step
        bool operator==(const Set&) const = default;
    };
    using Sets = std::map<std::int64_t, Set>;

    std::map<int, std::vector<double>> nodes;
    std::map<std::int64_t, Block> blocks;
    std::map<int, Sets> sets;  // by the library's kind
    std::vector<double> times;
    std::map<std::string, Values> global;
    std::map<std::string, Values> nodal;
    std::map<std::string, Values> elemental;
    bool operator==(const LabelledModel&) const = default;
};

/// The keys of a map by labels, ascending.
template <class Map>
std::vector<int> Keys(const Map& map) {
    std::vector<int> keys;
    for (const auto& [key, value] : map) {
        keys.push_back(key);
    }
    return keys;
}

/// What an Exodus file has, read by the format's own library.
LabelledModel ReadLabelled(const std::filesystem::path& path);
/// Writes such a file, of 2 or 3 dimensions.
void WriteLabelled(const LabelledModel& model, int dimension, const std::filesystem::path& path);

}  // namespace exodus_file
