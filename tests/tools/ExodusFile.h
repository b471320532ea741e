#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace exodus_file {

/// What a small test file shall hold; written without any check, so that it can be wrong on
/// purpose.
struct Content {
    std::string title = "four nodes";
    int dimension = 3;
    std::vector<double> x = {0.5, 1.5, 2.5, 3.5};
    std::vector<double> y = {-0.25, -1.25, -2.25, -3.25};
    std::vector<double> z = {10, 11, 12, 13};
    // Also the node count, which may differ from the coordinates that are written.
    std::optional<std::int64_t> claimed_nodes;
    std::vector<std::int64_t> labels = {40, 10, 30, 20};  // None when empty.
    bool is_hdf5 = false;
    bool is_single_precision = false;
    bool has_coordinates = true;
};

void Write(const Content& content, const std::filesystem::path& file);

/// The elements of a block and the like, as the Exodus library itself gives them.
struct Block {
    std::int64_t id;
    std::string name;
    std::string shape;
    std::vector<std::vector<int>> elements;  // Node ordinals from 0.
    std::vector<int> labels;
    bool operator==(const Block&) const = default;
};

struct Set {
    std::int64_t id;
    std::string name;
    std::vector<int> members;  // Nodes, or elements of sides, from 0.
    std::vector<int> sides;    // From 1; empty in a node set.
    bool operator==(const Set&) const = default;
};

struct Mesh {
    std::string title;
    std::vector<std::vector<double>> positions;
    std::vector<int> labels;
    std::vector<Block> blocks;
    std::vector<Set> node_sets;
    std::vector<Set> side_sets;
};

/// Reads a whole 3D file with whole-array calls, independently of the reader under test.
Mesh Read(const std::filesystem::path& file);

/// A folder of its own for one test, removed with everything in it at the end.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

}  // namespace exodus_file
