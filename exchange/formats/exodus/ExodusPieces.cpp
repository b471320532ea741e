#include "formats/exodus/ExodusPieces.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <numeric>
#include <optional>

#include "ORQExcImportError.h"

namespace orq::exchange {
namespace {

/// The number that a text spells; nothing for any other text.
std::optional<int> NumberIn(std::string_view text) {
    int number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    return !text.empty() && text[0] >= '0' && text[0] <= '9' && parsed.ec == std::errc() &&
                   parsed.ptr == text.data() + text.size()
               ? std::optional(number)
               : std::nullopt;
}

/// A path without its last ending, and the ending without its dot.
std::pair<std::string, std::string> Split(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    return dot == std::string::npos ? std::pair(path, std::string())
                                    : std::pair(path.substr(0, dot), path.substr(dot + 1));
}

template <class Value>
std::size_t Index(Value value) {
    return static_cast<std::size_t>(value);
}

}  // namespace

std::vector<std::filesystem::path> ExodusPieceFiles(const std::filesystem::path& file) {
    const auto [whole, place] = Split(file.string());
    const auto [name, total] = Split(whole);
    const auto number = NumberIn(place);
    const auto count = NumberIn(total);
    if (!number || !count || *number >= *count || name.empty()) {
        return {};
    }
    std::vector<std::filesystem::path> files;
    for (int i = 0; i < *count; ++i) {
        // The number has as many digits as the count; some programs write no zeros before it.
        files.emplace_back(fmt::format("{}.{:0{}}", whole, i, total.size()));
        if (!std::filesystem::exists(files.back())) {
            const std::filesystem::path plain = fmt::format("{}.{}", whole, i);
            if (!std::filesystem::exists(plain)) {
                throw ORQExcImportError(
                    files.back(), "file",
                    fmt::format("does not exist; it is a piece of the model that {} is of, in {} "
                                "pieces",
                                file.filename().string(), *count));
            }
            files.back() = plain;
        }
    }
    return files;
}

ExodusPieces::ExodusPieces(const std::vector<std::filesystem::path>& files) {
    for (const std::filesystem::path& file : files) {
        m_pieces.push_back({std::make_unique<ExodusReader>(file), {}, {}, {}});
        m_losses.Append(m_pieces.back().reader->Losses());
    }
    const ExodusReader& first = *m_pieces.front().reader;
    m_contents.title = first.Title();
    m_contents.dimension = first.Dimension();
    m_contents.fileDimension = first.FileDimension();
    // Elements refer to nodes and sets to both, so their ordinals are found in this order.
    JoinNodes();
    for (Piece& piece : m_pieces) {
        piece.elements.resize(Index(piece.reader->NumElements()));
    }
    std::vector<ExodusPieceResults::Block> blocks;
    for (const JoinedBlock& joined : JoinBlocks()) {
        const auto before = static_cast<int>(m_elementLabels.size());
        AddBlock(joined);
        if (const int count = static_cast<int>(m_elementLabels.size()) - before; count > 0) {
            blocks.push_back({before, count});
        }
    }
    AddSets();
    KeepArrays();
    std::vector<ExodusPieceResults::Piece> results;
    for (const Piece& piece : m_pieces) {
        results.push_back(
            {piece.reader->File(), piece.reader->Results(), piece.nodes, piece.elements});
    }
    m_results = ExodusPieceResults(std::move(results), m_contents.nNodes, std::move(blocks));
}

void ExodusPieces::Fail(const Piece& piece, std::string_view section, std::string_view message) {
    throw ORQExcImportError(piece.reader->File(), section, message);
}

// --- Nodes ---------------------------------------------------------------------------------------

void ExodusPieces::JoinNodes() {
    for (Piece& piece : m_pieces) {
        if (piece.reader->FileDimension() != FileDimension()) {
            Fail(piece, "sizes",
                 fmt::format("{} dimensions, the first piece has {}", piece.reader->FileDimension(),
                             FileDimension()));
        }
        std::vector<int> labels(Index(piece.reader->NumNodes()));
        piece.reader->ReadLabels(ORQObjLabelerType::Node, 0, piece.reader->NumNodes(), labels);
        m_nodeLabels.insert(m_nodeLabels.end(), labels.begin(), labels.end());
        piece.nodes = std::move(labels);
    }
    std::ranges::sort(m_nodeLabels);
    m_nodeLabels.erase(std::unique(m_nodeLabels.begin(), m_nodeLabels.end()), m_nodeLabels.end());
    m_contents.nNodes = static_cast<int>(m_nodeLabels.size());
    m_coordinates.resize(m_nodeLabels.size() * Index(Dimension()));
    std::vector<std::size_t> owners(m_nodeLabels.size(), m_pieces.size());
    for (Piece& piece : m_pieces) {
        PlaceNodes(piece, owners);
    }
}

/// Turns the labels of a piece into ordinals, and takes the positions of nodes that are in no piece
/// before it. `owners` has the first piece of each node.
void ExodusPieces::PlaceNodes(Piece& piece, std::vector<std::size_t>& owners) {
    const auto number = Index(&piece - m_pieces.data());
    const std::size_t dimension = Index(Dimension());
    std::vector<double> positions(piece.nodes.size() * dimension);
    piece.reader->ReadCoordinates(0, piece.reader->NumNodes(), positions);
    for (std::size_t i = 0; i < piece.nodes.size(); ++i) {
        const int label = piece.nodes[i];
        const auto ordinal =
            Index(std::ranges::lower_bound(m_nodeLabels, label) - m_nodeLabels.begin());
        piece.nodes[i] = static_cast<int>(ordinal);
        const auto here = positions.begin() + static_cast<std::ptrdiff_t>(i * dimension);
        const auto there = m_coordinates.begin() + static_cast<std::ptrdiff_t>(ordinal * dimension);
        // Pieces are copies of one model, so the positions of a node that they share are compared
        // exactly.
        if (owners[ordinal] == m_pieces.size()) {
            owners[ordinal] = number;
            std::copy_n(here, dimension, there);
        } else if (owners[ordinal] == number) {
            Fail(piece, "node labels", fmt::format("node {} stands in it twice", label));
        } else if (!std::equal(here, here + static_cast<std::ptrdiff_t>(dimension), there)) {
            Fail(
                piece, "node labels",
                fmt::format("node {} is at {}, in {} at {}", label,
                            fmt::join(here, here + static_cast<std::ptrdiff_t>(dimension), " "),
                            m_pieces[owners[ordinal]].reader->File().filename().string(),
                            fmt::join(there, there + static_cast<std::ptrdiff_t>(dimension), " ")));
        }
    }
}

// --- Blocks --------------------------------------------------------------------------------------

/// Joins blocks by number, in the order in which they come. A piece without elements of a block may
/// give it no shape, so the shape is that of a piece with elements.
std::vector<ExodusPieces::JoinedBlock> ExodusPieces::JoinBlocks() const {
    std::vector<JoinedBlock> joined;
    for (std::size_t i = 0; i < m_pieces.size(); ++i) {
        const std::vector<Block>& blocks = m_pieces[i].reader->Blocks();
        for (std::size_t k = 0; k < blocks.size(); ++k) {
            const Block& block = blocks[k];
            const auto known = std::ranges::find_if(joined, [&](const JoinedBlock& other) {
                return other.block.number == block.number;
            });
            JoinedBlock& one =
                known == joined.end() ? joined.emplace_back(JoinedBlock{block, {}}) : *known;
            one.block.name = one.block.name.empty() ? block.name : one.block.name;
            if (block.nElements == 0) {
                continue;
            }
            if (!one.shares.empty() &&
                (block.shape != one.block.shape || block.attributes != one.block.attributes)) {
                Fail(m_pieces[i], fmt::format("element block {}", block.number),
                     fmt::format("has elements {} with {} attributes, in {} {} with {}",
                                 block.shape->name, block.attributes.size(),
                                 m_pieces[one.shares[0].piece].reader->File().filename().string(),
                                 one.block.shape->name, one.block.attributes.size()));
            }
            one.block.shape = block.shape;
            one.block.shapeName = block.shapeName;
            one.block.attributes = block.attributes;
            one.shares.push_back({i, static_cast<int>(k)});
        }
    }
    return joined;
}

/// Appends a block, the elements of all pieces in the order of their labels.
void ExodusPieces::AddBlock(const JoinedBlock& joined) {
    struct Element {
        int label;
        std::size_t share;
        int row;
    };
    const std::size_t nNodes = Index(joined.block.shape->nNodes);
    const std::size_t nAttributes = joined.block.attributes.size();
    std::vector<Element> elements;
    std::vector<std::vector<int>> nodes;
    std::vector<std::vector<double>> attributes;
    std::vector<int> firsts;  // ordinals in the piece
    for (std::size_t share = 0; share < joined.shares.size(); ++share) {
        const auto& [number, block] = joined.shares[share];
        ExodusReader& reader = *m_pieces[number].reader;
        const std::vector<Block>& blocks = reader.Blocks();
        const int first =
            std::accumulate(blocks.begin(), blocks.begin() + block, 0,
                            [](int sum, const Block& before) { return sum + before.nElements; });
        const int count = blocks[Index(block)].nElements;
        std::vector<int> labels(Index(count));
        reader.ReadLabels(ORQObjLabelerType::Element, first, first + count, labels);
        for (int row = 0; row < count; ++row) {
            elements.push_back({labels[Index(row)], share, row});
        }
        reader.ReadConnectivity(block, 0, count, nodes.emplace_back(Index(count) * nNodes));
        attributes.emplace_back(Index(count) * nAttributes);
        reader.ReadAttributes(block, 0, count, attributes.back());
        firsts.push_back(first);
    }
    std::ranges::sort(elements, {}, &Element::label);
    std::vector<int>& connectivity = m_connectivity.emplace_back();
    std::vector<double>& values = m_attributes.emplace_back();
    for (std::size_t i = 0; i < elements.size(); ++i) {
        const Element& element = elements[i];
        Piece& piece = m_pieces[joined.shares[element.share].piece];
        if (i > 0 && elements[i - 1].label == element.label) {
            const Piece& other = m_pieces[joined.shares[elements[i - 1].share].piece];
            Fail(piece, "element labels",
                 fmt::format("element {} is in {} too", element.label,
                             other.reader->File().filename().string()));
        }
        piece.elements[Index(firsts[element.share] + element.row)] =
            static_cast<int>(m_elementLabels.size());
        m_elementLabels.push_back(element.label);
        const std::vector<int>& of = nodes[element.share];
        for (std::size_t k = 0; k < nNodes; ++k) {
            connectivity.push_back(piece.nodes[Index(of[Index(element.row) * nNodes + k])]);
        }
        const auto row = attributes[element.share].begin() +
                         static_cast<std::ptrdiff_t>(Index(element.row) * nAttributes);
        values.insert(values.end(), row, row + static_cast<std::ptrdiff_t>(nAttributes));
    }
    m_contents.blocks.push_back(joined.block);
    m_contents.blocks.back().nElements = static_cast<int>(elements.size());
    m_blockEnds.push_back(static_cast<int>(m_elementLabels.size()));
}

// --- Sets ----------------------------------------------------------------------------------------

namespace {

/// What the format calls the sets of a kind, the members of one and its factors.
struct SetDimensions {
    const char* sets;
    const char* members;
    const char* factors;
};
constexpr SetDimensions kNodeSets = {"num_node_sets", "num_nod_ns", "num_df_ns"};
constexpr SetDimensions kElementSets = {"num_elem_sets", "num_ele_els", "num_df_els"};
constexpr SetDimensions kSideSets = {"num_side_sets", "num_side_ss", "num_df_ss"};

/// Returns the place of the set of a number, which is added if there is none; the name is that of
/// the first piece that has one.
template <class Members>
std::size_t PlaceOfSet(std::vector<ORQExcMeshSource::Set>& sets, std::vector<Members>& members,
                       const ORQExcMeshSource::Set& set) {
    const auto known = std::ranges::find(sets, set.number, &ORQExcMeshSource::Set::number);
    const auto place = Index(known - sets.begin());
    if (known == sets.end()) {
        sets.push_back(set);
        members.emplace_back();
    } else if (known->name.empty()) {
        known->name = set.name;
    }
    return place;
}

/// The order in which a model has sides, so that arrays by side fit them.
constexpr auto kSideKey = [](const ORQExcMeshSource::Side& side) {
    return std::pair(side.side, side.element);
};
constexpr auto kMemberKey = [](int member) { return member; };

/// Joins the sets of a kind by number. `ofPiece` gives the sets of a piece and their members in the
/// model. Members stand by key, each once: a node on the border of pieces is a member in each of them.
/// Where the members of a piece's sets stand in the joined ones goes to the rows of the piece.
template <class Pieces, class Member, class Key, class OfPiece>
void JoinSets(Pieces& pieces, const SetDimensions& dimensions,
              std::vector<ORQExcMeshSource::Set>& sets, std::vector<std::vector<Member>>& members,
              Key key, OfPiece ofPiece) {
    using Rows = ExodusPieceArrays::Rows;
    std::vector<std::vector<std::vector<Member>>> own;  // by piece and set there
    for (auto& piece : pieces) {
        const auto& [setsThere, membersThere] = ofPiece(piece);
        Rows& places = piece.rows[dimensions.sets];
        for (std::size_t i = 0; i < setsThere.size(); ++i) {
            const std::size_t place = PlaceOfSet(sets, members, setsThere[i]);
            places.places.push_back(static_cast<int>(place));
            members[place].insert(members[place].end(), membersThere[i].begin(),
                                  membersThere[i].end());
        }
        own.push_back(membersThere);
    }
    const auto isSame = [&](const Member& a, const Member& b) { return key(a) == key(b); };
    for (std::vector<Member>& all : members) {
        std::ranges::sort(all, {}, key);
        all.erase(std::unique(all.begin(), all.end(), isSame), all.end());
    }
    for (std::size_t p = 0; p < pieces.size(); ++p) {
        Rows& places = pieces[p].rows[dimensions.sets];
        places.dimension = dimensions.sets;
        places.count = sets.size();
        for (std::size_t i = 0; i < own[p].size(); ++i) {
            const std::size_t place = Index(places.places[i]);
            const std::vector<Member>& all = members[place];
            const int number = static_cast<int>(place) + 1;
            Rows rows{fmt::format("{}{}", dimensions.members, number), all.size(), {}, number};
            for (const Member& member : own[p][i]) {
                rows.places.push_back(static_cast<int>(
                    std::ranges::lower_bound(all, key(member), {}, key) - all.begin()));
            }
            pieces[p].rows[fmt::format("{}{}", dimensions.members, i + 1)] = rows;
            rows.dimension = fmt::format("{}{}", dimensions.factors, number);
            pieces[p].rows[fmt::format("{}{}", dimensions.factors, i + 1)] = std::move(rows);
        }
    }
}

}  // namespace

void ExodusPieces::AddSets() {
    const auto ofType = [](ORQObjLabelerType type) {
        return [type](Piece& piece) {
            const bool isOfNodes = type == ORQObjLabelerType::Node;
            std::pair<std::vector<Set>, std::vector<std::vector<int>>> own;
            own.first = isOfNodes ? piece.reader->NodeSets() : piece.reader->ElementSets();
            for (int i = 0; i < std::ssize(own.first); ++i) {
                std::vector<int>& members = own.second.emplace_back(piece.reader->ReadSet(type, i));
                for (int& member : members) {
                    member = (isOfNodes ? piece.nodes : piece.elements)[Index(member)];
                }
            }
            return own;
        };
    };
    JoinSets(m_pieces, kNodeSets, m_contents.nodeSets, m_nodeSetMembers, kMemberKey,
             ofType(ORQObjLabelerType::Node));
    JoinSets(m_pieces, kElementSets, m_contents.elementSets, m_elementSetMembers, kMemberKey,
             ofType(ORQObjLabelerType::Element));
    JoinSets(m_pieces, kSideSets, m_contents.sideSets, m_sides, kSideKey, [](Piece& piece) {
        std::pair<std::vector<Set>, std::vector<std::vector<Side>>> own;
        own.first = piece.reader->SideSets();
        for (int i = 0; i < std::ssize(own.first); ++i) {
            std::vector<Side>& sides = own.second.emplace_back(piece.reader->ReadSideSet(i));
            for (Side& side : sides) {
                side.element = piece.elements[Index(side.element)];
            }
        }
        return own;
    });
    AddFactorRows();
}

/// A side set has a factor for each node of each side.
void ExodusPieces::AddFactorRows() {
    std::vector<std::vector<int>> firsts;
    for (const std::vector<Side>& sides : m_sides) {
        firsts.push_back(FirstFactors(sides));
    }
    for (Piece& piece : m_pieces) {
        for (std::size_t i = 0; i < piece.reader->SideSets().size(); ++i) {
            const ExodusPieceArrays::Rows& sides =
                piece.rows.at(fmt::format("{}{}", kSideSets.members, i + 1));
            const std::vector<int>& first = firsts[Index(sides.setNumber) - 1];
            ExodusPieceArrays::Rows& factors =
                piece.rows.at(fmt::format("{}{}", kSideSets.factors, i + 1));
            factors.count = Index(first.back());
            factors.places.clear();
            for (const int side : sides.places) {
                for (int row = first[Index(side)]; row < first[Index(side) + 1]; ++row) {
                    factors.places.push_back(row);
                }
            }
        }
    }
}

/// The first factor of each side, and the number of all.
std::vector<int> ExodusPieces::FirstFactors(std::span<const Side> sides) const {
    std::vector<int> firsts = {0};
    for (const Side& side : sides) {
        firsts.push_back(firsts.back() +
                         static_cast<int>(ShapeOf(side.element).SideAt(side.side).nodes.size()));
    }
    return firsts;
}

const ORQExcShape& ExodusPieces::ShapeOf(int element) const {
    const auto block = std::ranges::upper_bound(m_blockEnds, element) - m_blockEnds.begin();
    return *m_contents.blocks[Index(block)].shape;
}

// --- What a model has no place for ---------------------------------------------------------------

void ExodusPieces::KeepArrays() {
    std::vector<ExodusPieceArrays::Piece> pieces;
    for (Piece& piece : m_pieces) {
        piece.rows["num_nodes"] = {"num_nodes", m_nodeLabels.size(), piece.nodes};
        piece.rows["num_elem"] = {"num_elem", m_elementLabels.size(), piece.elements};
        pieces.push_back({piece.reader.get(), std::move(piece.rows)});
    }
    m_arrays = ExodusPieceArrays(std::move(pieces));
    m_contents.arrays = m_arrays.Arrays();
    m_losses.Append(m_arrays.Losses());
}

}  // namespace orq::exchange
