#include <algorithm>
#include <cmath>
#include <limits>

#include "queries/LabelBlocks.h"
#include "queries/MemberRange.h"
#include "queries/RowSource.h"

namespace orqmodel {
namespace {

class Coordinates : public RowSource {
  public:
    Coordinates(const ORQExcModel& model, const ORQSimCSet& nodes)
        : m_model(model), m_nodes(nodes) {
        for (int axis = 0; axis < model.Dimension(); ++axis) {
            m_columns.push_back({std::string(1, "xyz"[axis])});
        }
    }

    RowPlace Place() const override { return RowPlace::Node; }
    const std::vector<Column>& Columns() const override { return m_columns; }
    bool Next(RowBlock& block) override {
        if (m_at >= m_nodes.Size()) {
            return false;
        }
        const int end = std::min(m_nodes.Size(), m_at + kRowsAtOnce);
        block.members = MembersAt(m_nodes, m_at, end);
        block.values.resize(block.NumRows() * m_columns.size());
        m_model.ReadCoordinates(block.members, block.values);
        m_at = end;
        return true;
    }
    double Done() const override { return static_cast<double>(m_at) / m_nodes.Size(); }

  private:
    const ORQExcModel& m_model;
    ORQSimCSet m_nodes;
    std::vector<Column> m_columns;
    int m_at = 0;
};

class Connectivity : public RowSource {
  public:
    Connectivity(const ORQExcModel& model, const ORQSimCSet& elements)
        : m_parts(model, elements), m_labels(model.Document(), ORQObjLabelerType::Node) {
        // All shapes share one table, as wide as the largest; cells that a shape does not need stay
        // empty.
        int most = 0;
        for (const ORQExcModel::Block& block : m_parts.Blocks()) {
            most = std::max(most, block.shape->nNodes);
        }
        for (int node = 1; node <= most; ++node) {
            m_columns.push_back({"node " + std::to_string(node), true});
        }
    }

    RowPlace Place() const override { return RowPlace::Element; }
    const std::vector<Column>& Columns() const override { return m_columns; }
    bool Next(RowBlock& block) override {
        const ElementParts::Part* const part = m_parts.Next(kRowsAtOnce);
        if (part == nullptr) {
            return false;
        }
        block.members = part->elements;
        block.shape = part->block->shape->name;
        block.values.assign(block.NumRows() * m_columns.size(),
                            std::numeric_limits<double>::quiet_NaN());
        const std::vector<int> labels = m_labels.LabelsOf(part->nodes);
        const auto nNodes = static_cast<std::size_t>(part->block->shape->nNodes);
        for (std::size_t i = 0; i < labels.size(); ++i) {
            // A node without a label leaves its cell empty.
            if (labels[i] != 0) {
                block.values[i / nNodes * m_columns.size() + i % nNodes] = labels[i];
            }
        }
        return true;
    }
    double Done() const override { return m_parts.Done(); }

  private:
    ElementParts m_parts;
    LabelBlocks m_labels;
    std::vector<Column> m_columns;
};

}  // namespace

std::unique_ptr<RowSource> CoordinateRows(const ORQExcModel& model, const ORQSimCSet& nodes) {
    return std::make_unique<Coordinates>(model, nodes);
}

std::unique_ptr<RowSource> ConnectivityRows(const ORQExcModel& model, const ORQSimCSet& elements) {
    return std::make_unique<Connectivity>(model, elements);
}

}  // namespace orqmodel
