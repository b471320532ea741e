#include "formats/gmsh/GmshReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <iterator>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "ORQExcImportError.h"
#include "files/WholeFile.h"
#include "formats/gmsh/GmshCursor.h"
#include "formats/gmsh/GmshMarkedParts.h"
#include "formats/gmsh/GmshTypes.h"
#include "model/ArrayNames.h"

namespace orq::exchange {
namespace {

struct EntityKey {
    int dimension;
    int tag;
    friend auto operator<=>(const EntityKey&, const EntityKey&) = default;
};

constexpr const char* kEntityNames[] = {"point", "curve", "surface", "volume"};

}  // namespace

class GmshReader::Parser {
  public:
    Parser(GmshReader& reader, const std::filesystem::path& file)
        : m_reader(reader), m_in(file, ReadWholeFile(file)) {}

    void Run() {
        ReadFormat();
        while (!m_in.AtEnd()) {
            const std::string section(m_in.Word());
            if (section.starts_with('$')) {
                ReadSection(section);
            } else {
                m_in.Line();  // no text of the format; its readers skip such lines
                ++m_unread["lines between sections"];
            }
        }
        if (!m_hasNodes) {
            m_in.EnterSection("$Nodes");
            m_in.Fail("the file has no nodes");
        }
        m_reader.m_contents.nNodes = static_cast<int>(m_reader.m_nodeLabels.size());
        Resolve();
        for (const auto& [type, count] : m_skipped) {
            m_reader.m_losses.Drop(
                "elements", fmt::format("type {}", type), count,
                fmt::format("a model has no shape for Gmsh's type {}{}", type,
                            GmshNodesOf(type) == 0
                                ? std::string()
                                : fmt::format(", which has {} nodes", GmshNodesOf(type))));
        }
        for (const auto& [kind, count] : m_unread) {
            m_reader.m_losses.Drop(kind, "", count, "not imported");
        }
    }

  private:
    struct RawBlock {
        EntityKey entity;
        const ORQExcShape* shape;
        std::vector<int> labels;
        std::vector<int> nodes;  // tags, in the file's order
    };

    void ReadFormat() {
        std::string_view first = m_in.Word();
        if (first == "$Comments" && m_in.SkipTo("$EndComments")) {
            first = m_in.Word();
        }
        if (first != "$MeshFormat") {
            m_in.Fail("is not a Gmsh mesh: it does not begin with $MeshFormat");
        }
        const std::string version(m_in.Word());
        const int isBinary = m_in.Text<int>();
        const int dataSize = m_in.Text<int>();
        m_isVersion40 = version == "4" || version == "4.0";
        m_isVersion4 = m_isVersion40 || version == "4.1";
        if (!m_isVersion4 && version != "2" && version != "2.0" && version != "2.1" &&
            version != "2.2") {
            m_in.Fail(
                fmt::format("version {} is not supported; 2 to 2.2, 4.0 and 4.1 are", version));
        }
        // The data size is that of counts in binary files of version 4; ASCII files do not use it.
        if ((isBinary == 1 && dataSize != 8) || isBinary < 0 || isBinary > 1) {
            m_in.Fail(
                fmt::format("file type {} with data size {} is not supported", isBinary, dataSize));
        }
        if (isBinary == 1) {
            m_in.SkipLineEnd();
            m_in.SetBinary(true, false);
            const int one = m_in.Raw<std::int32_t>();
            // The format has the number 1 here: swapped bytes show the other byte order.
            if (one != 1 && one != 0x01000000) {
                m_in.Fail("the byte order cannot be told");
            }
            m_in.SetBinary(true, one != 1);
        }
        End("$MeshFormat");
    }

    void End(const std::string& section) {
        const std::string wanted = "$End" + section.substr(1);
        if (const std::string_view word = m_in.Word(); word != wanted) {
            m_in.Fail(fmt::format("\"{}\" stands where {} should: the section's counts are wrong",
                                  word.substr(0, 40), wanted));
        }
    }

