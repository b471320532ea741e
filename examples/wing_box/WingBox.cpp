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
    Part(int id, const std::string& name, int first_label)
        : quadrilaterals_{id, name, {}},
          triangles_{id + 1, name + "_tri", {}},
          next_label_(first_label) {}

    void Add(std::vector<int> nodes) {
        auto& block = nodes.size() == 4 ? quadrilaterals_ : triangles_;
        block.elements.push_back({next_label_++, std::move(nodes)});
    }

    void MoveBlocksTo(std::vector<Block>& blocks) {
        for (auto* block : {&quadrilaterals_, &triangles_})
            if (!block->elements.empty())
                blocks.push_back(std::move(*block));
    }

  private:
    Block quadrilaterals_;
    Block triangles_;
    int next_label_;
};

class Builder {
  public:
    Mesh Build() {
        mesh_.title = "Composite wing box, lengths in metres";
        AddSkin({10, "skin_upper", 10001}, kRows);
        AddSkin({20, "skin_lower", 20001}, 0);
        AddSpar({30, "spar_front", 40001}, 0);
        AddSpar({40, "spar_rear", 30001}, kColumns);
        AddRibs({50, "ribs", 60001});
        AddStringers({60, "stringers", 50001});
        AddNodeSets();
        AddSideSets();
        return std::move(mesh_);
    }

  private:
    int NodeAt(const LatticePoint& place) {
        const auto [found, is_new] =
            ordinals_.try_emplace(place, static_cast<int>(mesh_.nodes.size()));
        if (is_new)
            mesh_.nodes.push_back({place, PositionOf(place), LabelOf(place)});
        return found->second;
    }

    void AddElement(Part& part, std::initializer_list<LatticePoint> corners) {
        std::vector<int> nodes;
        for (const auto& corner : corners)
            nodes.push_back(NodeAt(corner));
        part.Add(std::move(nodes));
    }

    /// Both skins point out of the box: up at the upper row, down at the lower.
    void AddSkin(Part part, int row) {
        for (int station = 0; station < kStations; ++station) {
            if (station == kTransition)
                AddTransitionStrip(part, row);
            else
                AddSkinStrip(part, row, station);
        }
        part.MoveBlocksTo(mesh_.blocks);
    }

    void AddSkinStrip(Part& part, int row, int station) {
        const int step = ColumnStep(station);
        for (int column = 0; column < kColumns; column += step) {
            const LatticePoint inboard_front{column, station, row};
            const LatticePoint inboard_rear{column + step, station, row};
            const LatticePoint outboard_rear{column + step, station + 1, row};
            const LatticePoint outboard_front{column, station + 1, row};
            if (row == kRows)
                AddElement(part, {inboard_front, inboard_rear, outboard_rear, outboard_front});
            else
                AddElement(part, {inboard_front, outboard_front, outboard_rear, inboard_rear});
        }
    }

    /// Two cells inboard meet one cell outboard in three triangles.
    void AddTransitionStrip(Part& part, int row) {
        for (int column = 0; column < kColumns; column += kCoarseStep) {
            const LatticePoint front{column, kTransition, row};
            const LatticePoint middle{column + 1, kTransition, row};
            const LatticePoint rear{column + kCoarseStep, kTransition, row};
            const LatticePoint outboard_front{column, kTransition + 1, row};
            const LatticePoint outboard_rear{column + kCoarseStep, kTransition + 1, row};
            if (row == kRows) {
                AddElement(part, {front, middle, outboard_front});
                AddElement(part, {middle, outboard_rear, outboard_front});
                AddElement(part, {middle, rear, outboard_rear});
            } else {
                AddElement(part, {front, outboard_front, middle});
                AddElement(part, {middle, outboard_front, outboard_rear});
                AddElement(part, {middle, outboard_rear, rear});
            }
        }
    }

    /// The front spar points forward, the rear spar aft.
    void AddSpar(Part part, int column) {
        for (int station = 0; station < kStations; ++station)
            for (int row = 0; row < kRows; ++row)
                AddUpright(part, column, station, row, column != 0);
        part.MoveBlocksTo(mesh_.blocks);
    }

    /// A cell along the span; its normal points aft or forward.
    void AddUpright(Part& part, int column, int station, int row, bool points_aft) {
        const LatticePoint inboard_low{column, station, row};
        const LatticePoint outboard_low{column, station + 1, row};
        const LatticePoint outboard_high{column, station + 1, row + 1};
        const LatticePoint inboard_high{column, station, row + 1};
        if (points_aft)
            AddElement(part, {inboard_low, outboard_low, outboard_high, inboard_high});
        else
            AddElement(part, {inboard_low, inboard_high, outboard_high, outboard_low});
    }

