#include "WingBox.h"

#include <initializer_list>
#include <map>
#include <utility>

namespace wing_box {
namespace {

constexpr double kSpan = 7.2;
constexpr double kRootWidth = 1.8;  // Front spar to rear spar.
constexpr double kTipWidth = 0.72;
constexpr double kRootDepth = 0.38;  // Where the profile is 1.
constexpr double kTipDepth = 0.14;
constexpr double kSweep = 0.36;     // The front spar moves aft by this much per metre of span.
constexpr double kDihedral = 0.05;  // The middle plane rises by this much per metre of span.

double Between(double root, double tip, double fraction) {
    return root + (tip - root) * fraction;
}

/// Depth of the box along its width, 0 at the front spar and 1 at the rear spar, as a fraction.
double Profile(double across) {
    return 0.75 + 1.1 * across * (1 - across) - 0.15 * across;
}

std::array<double, 3> PositionOf(const LatticePoint& place) {
    const double outboard = static_cast<double>(place.station) / kStations;
    const double across = static_cast<double>(place.column) / kColumns;
    const double height = static_cast<double>(place.row) / kRows;
    const double y = kSpan * outboard;
    const double depth = Between(kRootDepth, kTipDepth, outboard) * Profile(across);
    return {kSweep * y + Between(kRootWidth, kTipWidth, outboard) * across, y,
            kDihedral * y + (height - 0.5) * depth};
}

/// Station, row and column can be read off the digits: 13405 is station 12, row 4, column 5.
int LabelOf(const LatticePoint& place) {
    return 1000 * (place.station + 1) + 100 * place.row + place.column;
}

int ColumnStep(int station) {
    return station <= kTransition ? 1 : kCoarseStep;
}

/// A part's quadrilaterals and triangles are numbered together, in the order in which they are
/// made.
class Part {
  public:
    Part(int id, const std::string& name, int firstLabel)
        : m_quadrilaterals{id, name, {}},
          m_triangles{id + 1, name + "_tri", {}},
          m_nextLabel(firstLabel) {}

    void Add(std::vector<int> nodes) {
        auto& block = nodes.size() == 4 ? m_quadrilaterals : m_triangles;
        block.elements.push_back({m_nextLabel++, std::move(nodes)});
    }

    void MoveBlocksTo(std::vector<Block>& blocks) {
        for (auto* block : {&m_quadrilaterals, &m_triangles}) {
            if (!block->elements.empty()) {
                blocks.push_back(std::move(*block));
            }
        }
    }

  private:
    Block m_quadrilaterals;
    Block m_triangles;
    int m_nextLabel;
};

class Builder {
  public:
    Mesh Build() {
        m_mesh.title = "Composite wing box, lengths in metres";
        AddSkin({10, "skin_upper", 10001}, kRows);
        AddSkin({20, "skin_lower", 20001}, 0);
        AddSpar({30, "spar_front", 40001}, 0);
        AddSpar({40, "spar_rear", 30001}, kColumns);
        AddRibs({50, "ribs", 60001});
        AddStringers({60, "stringers", 50001});
        AddNodeSets();
        AddSideSets();
        return std::move(m_mesh);
    }

  private:
    int NodeAt(const LatticePoint& place) {
        const auto [found, is_new] =
            m_ordinals.try_emplace(place, static_cast<int>(m_mesh.nodes.size()));
        if (is_new) {
            m_mesh.nodes.push_back({place, PositionOf(place), LabelOf(place)});
        }
        return found->second;
    }

    void AddElement(Part& part, std::initializer_list<LatticePoint> corners) {
        std::vector<int> nodes;
        for (const auto& corner : corners) {
            nodes.push_back(NodeAt(corner));
        }
        part.Add(std::move(nodes));
    }

    /// Both skins point out of the box: up at the upper row, down at the lower.
    void AddSkin(Part part, int row) {
        for (int station = 0; station < kStations; ++station) {
            if (station == kTransition) {
                AddTransitionStrip(part, row);
            } else {
                AddSkinStrip(part, row, station);
            }
        }
        part.MoveBlocksTo(m_mesh.blocks);
    }