    void ReadSection(const std::string& section) {
        m_in.EnterSection(section);
        if (section == "$PhysicalNames") {
            ReadPhysicalNames();
        } else if (section == "$Entities" && m_isVersion4) {
            m_in.SkipLineEnd();
            ReadEntities();
        } else if (section == "$PartitionedEntities" && m_isVersion4 && !m_isVersion40) {
            m_in.SkipLineEnd();
            ReadPartitionedEntities();
        } else if (section == "$Nodes") {
            if (std::exchange(m_hasNodes, true)) {
                m_in.Fail("stands twice");
            }
            m_in.SkipLineEnd();
            m_isVersion4 ? ReadNodes4() : ReadNodes2();
        } else if (section == "$Elements") {
            m_in.SkipLineEnd();
            m_isVersion4 ? ReadElements4() : ReadElements2();
        } else if (section == "$Comments" && IsOurComment()) {
            m_reader.m_results.LookForMarks();
        } else if (section == "$NodeData" || section == "$ElementData" ||
                   section == "$ElementNodeData") {
            m_reader.m_results.ReadSection(m_in, section);
            return;
        } else {
            if (!m_in.SkipTo("$End" + section.substr(1))) {
                m_in.Fail("the section has no end");
            }
            ++m_unread[section + " sections"];
            return;
        }
        End(section);
    }

    /// Whether the comment is that of our own export, which is then skipped.
    bool IsOurComment() {
        const std::size_t begin = m_in.At();
        m_in.Line();
        if (m_in.Line() == array_names::kViewsOfMesh) {
            return true;
        }
        m_in.GoTo(begin);
        return false;
    }

    void ReadPhysicalNames() {
        const int count = m_in.Counted(m_in.Text<int>(), 4, "names");
        for (int i = 0; i < count; ++i) {
            const int dimension = Dimension(m_in.Text<int>());
            const int tag = m_in.Text<int>();
            const std::string_view line = m_in.Line();
            // The format has no escape, so a quote within a name is a part of it.
            const std::size_t first = line.find('"');
            const std::size_t last = line.rfind('"');
            if (first == std::string_view::npos || last == first) {
                m_in.Fail("a name is not in double quotes");
            }
            m_names[{dimension, tag}] = std::string(line.substr(first + 1, last - first - 1));
        }
    }

    int Dimension(int dimension) const {
        if (dimension < 0 || dimension > 3) {
            m_in.Fail(fmt::format("dimension {} is not 0 to 3", dimension));
        }
        return dimension;
    }

    void ReadEntities() {
        std::array<int, 4> counts{};
        for (int& count : counts) {
            count = m_in.Size();
        }
        for (int dimension = 0; dimension < 4; ++dimension) {
            // The smallest entity is a point: its tag, three coordinates, the count of its groups.
            const int count =
                m_in.Counted(counts[static_cast<std::size_t>(dimension)], 36, "entities");
            for (int i = 0; i < count; ++i) {
                ReadGroups(dimension, m_in.Int(), m_isVersion40);
            }
        }
    }

    /// Reads the parts of entities; each has the physical groups of the whole.
    void ReadPartitionedEntities() {
        m_in.Size();  // partitions
        const int nGhosts = m_in.Counted(m_in.Size(), 8, "ghost entities");
        for (int i = 0; i < 2 * nGhosts; ++i) {
            m_in.Int();
        }
        std::array<int, 4> counts{};
        for (int& count : counts) {
            count = m_in.Size();
        }
        for (int dimension = 0; dimension < 4; ++dimension) {
            const int count =
                m_in.Counted(counts[static_cast<std::size_t>(dimension)], 52, "entities");
            for (int i = 0; i < count; ++i) {
                const int tag = m_in.Int();
                m_in.Int();  // dimension and number of the whole
                m_in.Int();
                const int nPartitions = m_in.Counted(m_in.Size(), 4, "partitions");
                for (int k = 0; k < nPartitions; ++k) {
                    m_in.Int();
                }
                ReadGroups(dimension, tag, false);
            }
        }
    }

    /// Reads the rest of an entity: its point or box, its groups and its bounds. Version 4.0 has a
    /// box for points too.
    void ReadGroups(int dimension, int tag, bool hasBox) {
        for (int k = 0; k < (dimension == 0 && !hasBox ? 3 : 6); ++k) {
            m_in.Real();
        }
        std::vector<int>& groups = m_groupsOfEntity[{dimension, tag}];
        const int nGroups = m_in.Counted(m_in.Size(), 4, "physical groups");
        for (int k = 0; k < nGroups; ++k) {
            groups.push_back(m_in.Int());
        }
        const int nBounds = dimension == 0 ? 0 : m_in.Counted(m_in.Size(), 4, "bounding entities");
        for (int k = 0; k < nBounds; ++k) {
            m_in.Int();
        }
    }

    // --- Nodes -----------------------------------------------------------------------------------

    void AddNode(int tag) {
        if (tag < 1) {
            m_in.Fail(fmt::format("node number {} is below 1", tag));
        }
        m_reader.m_nodeLabels.push_back(tag);
    }

