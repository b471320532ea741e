#include "formats/gmsh/GmshExport.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "formats/gmsh/GmshText.h"
#include "formats/gmsh/GmshTypes.h"
#include "formats/gmsh/GmshViews.h"
#include "model/ArrayNames.h"
#include "model/Numbering.h"

namespace orq::exchange {
namespace {

constexpr int kSlice = 1 << 16;  // nodes at a time; bounds the memory

/// Elements of one block that are in the same sets: a physical group consists of whole entities.
struct Entity {
    const ORQExcModel::Block* block;
    std::vector<int> groups;  ///< numbers of physical groups
    int tag;
    std::vector<int> elements;
    std::vector<int> rows;  ///< of the elements in their block
};

struct Group {
    int dimension;
    int number;
    std::string name;
};

class GmshFile {
  public:
    GmshFile(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
             ORQExcReport& report)
        : m_model(model),
          m_results(results),
          m_output(output),
          m_report(report),
          m_text(output.file),
          m_nodeLabels(model.NodeLabels()),
          m_elementLabels(model.ElementLabels()) {
        MakeLabelsUnique(m_nodeLabels, "node", report);
        MakeLabelsUnique(m_elementLabels, "element", report);
    }

    void Write() {
        m_text << "$MeshFormat\n4.1 0 8\n$EndMeshFormat\n";
        if (const std::string title = m_model.Title(); !title.empty()) {
            m_report.Drop("title", title, 1, "the format has no place for it");
        }
        m_text << "$Comments\n" << array_names::kViewsOfMesh << "\n$EndComments\n";
        CollectGroups();
        CollectEntities();
        WriteGroups();
        WriteEntities();
        WriteNodes();
        WriteElements();
        WriteGmshViews(m_model, m_results, {m_nodeLabels, m_elementLabels, m_blockOf}, m_output,
                       m_text, m_report);
        m_text.Close();
    }

  private:
    // --- Groups and entities ---------------------------------------------------------------------

    /// Adds a set to the groups. A physical group has one dimension, so a set is a group for each
    /// that its elements have.
    void AddToGroups(const std::string& name, const ORQSimCSet& members) {
        std::array<int, 4> numbers{};
        for (ORQSimCSetIterator element(members); !element.IsDone(); element.Next()) {
            const auto ordinal = static_cast<std::size_t>(element.CurrentValue());
            const int block = m_blockOf[ordinal];
            if (block < 0) {
                continue;
            }
            const int dimension =
                m_model.Blocks()[static_cast<std::size_t>(block)].shape->dimension;
            int& number = numbers[static_cast<std::size_t>(dimension)];
            if (number == 0) {
                number = ++m_nGroups;
                m_groups.push_back({dimension, number, name});
            }
            m_signatures[ordinal] = SignatureWith(m_signatures[ordinal], number);
        }
    }

    /// Returns the signature of an element that joins a group.
    int SignatureWith(int signature, int group) {
        const auto [place, isNew] =
            m_joined.try_emplace({signature, group}, static_cast<int>(m_groupsOfSignature.size()));
        if (isNew) {
            m_groupsOfSignature.push_back(m_groupsOfSignature[static_cast<std::size_t>(signature)]);
            m_groupsOfSignature.back().push_back(group);
        }
        return place->second;
    }

    void CollectGroups() {
        m_blockOf.assign(static_cast<std::size_t>(m_model.NumElements()), -1);
        m_signatures.assign(m_blockOf.size(), 0);
        m_groupsOfSignature.emplace_back();
        for (std::size_t i = 0; i < m_model.Blocks().size(); ++i) {
            const ORQExcModel::Block& block = m_model.Blocks()[i];
            if (!IsGmshShape(*block.shape)) {
                m_report.Drop("element block", block.name, block.elements.Size(),
                              fmt::format("Gmsh has no {}", block.shape->name));
                continue;
            }
            for (ORQSimCSetIterator element(block.elements); !element.IsDone(); element.Next()) {
                m_blockOf[static_cast<std::size_t>(element.CurrentValue())] = static_cast<int>(i);
            }
            m_nElements += block.elements.Size();
            AddToGroups(block.name, block.elements);
            m_report.Keep("element block", block.name, block.elements.Size());
        }
        for (const ORQExcModel::Set* set : m_model.ElementSetsBesideBlocks()) {
            AddToGroups(set->name, set->members);
            m_report.Keep("element set", set->name, set->members.Size());
        }
    }

