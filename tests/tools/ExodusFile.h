#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace exodus_file {

/// A block of elements to be written; the lists may contradict each other.
struct BlockContent {
    std::int64_t id = 1;
    std::string name;
    std::string shape = "QUAD4";
    std::int64_t width = 4;           // Nodes of an element.
    std::vector<std::int64_t> nodes;  // From 1, [elements][width].
    std::optional<std::int64_t> claimedElements;
};

struct SetContent {
    std::int64_t id = 1;
    std::string name;
    std::vector<std::int64_t> members;  // From 1.
    std::vector<std::int64_t> sides;    // From 1; of a side set only.
};

/// What a small test file shall hold; written without any check, so that it can be wrong on
/// purpose.
struct Content {
    std::string title = "four nodes";
    int dimension = 3;
    std::vector<double> x = {0.5, 1.5, 2.5, 3.5};
    std::vector<double> y = {-0.25, -1.25, -2.25, -3.25};
    std::vector<double> z = {10, 11, 12, 13};
    // Also the node count, which may differ from the coordinates that are written.
    std::optional<std::int64_t> claimedNodes;
    std::vector<std::int64_t> labels = {40, 10, 30, 20};  // None when empty.
    std::vector<BlockContent> blocks;
    std::optional<std::int64_t> claimedElements;  // In all; else the sum of the blocks.
    std::vector<std::int64_t> elementLabels;      // None when empty.
    std::vector<SetContent> nodeSets;
    std::vector<SetContent> elementSets;
    std::vector<SetContent> sideSets;
    int longestName = 32;
    bool isHdf5 = false;
    bool isSinglePrecision = false;
    bool hasCoordinates = true;
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
    int dimension;
    std::string title;
    std::vector<std::vector<double>> positions;
    std::vector<int> labels;
    std::vector<Block> blocks;
    std::vector<Set> nodeSets;
    std::vector<Set> elementSets;
    std::vector<Set> sideSets;
};

/// Reads a whole file with whole-array calls, independently of the reader under test.
Mesh Read(const std::filesystem::path& file);

/// The results of a file as the Exodus library itself gives them, values as their bits.
struct Results {
    std::vector<double> times;
    std::vector<std::string> global;
    std::vector<std::string> nodal;
    std::vector<std::string> elemental;
    std::vector<int> truth;
    /// By variable, block (for elements) and time step from 1, for example "stress_xx 2 11".
    std::map<std::string, std::vector<std::uint64_t>> values;
    bool operator==(const Results&) const = default;
};
Results ReadResults(const std::filesystem::path& file);

/// An element variable: values of the elements of some blocks, by block and by time.
struct ElementVariable {
    std::string name;
    std::map<int, std::vector<std::vector<double>>> values;
};
/// Adds them to a file that has its mesh and no results, at the times 0, 1, ...
void AddElementResults(const std::filesystem::path& file,
                       const std::vector<ElementVariable>& variables);

/// A folder of its own for one test, removed with everything in it at the end.
/// Model databases that a test leaves in it verify clean, unless it says that it damages them.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    void HoldsDamage() { m_holdsDamage = true; }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

  private:
    std::filesystem::path m_path;
    bool m_holdsDamage = false;
};

}  // namespace exodus_file