    /// Ribs point outboard. All but the root and tip rib have two lightening holes.
    void AddRibs(Part part) {
        for (int station = 0; station <= kStations; station += kRibPitch) {
            const bool has_holes = station != 0 && station != kStations;
            const int step = ColumnStep(station);
            for (int column = 0; column < kColumns; column += step)
                for (int row = 0; row < kRows; ++row)
                    AddRibCell(part, {column, station, row}, step, has_holes);
        }
        part.MoveBlocksTo(mesh_.blocks);
    }

    /// A hole covers four columns and four rows. Its corner cells keep the half away from the
    /// middle.
    void AddRibCell(Part& part, const LatticePoint& front_low, int step, bool has_holes) {
        constexpr int kHoleWidth = 4;
        const auto [column, station, row] = front_low;
        const LatticePoint front_high{column, station, row + 1};
        const LatticePoint rear_high{column + step, station, row + 1};
        const LatticePoint rear_low{column + step, station, row};

        const bool is_front_hole = column >= 2 && column < 2 + kHoleWidth;
        const bool is_rear_hole = column >= 10 && column < 10 + kHoleWidth;
        const bool is_in_hole =
            has_holes && (is_front_hole || is_rear_hole) && row >= 1 && row < kRows - 1;
        if (!is_in_hole)
            return AddElement(part, {front_low, front_high, rear_high, rear_low});

        const int hole_column = column - (is_front_hole ? 2 : 10);
        const bool is_front = hole_column == 0;
        const bool is_rear = hole_column + step == kHoleWidth;
        const bool is_low = row == 1;
        const bool is_high = row == kRows - 2;
        if (is_front && is_low)
            AddElement(part, {front_low, front_high, rear_low});
        else if (is_front && is_high)
            AddElement(part, {front_low, front_high, rear_high});
        else if (is_rear && is_high)
            AddElement(part, {front_high, rear_high, rear_low});
        else if (is_rear && is_low)
            AddElement(part, {front_low, rear_high, rear_low});
    }

    /// Blades one row high along the inside of both skins, pointing aft.
    void AddStringers(Part part) {
        for (const int row : {kRows - 1, 0})
            for (int column = kStringerPitch; column < kColumns; column += kStringerPitch)
                for (int station = 0; station < kStations; ++station)
                    AddUpright(part, column, station, row, true);
        part.MoveBlocksTo(mesh_.blocks);
    }

    template <typename Accept>
    void AddNodeSet(int id, const std::string& name, const Accept& accept) {
        NodeSet set{id, name, {}};
        for (std::size_t node = 0; node < mesh_.nodes.size(); ++node)
            if (accept(mesh_.nodes[node].place))
                set.nodes.push_back(static_cast<int>(node));
        mesh_.node_sets.push_back(std::move(set));
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
                    const AddSides& add_sides) {
        SideSet set{id, name, {}};
        int ordinal = 0;
        for (const auto& block : mesh_.blocks) {
            bool is_wanted = false;
            for (const auto& part : parts)
                is_wanted = is_wanted || block.name == part || block.name == part + "_tri";
            for (const auto& element : block.elements) {
                if (is_wanted)
                    add_sides(element, ordinal, set.sides);
                ++ordinal;
            }
        }
        mesh_.side_sets.push_back(std::move(set));
    }

    void AddSideSets() {
        const auto outer_face = [](const Element&, int ordinal, std::vector<Side>& sides) {
            sides.push_back({ordinal, 1});
        };
        const auto root_edges = [this](const Element& element, int ordinal,
                                       std::vector<Side>& sides) {
            const auto count = element.nodes.size();
            for (std::size_t from = 0; from < count; ++from)
                if (IsAtRoot(element.nodes[from]) && IsAtRoot(element.nodes[(from + 1) % count]))
                    sides.push_back({ordinal, 3 + static_cast<int>(from)});
        };
        AddSideSet(15, "upper_skin_outer", {"skin_upper"}, outer_face);
        AddSideSet(25, "lower_skin_outer", {"skin_lower"}, outer_face);
        AddSideSet(100, "root_edge", {"skin_upper", "skin_lower", "spar_front", "spar_rear"},
                   root_edges);
    }

    bool IsAtRoot(int node) const {
        return mesh_.nodes[static_cast<std::size_t>(node)].place.station == 0;
    }

    Mesh mesh_;
    std::map<LatticePoint, int> ordinals_;
};

}  // namespace

Mesh Build() {
    return Builder().Build();
}

}  // namespace wing_box