    void CollectEntities() {
        std::array<Numbers, 4> tags;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            if (!IsGmshShape(*block.shape)) {
                continue;
            }
            std::map<int, std::size_t> placeOf;  // by signature
            int row = 0;
            for (ORQSimCSetIterator element(block.elements); !element.IsDone(); element.Next()) {
                const int ordinal = element.CurrentValue();
                const int signature = m_signatures[static_cast<std::size_t>(ordinal)];
                const auto [place, isNew] = placeOf.try_emplace(signature, m_entities.size());
                if (isNew) {
                    const auto dimension = static_cast<std::size_t>(block.shape->dimension);
                    m_entities.push_back({&block,
                                          m_groupsOfSignature[static_cast<std::size_t>(signature)],
                                          tags[dimension].Unique(block.number),
                                          {},
                                          {}});
                }
                m_entities[place->second].elements.push_back(ordinal);
                m_entities[place->second].rows.push_back(row++);
            }
        }
        m_signatures = {};
    }

    void WriteGroups() {
        m_text << "$PhysicalNames\n" << m_groups.size() << "\n";
        for (const Group& group : m_groups) {
            m_text << group.dimension << " " << group.number << " " << GmshQuoted(group.name)
                   << "\n";
        }
        m_text << "$EndPhysicalNames\n";
    }

    /// Writes the entities. Their bounds are for display only, so each has those of the model.
    /// Nodes lie on an entity too: all on the last one, which is made for them when there are no
    /// elements.
    void WriteEntities() {
        const std::array<double, 6> bounds = Bounds();
        std::array<int, 4> counts{};
        for (const Entity& entity : m_entities) {
            ++counts[static_cast<std::size_t>(entity.block->shape->dimension)];
        }
        if (m_entities.empty()) {
            counts[3] = 1;
        }
        m_text << "$Entities\n"
               << counts[0] << " " << counts[1] << " " << counts[2] << " " << counts[3] << "\n";
        for (int dimension = 0; dimension < 4; ++dimension) {
            for (const Entity& entity : m_entities) {
                if (entity.block->shape->dimension != dimension) {
                    continue;
                }
                m_text << entity.tag;
                for (std::size_t i = 0; i < (dimension == 0 ? 3 : bounds.size()); ++i) {
                    m_text << " " << bounds[i];
                }
                m_text << " " << entity.groups.size();
                for (const int group : entity.groups) {
                    m_text << " " << group;
                }
                m_text << (dimension == 0 ? "\n" : " 0\n");
            }
        }
        if (m_entities.empty()) {
            m_text << "1";
            for (const double bound : bounds) {
                m_text << " " << bound;
            }
            m_text << " 0 0\n";
        }
        m_text << "$EndEntities\n";
    }

    template <class F>
    void ForEachNode(F&& f) const {
        const auto dimension = static_cast<std::size_t>(m_model.Dimension());
        std::vector<double> values;
        for (int begin = 0; begin < m_model.NumNodes(); begin += kSlice) {
            const int end = std::min(begin + kSlice, m_model.NumNodes());
            values.resize(static_cast<std::size_t>(end - begin) * dimension);
            if (dimension > 0) {
                m_model.ReadCoordinates(begin, end, values);
            }
            for (int node = begin; node < end; ++node) {
                std::array<double, 3> point{};
                std::copy_n(
                    values.begin() + static_cast<std::ptrdiff_t>(
                                         static_cast<std::size_t>(node - begin) * dimension),
                    dimension, point.begin());
                f(point);
            }
        }
    }