    void AddPoint() {
        for (int axis = 0; axis < 3; ++axis) {
            const double value = m_in.Real();
            if (!std::isfinite(value)) {
                m_in.Fail(fmt::format("a coordinate is {}", value));
            }
            m_reader.m_coordinates.push_back(value);
        }
    }

    void ReadNodes2() {
        const int count = m_in.Counted(m_in.Text<int>(), 28, "nodes");
        m_in.SkipLineEnd();
        for (int i = 0; i < count; ++i) {
            AddNode(m_in.Int());
            AddPoint();
        }
    }

    void ReadNodes4() {
        const int nBlocks = m_in.Counted(m_in.Size(), 20, "blocks");
        const int total = m_in.Counted(m_in.Size(), 28, "nodes");
        SkipRangeOfTags();
        for (int block = 0; block < nBlocks; ++block) {
            const EntityKey entity = ReadEntityKey();
            const bool isParametric = m_in.Int() != 0;
            const int count = m_in.Counted(m_in.Size(), 28, "nodes");
            for (int i = 0; i < count && !m_isVersion40; ++i) {
                AddNode(m_in.Size());
            }
            for (int i = 0; i < count; ++i) {
                if (m_isVersion40) {
                    AddNode(m_in.Int());
                }
                AddPoint();
                // Parametric coordinates follow the three of space, one for each dimension of the
                // entity.
                for (int k = 0; isParametric && k < entity.dimension; ++k) {
                    m_in.Real();
                }
            }
        }
        if (std::ssize(m_reader.m_nodeLabels) != total) {
            m_in.Fail(fmt::format("{} nodes are announced, {} follow", total,
                                  m_reader.m_nodeLabels.size()));
        }
    }

    /// Skips the least and the greatest number, which version 4.0 does not have.
    void SkipRangeOfTags() {
        if (!m_isVersion40) {
            m_in.Size();
            m_in.Size();
        }
    }

    /// Version 4.0 has the number of an entity before its dimension.
    EntityKey ReadEntityKey() {
        const int first = m_in.Int();
        const int second = m_in.Int();
        return m_isVersion40 ? EntityKey{Dimension(second), first}
                             : EntityKey{Dimension(first), second};
    }

    /// The number of an element, or of one of its nodes: 8 bytes in binary files of version 4.1, 4
    /// in others.
    int ReadTag() { return m_isVersion4 && !m_isVersion40 ? m_in.Size() : m_in.Int(); }

    // --- Elements --------------------------------------------------------------------------------

    /// Skips the nodes of an element whose type has no shape here. An ASCII file has an element on
    /// a line; in a binary file the type has to give their number.
    void SkipNodes(int type) {
        if (!m_in.IsBinary()) {
            m_in.Line();
        } else if (const int nNodes = GmshNodesOf(type); nNodes == 0) {
            m_in.Fail(fmt::format("element type {} is not known", type));
        } else {
            for (int i = 0; i < nNodes; ++i) {
                ReadTag();
            }
        }
        ++m_skipped[type];
    }

    RawBlock& BlockFor(const EntityKey& entity, int type) {
        const ORQExcShape* shape = ORQExcFindShapeByGmshType(type);
        const auto [place, isNew] =
            m_blockPlaces.try_emplace({entity.dimension, entity.tag, type}, m_blocks.size());
        if (isNew) {
            m_blocks.push_back({entity, shape, {}, {}});
        }
        return m_blocks[place->second];
    }

    void AddElement(RawBlock& block, int tag, const std::vector<int>& nodes, int group) {
        if (tag < 1) {
            m_in.Fail(fmt::format("element number {} is below 1", tag));
        }
        const EntityKey groupKey{block.shape->dimension, group};
        const auto [place, isNew] = m_elementPlaces.try_emplace(
            tag, std::pair{&block - m_blocks.data(), block.labels.size()});
        if (isNew) {
            block.labels.push_back(tag);
            block.nodes.insert(block.nodes.end(), nodes.begin(), nodes.end());
        } else {
            // An element of several groups stands once for each in version 2.
            const RawBlock& first = m_blocks[static_cast<std::size_t>(place->second.first)];
            const auto begin =
                first.nodes.begin() +
                static_cast<std::ptrdiff_t>(place->second.second) * first.shape->nNodes;
            if (first.shape != block.shape || !std::equal(nodes.begin(), nodes.end(), begin)) {
                m_in.Fail(fmt::format("element number {} is given to two elements", tag));
            }
        }
        if (group != 0) {
            m_groups[groupKey].push_back(tag);
        }
    }

