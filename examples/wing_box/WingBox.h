#pragma once

#include <array>
#include <filesystem>
#include <string>
#include <vector>

/// The sample model: the box of a tapered, swept composite wing. Lengths are in metres; x points
/// aft, y outboard, z up.
///
/// All parts lie on one lattice of chord columns, span stations and height rows, so that parts that
/// touch share their nodes. Outboard of a transition strip only every second column is used.
namespace wing_box {

constexpr int kColumns = 16;         // Cells from the front spar to the rear spar.
constexpr int kStations = 64;        // Cells from the root to the tip.
constexpr int kRows = 6;             // Cells from the lower to the upper skin.
constexpr int kRibPitch = 8;         // Stations from one rib to the next; the first is at the root.
constexpr int kTransition = 40;      // The strip that halves the columns begins at this station.
constexpr int kCoarseStep = 2;       // Columns per cell outboard of the strip.
constexpr int kStringerPitch = 4;    // Columns from one stringer to the next.
constexpr int kFittingStation = 24;  // The rib that carries the pylon fitting.

/// A place on the lattice: 0 <= column <= kColumns and so on.
struct LatticePoint {
    int column;
    int station;
    int row;
    auto operator<=>(const LatticePoint&) const = default;
};

struct Node {
    LatticePoint place;
    std::array<double, 3> position;
    int label;
};

/// Three or four node ordinals from 0, ordered so that the normal points where the block says.
struct Element {
    int label;
    std::vector<int> nodes;
};

/// Elements of one part and one shape.
struct Block {
    int id;
    std::string name;
    std::vector<Element> elements;
};

struct NodeSet {
    int id;
    std::string name;
    std::vector<int> nodes;  // Ordinals from 0.
};

/// One side of an element, by its place in the concatenation of all blocks, from 0. Side 1 of a
/// shell is the face its normal points out of, side 2 the other, side 3 + n the edge from its node
/// n.
struct Side {
    int element;
    int side;
};

struct SideSet {
    int id;
    std::string name;
    std::vector<Side> sides;
};

struct Mesh {
    std::string title;
    std::vector<Node> nodes;
    std::vector<Block> blocks;
    std::vector<NodeSet> nodeSets;
    std::vector<SideSet> sideSets;
};

Mesh Build();

/// Writes the mesh as an Exodus II file, replacing one that is there. The bytes depend on the mesh
/// only. Throws std::runtime_error with the file and the failed step.
void Write(const Mesh& mesh, const std::filesystem::path& file);

/// Writes the layup file of the mesh, JSON: its layered sections, with the thickness of the upper
/// skin varying from element to element. Throws likewise.
void WriteLayup(const Mesh& mesh, const std::filesystem::path& file);

}  // namespace wing_box