    std::array<double, 6> Bounds() const {
        constexpr double kFar = std::numeric_limits<double>::max();
        std::array<double, 6> bounds = {kFar, kFar, kFar, -kFar, -kFar, -kFar};
        ForEachNode([&](const std::array<double, 3>& point) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                bounds[axis] = std::min(bounds[axis], point[axis]);
                bounds[axis + 3] = std::max(bounds[axis + 3], point[axis]);
            }
        });
        return m_model.NumNodes() == 0 ? std::array<double, 6>{} : bounds;
    }

    // --- Mesh ------------------------------------------------------------------------------------

    /// Writes the number of blocks and of objects, and the least and the greatest label.
    void WriteCounts(std::size_t nBlocks, std::int64_t count, const std::vector<int>& labels) {
        const auto [least, greatest] = std::ranges::minmax_element(labels);
        m_text << nBlocks << " " << count << " " << (labels.empty() ? 0 : *least) << " "
               << (labels.empty() ? 0 : *greatest) << "\n";
    }

    void WriteNodes() {
        m_text << "$Nodes\n";
        WriteCounts(1, m_model.NumNodes(), m_nodeLabels);
        const int dimension = m_entities.empty() ? 3 : m_entities.back().block->shape->dimension;
        m_text << dimension << " " << (m_entities.empty() ? 1 : m_entities.back().tag) << " 0 "
               << m_model.NumNodes() << "\n";
        for (const int label : m_nodeLabels) {
            m_text << label << "\n";
        }
        ForEachNode([&](const std::array<double, 3>& point) {
            m_text << point[0] << " " << point[1] << " " << point[2] << "\n";
        });
        m_text << "$EndNodes\n";
        m_report.Keep("nodes", "", m_model.NumNodes());
    }

    void WriteElements() {
        m_text << "$Elements\n";
        WriteCounts(m_entities.size(), m_nElements, m_elementLabels);
        const ORQExcModel::Block* read = nullptr;
        std::vector<int> nodes;
        for (const Entity& entity : m_entities) {
            // Entities of one block stand together, so its connectivity is read once.
            if (std::exchange(read, entity.block) != entity.block) {
                nodes.resize(static_cast<std::size_t>(entity.block->elements.Size()) *
                             static_cast<std::size_t>(entity.block->shape->nNodes));
                m_model.ReadConnectivity(*entity.block, 0, entity.block->elements.Size(), nodes);
            }
            WriteEntity(entity, nodes);
        }
        m_text << "$EndElements\n";
        std::int64_t nInBlocks = 0;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            nInBlocks += block.elements.Size();
        }
        if (const auto missing = m_model.NumElements() - nInBlocks; missing > 0) {
            m_report.Drop("elements", "", missing, "they are in no block");
        }
    }

    void WriteEntity(const Entity& entity, const std::vector<int>& nodes) {
        const ORQExcShape& shape = *entity.block->shape;
        const auto nNodes = static_cast<std::size_t>(shape.nNodes);
        m_text << shape.dimension << " " << entity.tag << " " << shape.gmshType << " "
               << entity.elements.size() << "\n";
        std::vector<int> inOrder(nNodes);
        for (std::size_t i = 0; i < entity.elements.size(); ++i) {
            const std::size_t first = static_cast<std::size_t>(entity.rows[i]) * nNodes;
            for (std::size_t k = 0; k < nNodes; ++k) {
                const std::size_t to =
                    shape.gmshOrder.empty() ? k : static_cast<std::size_t>(shape.gmshOrder[k]);
                inOrder[to] = nodes[first + k];
            }
            m_text << m_elementLabels[static_cast<std::size_t>(entity.elements[i])];
            for (const int node : inOrder) {
                m_text << " " << m_nodeLabels[static_cast<std::size_t>(node)];
            }
            m_text << "\n";
        }
    }

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    const Output& m_output;
    ORQExcReport& m_report;
    GmshText m_text;
    std::vector<int> m_nodeLabels;
    std::vector<int> m_elementLabels;
    std::vector<int> m_blockOf;  // by element; -1 for one that is not written
    // Which groups an element is in is a number, its signature, so that a model of millions of
    // elements costs 4 bytes for each.
    std::vector<int> m_signatures;
    std::vector<std::vector<int>> m_groupsOfSignature;
    std::map<std::pair<int, int>, int> m_joined;  // by signature and group
    std::vector<Group> m_groups;
    std::vector<Entity> m_entities;
    std::int64_t m_nElements = 0;
    int m_nGroups = 0;
};

}  // namespace

void WriteGmsh(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
               ORQExcReport& report) {
    GmshFile(model, results, output, report).Write();
}

}  // namespace orq::exchange