    void AddSkinStrip(Part& part, int row, int station) {
        const int step = ColumnStep(station);
        for (int column = 0; column < kColumns; column += step) {
            const LatticePoint inboardFront{column, station, row};
            const LatticePoint inboardRear{column + step, station, row};
            const LatticePoint outboardRear{column + step, station + 1, row};
            const LatticePoint outboardFront{column, station + 1, row};
            if (row == kRows) {
                AddElement(part, {inboardFront, inboardRear, outboardRear, outboardFront});
            } else {
                AddElement(part, {inboardFront, outboardFront, outboardRear, inboardRear});
            }
        }
    }

    /// Two cells inboard meet one cell outboard in three triangles.
    void AddTransitionStrip(Part& part, int row) {
        for (int column = 0; column < kColumns; column += kCoarseStep) {
            const LatticePoint front{column, kTransition, row};
            const LatticePoint middle{column + 1, kTransition, row};
            const LatticePoint rear{column + kCoarseStep, kTransition, row};
            const LatticePoint outboardFront{column, kTransition + 1, row};
            const LatticePoint outboardRear{column + kCoarseStep, kTransition + 1, row};
            if (row == kRows) {
                AddElement(part, {front, middle, outboardFront});
                AddElement(part, {middle, outboardRear, outboardFront});
                AddElement(part, {middle, rear, outboardRear});
            } else {
                AddElement(part, {front, outboardFront, middle});
                AddElement(part, {middle, outboardFront, outboardRear});
                AddElement(part, {middle, outboardRear, rear});
            }
        }
    }

    /// The front spar points forward, the rear spar aft.
    void AddSpar(Part part, int column) {
        for (int station = 0; station < kStations; ++station) {
            for (int row = 0; row < kRows; ++row) {
                AddUpright(part, column, station, row, column != 0);
            }
        }
        part.MoveBlocksTo(m_mesh.blocks);
    }

    /// A cell along the span; its normal points aft or forward.
    void AddUpright(Part& part, int column, int station, int row, bool pointsAft) {
        const LatticePoint inboardLow{column, station, row};
        const LatticePoint outboardLow{column, station + 1, row};
        const LatticePoint outboardHigh{column, station + 1, row + 1};
        const LatticePoint inboardHigh{column, station, row + 1};
        if (pointsAft) {
            AddElement(part, {inboardLow, outboardLow, outboardHigh, inboardHigh});
        } else {
            AddElement(part, {inboardLow, inboardHigh, outboardHigh, outboardLow});
        }
    }

    /// Ribs point outboard. All but the root and tip rib have two lightening holes.
    void AddRibs(Part part) {
        for (int station = 0; station <= kStations; station += kRibPitch) {
            const bool hasHoles = station != 0 && station != kStations;
            const int step = ColumnStep(station);
            for (int column = 0; column < kColumns; column += step) {
                for (int row = 0; row < kRows; ++row) {
                    AddRibCell(part, {column, station, row}, step, hasHoles);
                }
            }
        }
        part.MoveBlocksTo(m_mesh.blocks);
    }