    void ReadElements2() {
        const int count = m_in.Counted(m_in.Text<int>(), 8, "elements");
        m_in.SkipLineEnd();
        for (int done = 0; done < count;) {
            int tag = m_in.IsBinary() ? 0 : m_in.Int();
            const int type = m_in.Int();
            // Binary files of version 2 group elements under a head of type, count and number of
            // tags.
            const int nInRow = m_in.IsBinary() ? m_in.Counted(m_in.Int(), 8, "elements") : 1;
            const int nTags = m_in.Counted(m_in.Int(), 4, "tags");
            if (nInRow < 1) {
                m_in.Fail("a row of no elements");
            }
            for (int i = 0; i < nInRow; ++i) {
                tag = m_in.IsBinary() ? m_in.Int() : tag;
                std::vector<int> tags(static_cast<std::size_t>(nTags));
                std::ranges::generate(tags, [this] { return m_in.Int(); });
                const ORQExcShape* shape = ORQExcFindShapeByGmshType(type);
                if (shape == nullptr) {
                    SkipNodes(type);
                    continue;
                }
                // The first tag is the physical group, the second the entity.
                RawBlock& block = BlockFor({shape->dimension, nTags > 1 ? tags[1] : 0}, type);
                std::vector<int> nodes(static_cast<std::size_t>(block.shape->nNodes));
                std::ranges::generate(nodes, [this] { return m_in.Int(); });
                AddElement(block, tag, nodes, nTags > 0 ? tags[0] : 0);
            }
            done += nInRow;
        }
    }

    void ReadElements4() {
        const int nBlocks = m_in.Counted(m_in.Size(), 20, "blocks");
        const int total = m_in.Counted(m_in.Size(), 8, "elements");
        SkipRangeOfTags();
        int seen = 0;
        for (int i = 0; i < nBlocks; ++i) {
            const EntityKey entity = ReadEntityKey();
            const int type = m_in.Int();
            const int count = m_in.Counted(m_in.Size(), 8, "elements");
            seen += count;
            if (ORQExcFindShapeByGmshType(type) == nullptr) {
                for (int k = 0; k < count; ++k) {
                    ReadTag();
                    SkipNodes(type);
                }
                continue;
            }
            RawBlock& block = BlockFor(entity, type);
            std::vector<int> nodes(static_cast<std::size_t>(block.shape->nNodes));
            for (int k = 0; k < count; ++k) {
                const int tag = ReadTag();
                std::ranges::generate(nodes, [this] { return ReadTag(); });
                AddElement(block, tag, nodes, 0);
            }
        }
        if (seen != total) {
            m_in.Fail(fmt::format("{} elements are announced, {} follow", total, seen));
        }
    }

    // --- Putting it together ---------------------------------------------------------------------

    void Resolve() {
        // Sections come in any order, so numbers are resolved behind the last; errors then name the
        // section that they are about.
        m_in.EnterSection("$Nodes");
        std::unordered_map<int, int> ordinals;
        ordinals.reserve(m_reader.m_nodeLabels.size());
        for (const int tag : m_reader.m_nodeLabels) {
            const int ordinal = static_cast<int>(ordinals.size());
            if (!ordinals.emplace(tag, ordinal).second) {
                m_in.Fail(fmt::format("node number {} is given to two nodes", tag));
            }
        }
        m_in.EnterSection("$Elements");
        int first = 0;
        for (const RawBlock& block : m_blocks) {
            AddBlock(block, ordinals);
            m_firstOfBlock.push_back(first);
            first += static_cast<int>(block.labels.size());
        }
        ResolveGroups();
        m_reader.m_results.Resolve(
            [&](int tag) {
                const auto found = ordinals.find(tag);
                return found == ordinals.end() ? -1 : found->second;
            },
            [&](int tag) {
                const auto found = m_elementPlaces.find(tag);
                return found == m_elementPlaces.end()
                           ? -1
                           : m_firstOfBlock[static_cast<std::size_t>(found->second.first)] +
                                 static_cast<int>(found->second.second);
            },
            [&](int element) -> const ORQExcShape& {
                const auto block = std::ranges::upper_bound(m_firstOfBlock, element) - 1;
                return *m_reader.m_contents
                            .blocks[static_cast<std::size_t>(block - m_firstOfBlock.begin())]
                            .shape;
            });
        MarkedParts(m_reader, m_firstOfBlock, m_in).Add();
    }

    void AddBlock(const RawBlock& block, const std::unordered_map<int, int>& ordinals) {
        const ORQExcShape& shape = *block.shape;
        const auto nNodes = static_cast<std::size_t>(shape.nNodes);
        m_reader.m_contents.blocks.push_back(
            {fmt::format("{} {} {}", kEntityNames[block.entity.dimension], block.entity.tag,
                         shape.name),
             static_cast<int>(m_reader.m_contents.blocks.size()) + 1,
             &shape,
             shape.name,
             static_cast<int>(block.labels.size()),
             {}});
        std::vector<int> connectivity(block.nodes.size());
        for (std::size_t i = 0; i < block.nodes.size(); ++i) {
            const std::size_t place = i % nNodes;
            const std::size_t from =
                shape.gmshOrder.empty() ? place : static_cast<std::size_t>(shape.gmshOrder[place]);
            const int tag = block.nodes[i - place + from];
            const auto ordinal = ordinals.find(tag);
            if (ordinal == ordinals.end()) {
                m_in.Fail(fmt::format("element {} names node {}, which is missing",
                                      block.labels[i / nNodes], tag));
            }
            connectivity[i] = ordinal->second;
        }
        m_reader.m_connectivity.push_back(std::move(connectivity));
        m_reader.m_elementLabels.insert(m_reader.m_elementLabels.end(), block.labels.begin(),
                                        block.labels.end());
    }

    void ResolveGroups() {
        std::map<EntityKey, std::vector<int>> members;
        // A name without elements is an empty set.
        for (const auto& [key, name] : m_names) {
            members[key];
        }
        for (const auto& [key, tags] : m_groups) {
            for (const int tag : tags) {
                const auto& [block, row] = m_elementPlaces.at(tag);
                members[key].push_back(m_firstOfBlock[static_cast<std::size_t>(block)] +
                                       static_cast<int>(row));
            }
        }
        for (std::size_t i = 0; i < m_blocks.size(); ++i) {
            const auto groups = m_groupsOfEntity.find(m_blocks[i].entity);
            if (groups == m_groupsOfEntity.end()) {
                continue;
            }
            for (const int signedTag : groups->second) {
                // A negative number reverses the orientation of the entity; its elements stay.
                auto& of = members[{m_blocks[i].entity.dimension, std::abs(signedTag)}];
                for (std::size_t row = 0; row < m_blocks[i].labels.size(); ++row) {
                    of.push_back(m_firstOfBlock[i] + static_cast<int>(row));
                }
            }
        }
        for (auto& [key, elements] : members) {
            std::ranges::sort(elements);
            elements.erase(std::unique(elements.begin(), elements.end()), elements.end());
            const auto name = m_names.find(key);
            if (name != m_names.end() && NamesBlock(elements, name->second)) {
                continue;
            }
            m_reader.m_contents.elementSets.push_back(
                {name != m_names.end()
                     ? name->second
                     : fmt::format("physical {} {}", kEntityNames[key.dimension], key.tag),
                 key.tag});
            m_reader.m_elementSetMembers.push_back(std::move(elements));
        }
    }

    /// A named group of all elements of one block names the block; of several such groups the first
    /// does.
    bool NamesBlock(const std::vector<int>& elements, const std::string& name) {
        if (elements.empty()) {
            return false;
        }
        const auto place =
            static_cast<std::size_t>(std::ranges::upper_bound(m_firstOfBlock, elements.front()) -
                                     m_firstOfBlock.begin() - 1);
        Block& block = m_reader.m_contents.blocks[place];
        if (elements.front() != m_firstOfBlock[place] || std::ssize(elements) != block.nElements ||
            elements.back() != elements.front() + block.nElements - 1 ||
            !m_namedBlocks.insert(place).second) {
            return false;
        }
        block.name = name;
        return true;
    }

    GmshReader& m_reader;
    GmshCursor m_in;
    std::map<std::string, std::int64_t> m_unread;
    std::map<int, std::int64_t> m_skipped;  // elements, by type
    std::set<std::size_t> m_namedBlocks;
    bool m_isVersion4 = false;
    bool m_isVersion40 = false;
    bool m_hasNodes = false;
    std::map<EntityKey, std::string> m_names;  // of physical groups
    std::map<EntityKey, std::vector<int>> m_groupsOfEntity;
    std::map<std::array<int, 3>, std::size_t> m_blockPlaces;  // dimension, entity, type
    std::vector<RawBlock> m_blocks;
    std::vector<int> m_firstOfBlock;  // ordinals of elements
    std::unordered_map<int, std::pair<std::ptrdiff_t, std::size_t>> m_elementPlaces;  // by number
    std::map<EntityKey, std::vector<int>> m_groups;  // element numbers, version 2
};

GmshReader::GmshReader(const std::filesystem::path& file) {
    Parser(*this, file).Run();
}

}  // namespace orq::exchange