    /// A hole covers four columns and four rows. Its corner cells keep the half away from the
    /// middle.
    void AddRibCell(Part& part, const LatticePoint& frontLow, int step, bool hasHoles) {
        constexpr int kHoleWidth = 4;
        const auto [column, station, row] = frontLow;
        const LatticePoint frontHigh{column, station, row + 1};
        const LatticePoint rearHigh{column + step, station, row + 1};
        const LatticePoint rearLow{column + step, station, row};

        const bool isFrontHole = column >= 2 && column < 2 + kHoleWidth;
        const bool isRearHole = column >= 10 && column < 10 + kHoleWidth;
        const bool isInHole =
            hasHoles && (isFrontHole || isRearHole) && row >= 1 && row < kRows - 1;
        if (!isInHole) {
            return AddElement(part, {frontLow, frontHigh, rearHigh, rearLow});
        }

        const int holeColumn = column - (isFrontHole ? 2 : 10);
        const bool isFront = holeColumn == 0;
        const bool isRear = holeColumn + step == kHoleWidth;
        const bool isLow = row == 1;
        const bool isHigh = row == kRows - 2;
        if (isFront && isLow) {
            AddElement(part, {frontLow, frontHigh, rearLow});
        } else if (isFront && isHigh) {
            AddElement(part, {frontLow, frontHigh, rearHigh});
        } else if (isRear && isHigh) {
            AddElement(part, {frontHigh, rearHigh, rearLow});
        } else if (isRear && isLow) {
            AddElement(part, {frontLow, rearHigh, rearLow});
        }
    }

    /// Blades one row high along the inside of both skins, pointing aft.
    void AddStringers(Part part) {
        for (const int row : {kRows - 1, 0}) {
            for (int column = kStringerPitch; column < kColumns; column += kStringerPitch) {
                for (int station = 0; station < kStations; ++station) {
                    AddUpright(part, column, station, row, true);
                }
            }
        }
        part.MoveBlocksTo(m_mesh.blocks);
    }

    template <typename Accept>
    void AddNodeSet(int id, const std::string& name, const Accept& accept) {
        NodeSet set{id, name, {}};
        for (std::size_t node = 0; node < m_mesh.nodes.size(); ++node) {
            if (accept(m_mesh.nodes[node].place)) {
                set.nodes.push_back(static_cast<int>(node));
            }
        }
        m_mesh.nodeSets.push_back(std::move(set));
    }

    void AddNodeSets() {
        AddNodeSet(100, "root_clamp", [](const auto& place) { return place.station == 0; });
        AddNodeSet(200, "tip_rib", [](const auto& place) { return place.station == kStations; });
        AddNodeSet(310, "pylon_fitting", [](const auto& place) {
            return place.column == 0 && place.station >= kFittingStation - 1 &&
                   place.station <= kFittingStation + 1;
        });
    }

    template <typename AddSides>
    void AddSideSet(int id, const std::string& name, std::initializer_list<std::string> parts,
                    const AddSides& addSides) {
        SideSet set{id, name, {}};
        int ordinal = 0;
        for (const auto& block : m_mesh.blocks) {
            bool isWanted = false;
            for (const auto& part : parts) {
                isWanted = isWanted || block.name == part || block.name == part + "_tri";
            }
            for (const auto& element : block.elements) {
                if (isWanted) {
                    addSides(element, ordinal, set.sides);
                }
                ++ordinal;
            }
        }
        m_mesh.sideSets.push_back(std::move(set));
    }

    void AddSideSets() {
        const auto outerFace = [](const Element&, int ordinal, std::vector<Side>& sides) {
            sides.push_back({ordinal, 1});
        };
        const auto rootEdges = [this](const Element& element, int ordinal,
                                      std::vector<Side>& sides) {
            const auto count = element.nodes.size();
            for (std::size_t from = 0; from < count; ++from) {
                if (IsAtRoot(element.nodes[from]) && IsAtRoot(element.nodes[(from + 1) % count])) {
                    sides.push_back({ordinal, 3 + static_cast<int>(from)});
                }
            }
        };
        AddSideSet(15, "upper_skin_outer", {"skin_upper"}, outerFace);
        AddSideSet(25, "lower_skin_outer", {"skin_lower"}, outerFace);
        AddSideSet(100, "root_edge", {"skin_upper", "skin_lower", "spar_front", "spar_rear"},
                   rootEdges);
    }

    bool IsAtRoot(int node) const {
        return m_mesh.nodes[static_cast<std::size_t>(node)].place.station == 0;
    }

    Mesh m_mesh;
    std::map<LatticePoint, int> m_ordinals;
};

}  // namespace

Mesh Build() {
    return Builder().Build();
}

}  // namespace wing_box
