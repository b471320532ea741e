// Exodus models that were cut into pieces come in whole.
#include <exodusII.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

/// A mesh with its results by labels, so that it does not matter how a file orders them.
struct Model {
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
    bool operator==(const Model&) const = default;
};

constexpr int kLongest = 64;

class File {
  public:
    File(const fs::path& path, int mode) {
        int realSize = sizeof(double);
        int fileSize = 8;
        float version = 0;
        m_id = mode == EX_CLOBBER ? ex_create(path.c_str(), EX_CLOBBER, &realSize, &fileSize)
                                  : ex_open(path.c_str(), EX_READ, &realSize, &fileSize, &version);
        EXPECT_GE(m_id, 0) << path;
        ex_set_max_name_length(m_id, kLongest);
    }
    ~File() { ex_close(m_id); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    operator int() const { return m_id; }

  private:
    int m_id;
};

std::vector<int> Ids(int file, ex_entity_type kind, ex_inquiry count) {
    std::vector<int> ids(static_cast<std::size_t>(ex_inquire_int(file, count)));
    if (!ids.empty()) {
        ex_get_ids(file, kind, ids.data());
    }
    return ids;
}

std::string NameOf(int file, ex_entity_type kind, int id) {
    std::string name(kLongest + 1, '\0');
    ex_get_name(file, kind, id, name.data());
    return name.c_str();
}

std::vector<std::string> VariablesOf(int file, ex_entity_type kind) {
    int count = 0;
    ex_get_variable_param(file, kind, &count);
    std::vector<std::string> names;
    for (int i = 1; i <= count; ++i) {
        std::string name(kLongest + 1, '\0');
        ex_get_variable_name(file, kind, i, name.data());
        names.emplace_back(name.c_str());
    }
    return names;
}

void ReadSetVariables(int file, ex_entity_type kind, int id,
                      const std::vector<Model::Member>& members, Model::Set& set) {
    const std::vector<std::string> names = VariablesOf(file, kind);
    const auto nTimes = static_cast<int>(ex_inquire_int(file, EX_INQ_TIME));
    std::vector<double> values(members.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        for (int step = 1; step <= nTimes && !members.empty(); ++step) {
            ex_get_var(file, step, kind, static_cast<int>(i) + 1, id, std::ssize(values),
                       values.data());
            for (std::size_t k = 0; k < members.size(); ++k) {
                set.variables[names[i]][members[k]].push_back(values[k]);
            }
        }
    }
}

void ReadSets(int file, ex_entity_type kind, ex_inquiry count, const std::vector<int>& labels,
              Model& model) {
    for (const int id : Ids(file, kind, count)) {
        int nMembers = 0;
        int nFactors = 0;
        ex_get_set_param(file, kind, id, &nMembers, &nFactors);
        std::vector<int> members(static_cast<std::size_t>(nMembers));
        std::vector<int> sides(members.size(), 0);
        if (nMembers > 0) {
            ex_get_set(file, kind, id, members.data(),
                       kind == EX_SIDE_SET ? sides.data() : nullptr);
        }
        std::vector<double> factors(static_cast<std::size_t>(nFactors));
        std::vector<int> nFactorsOf(members.size(), nFactors > 0 ? 1 : 0);
        if (nFactors > 0) {
            ex_get_set_dist_fact(file, kind, id, factors.data());
            if (kind == EX_SIDE_SET) {
                ex_get_side_set_node_count(file, id, nFactorsOf.data());
            }
        }
        Model::Set& set = model.sets[kind][id];
        set.name = NameOf(file, kind, id);
        auto factor = factors.begin();
        std::vector<Model::Member> keys;
        for (std::size_t i = 0; i < members.size(); ++i) {
            keys.emplace_back(labels[static_cast<std::size_t>(members[i] - 1)], sides[i]);
            set.members.insert(keys.back());
            if (nFactors > 0) {
                set.factors[keys.back()] = {factor, factor + nFactorsOf[i]};
                factor += nFactorsOf[i];
            }
        }
        ReadSetVariables(file, kind, id, keys, set);
    }
}

void ReadValues(int file, ex_entity_type kind, int object, const std::vector<int>& labels,
                std::map<std::string, Model::Values>& all, const std::vector<int>& truth = {}) {
    const std::vector<std::string> names = VariablesOf(file, kind);
    const auto nTimes = static_cast<int>(ex_inquire_int(file, EX_INQ_TIME));
    for (std::size_t i = 0; i < names.size(); ++i) {
        Model::Values& values = all[names[i]];
        if (!truth.empty() && truth[i] == 0) {
            continue;
        }
        std::vector<double> read(labels.size());
        for (int step = 1; step <= nTimes && !labels.empty(); ++step) {
            ex_get_var(file, step, kind, static_cast<int>(i) + 1, object,
                       static_cast<std::int64_t>(read.size()), read.data());
            for (std::size_t k = 0; k < read.size(); ++k) {
                values[{step, labels[k]}] = read[k];
            }
        }
    }
}

Model Read(const fs::path& path) {
    const File file(path, EX_READ);
    Model model;
    ex_init_params sizes{};
    ex_get_init_ext(file, &sizes);
    const auto nNodes = static_cast<std::size_t>(sizes.num_nodes);
    std::vector<int> nodes(nNodes);
    ex_get_id_map(file, EX_NODE_MAP, nodes.data());
    std::vector<double> x(nNodes);
    std::vector<double> y(nNodes);
    std::vector<double> z(nNodes);
    ex_get_coord(file, x.data(), y.data(), sizes.num_dim > 2 ? z.data() : nullptr);
    for (std::size_t i = 0; i < nNodes; ++i) {
        model.nodes[nodes[i]] = {x[i], y[i], z[i]};
    }
    std::vector<int> elements(static_cast<std::size_t>(sizes.num_elem));
    ex_get_id_map(file, EX_ELEM_MAP, elements.data());
    const std::vector<int> ids = Ids(file, EX_ELEM_BLOCK, EX_INQ_ELEM_BLK);
    const std::size_t nVariables = VariablesOf(file, EX_ELEM_BLOCK).size();
    std::vector<int> truth(ids.size() * nVariables, 1);
    if (!truth.empty()) {
        ex_get_truth_table(file, EX_ELEM_BLOCK, static_cast<int>(ids.size()),
                           static_cast<int>(nVariables), truth.data());
    }
    auto label = elements.begin();
    for (std::size_t place = 0; place < ids.size(); ++place) {
        ex_block inFile{};
        inFile.id = ids[place];
        inFile.type = EX_ELEM_BLOCK;
        ex_get_block_param(file, &inFile);
        Model::Block& block = model.blocks[inFile.id];
        block.name = NameOf(file, EX_ELEM_BLOCK, ids[place]);
        block.shape = inFile.topology;
        const auto count = static_cast<std::size_t>(inFile.num_entry);
        const auto nEach = static_cast<std::size_t>(inFile.num_nodes_per_entry);
        const auto nAttributes = static_cast<std::size_t>(inFile.num_attribute);
        std::vector<int> rows(count * nEach);
        std::vector<double> attributes(count * nAttributes);
        if (count > 0) {
            ex_get_conn(file, EX_ELEM_BLOCK, ids[place], rows.data(), nullptr, nullptr);
        }
        if (!attributes.empty()) {
            ex_get_attr(file, EX_ELEM_BLOCK, ids[place], attributes.data());
        }
        const std::vector<int> own(label, label + static_cast<std::ptrdiff_t>(count));
        for (std::size_t i = 0; i < count; ++i, ++label) {
            for (std::size_t k = 0; k < nEach; ++k) {
                block.elements[*label].push_back(
                    nodes[static_cast<std::size_t>(rows[i * nEach + k] - 1)]);
            }
            const auto row = attributes.begin() + static_cast<std::ptrdiff_t>(i * nAttributes);
            block.attributes[*label] = {row, row + static_cast<std::ptrdiff_t>(nAttributes)};
        }
        const auto table = truth.begin() + static_cast<std::ptrdiff_t>(place * nVariables);
        ReadValues(file, EX_ELEM_BLOCK, ids[place], own, model.elemental,
                   {table, table + static_cast<std::ptrdiff_t>(nVariables)});
    }
    ReadSets(file, EX_NODE_SET, EX_INQ_NODE_SETS, nodes, model);
    ReadSets(file, EX_SIDE_SET, EX_INQ_SIDE_SETS, elements, model);
    ReadSets(file, EX_ELEM_SET, EX_INQ_ELEM_SETS, elements, model);
    model.times.resize(static_cast<std::size_t>(ex_inquire_int(file, EX_INQ_TIME)));
    if (!model.times.empty()) {
        ex_get_all_times(file, model.times.data());
    }
    ReadValues(file, EX_NODAL, 1, nodes, model.nodal);
    const std::vector<std::string> global = VariablesOf(file, EX_GLOBAL);
    for (std::size_t step = 1; step <= model.times.size() && !global.empty(); ++step) {
        std::vector<double> values(global.size());
        ex_get_var(file, static_cast<int>(step), EX_GLOBAL, 1, 1,
                   static_cast<std::int64_t>(values.size()), values.data());
        for (std::size_t i = 0; i < global.size(); ++i) {
            model.global[global[i]][{static_cast<int>(step), 0}] = values[i];
        }
    }
    return model;
}

/// The part of a model that has some of its elements. A node that is of no element is in the first.
Model PieceOf(const Model& whole, const std::function<bool(int element)>& isIn, bool isFirst) {
    Model piece = whole;
    std::set<int> used;
    std::set<int> usedAnywhere;
    for (auto& [id, block] : piece.blocks) {
        for (const auto& [element, nodes] : block.elements) {
            usedAnywhere.insert(nodes.begin(), nodes.end());
        }
        std::erase_if(block.elements, [&](const auto& element) { return !isIn(element.first); });
        std::erase_if(block.attributes, [&](const auto& element) { return !isIn(element.first); });
        for (const auto& [element, nodes] : block.elements) {
            used.insert(nodes.begin(), nodes.end());
        }
    }
    const auto hasNode = [&](int node) {
        return used.contains(node) || (isFirst && !usedAnywhere.contains(node));
    };
    std::erase_if(piece.nodes, [&](const auto& node) { return !hasNode(node.first); });
    for (auto& [kind, sets] : piece.sets) {
        for (auto& [id, set] : sets) {
            const auto isOut = [&](const Model::Member& member) {
                return kind == EX_NODE_SET ? !hasNode(member.first) : !isIn(member.first);
            };
            std::erase_if(set.members, isOut);
            const auto isOfOut = [&](const auto& entry) { return isOut(entry.first); };
            std::erase_if(set.factors, isOfOut);
            for (auto& [name, values] : set.variables) {
                std::erase_if(values, isOfOut);
            }
        }
    }
    for (auto& [name, values] : piece.nodal) {
        std::erase_if(values, [&](const auto& value) { return !hasNode(value.first.second); });
    }
    for (auto& [name, values] : piece.elemental) {
        std::erase_if(values, [&](const auto& value) { return !isIn(value.first.second); });
    }
    return piece;
}

void PutVariables(int file, ex_entity_type kind, const std::map<std::string, Model::Values>& all) {
    if (all.empty()) {
        return;
    }
    ex_put_variable_param(file, kind, static_cast<int>(all.size()));
    int number = 0;
    for (const auto& [name, values] : all) {
        ex_put_variable_name(file, kind, ++number, name.c_str());
    }
}

/// Writes the values that some members have; nothing where they have none.
void PutValues(int file, ex_entity_type kind, int object, const std::vector<int>& labels,
               const std::map<std::string, Model::Values>& all, int nTimes) {
    int number = 0;
    for (const auto& [name, values] : all) {
        ++number;
        for (int step = 1; step <= nTimes && !labels.empty(); ++step) {
            std::vector<double> row;
            for (const int label : labels) {
                if (const auto value = values.find({step, label}); value != values.end()) {
                    row.push_back(value->second);
                }
            }
            if (row.size() == labels.size()) {
                ex_put_var(file, step, kind, number, object, static_cast<std::int64_t>(row.size()),
                           row.data());
            }
        }
    }
}

template <class Map>
std::vector<int> Keys(const Map& map) {
    std::vector<int> keys;
    for (const auto& [key, value] : map) {
        keys.push_back(key);
    }
    return keys;
}

/// All sets of a kind have the same variables here.
void PutSetVariableNames(int file, ex_entity_type kind, const Model::Sets& sets) {
    if (sets.empty()) {
        return;
    }
    std::map<std::string, Model::Values> names;
    for (const auto& [name, values] : sets.begin()->second.variables) {
        names[name];
    }
    PutVariables(file, kind, names);
}

void PutSetVariables(int file, ex_entity_type kind, int id, const Model::Set& set, int nTimes) {
    int number = 0;
    for (const auto& [name, values] : set.variables) {
        ++number;
        for (int step = 1; step <= nTimes && !values.empty(); ++step) {
            std::vector<double> row;
            for (const auto& [member, ofMember] : values) {
                row.push_back(ofMember[static_cast<std::size_t>(step) - 1]);
            }
            ex_put_var(file, step, kind, number, id, std::ssize(row), row.data());
        }
    }
}

void Write(const Model& model, int dimension, const fs::path& path) {
    const File file(path, EX_CLOBBER);
    ex_init_params sizes{};
    sizes.num_dim = dimension;
    sizes.num_nodes = std::ssize(model.nodes);
    for (const auto& [id, block] : model.blocks) {
        sizes.num_elem += std::ssize(block.elements);
    }
    const auto setsOf = [&](ex_entity_type kind) {
        const auto found = model.sets.find(kind);
        return found == model.sets.end() ? Model::Sets() : found->second;
    };
    sizes.num_elem_blk = std::ssize(model.blocks);
    sizes.num_node_sets = std::ssize(setsOf(EX_NODE_SET));
    sizes.num_side_sets = std::ssize(setsOf(EX_SIDE_SET));
    ASSERT_EQ(ex_put_init_ext(file, &sizes), 0);
    const std::vector<int> nodes = Keys(model.nodes);
    std::vector<double> axes[3];
    std::map<int, int> placeOfNode;
    for (const auto& [label, position] : model.nodes) {
        placeOfNode[label] = static_cast<int>(placeOfNode.size()) + 1;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            axes[axis].push_back(position[axis]);
        }
    }
    if (!nodes.empty()) {
        ex_put_coord(file, axes[0].data(), axes[1].data(), axes[2].data());
        ex_put_id_map(file, EX_NODE_MAP, nodes.data());
    }
    PutVariables(file, EX_GLOBAL, model.global);
    PutVariables(file, EX_NODAL, model.nodal);
    std::vector<int> elements;
    std::map<int, int> placeOfElement;
    for (const auto& [id, block] : model.blocks) {
        const auto nEach = block.elements.empty() ? 0 : block.elements.begin()->second.size();
        const auto nAttributes =
            block.attributes.empty() ? 0 : block.attributes.begin()->second.size();
        ex_put_block(file, EX_ELEM_BLOCK, id, nEach == 0 ? "NULL" : block.shape.c_str(),
                     std::ssize(block.elements), static_cast<std::int64_t>(nEach), 0, 0,
                     static_cast<std::int64_t>(nAttributes));
        if (!block.name.empty()) {
            ex_put_name(file, EX_ELEM_BLOCK, id, block.name.c_str());
        }
        std::vector<int> rows;
        std::vector<double> attributes;
        for (const auto& [label, ofElement] : block.elements) {
            elements.push_back(label);
            placeOfElement[label] = static_cast<int>(elements.size());
            for (const int node : ofElement) {
                rows.push_back(placeOfNode.at(node));
            }
            const std::vector<double>& values = block.attributes.at(label);
            attributes.insert(attributes.end(), values.begin(), values.end());
        }
        if (!rows.empty()) {
            ex_put_conn(file, EX_ELEM_BLOCK, id, rows.data(), nullptr, nullptr);
        }
        if (!attributes.empty()) {
            ex_put_attr(file, EX_ELEM_BLOCK, id, attributes.data());
        }
    }
    if (!elements.empty()) {
        ex_put_id_map(file, EX_ELEM_MAP, elements.data());
    }
    for (const ex_entity_type kind : {EX_NODE_SET, EX_SIDE_SET}) {
        for (const auto& [id, set] : setsOf(kind)) {
            std::vector<double> factors;
            for (const auto& [member, values] : set.factors) {
                factors.insert(factors.end(), values.begin(), values.end());
            }
            ex_put_set_param(file, kind, id, std::ssize(set.members), std::ssize(factors));
            std::vector<int> members;
            std::vector<int> sides;
            for (const auto& [label, side] : set.members) {
                members.push_back((kind == EX_NODE_SET ? placeOfNode : placeOfElement).at(label));
                sides.push_back(side);
            }
            if (!members.empty()) {
                ex_put_set(file, kind, id, members.data(),
                           kind == EX_SIDE_SET ? sides.data() : nullptr);
            }
            if (!factors.empty()) {
                ex_put_set_dist_fact(file, kind, id, factors.data());
            }
            if (!set.name.empty()) {
                ex_put_name(file, kind, id, set.name.c_str());
            }
        }
        PutSetVariableNames(file, kind, setsOf(kind));
    }
    const auto nTimes = static_cast<int>(model.times.size());
    PutVariables(file, EX_ELEM_BLOCK, model.elemental);
    for (int step = 1; step <= nTimes; ++step) {
        ex_put_time(file, step, &model.times[static_cast<std::size_t>(step) - 1]);
        std::vector<double> global;
        for (const auto& [name, values] : model.global) {
            global.push_back(values.at({step, 0}));
        }
        if (!global.empty()) {
            ex_put_var(file, step, EX_GLOBAL, 1, 1, std::ssize(global), global.data());
        }
    }
    PutValues(file, EX_NODAL, 1, nodes, model.nodal, nTimes);
    for (const ex_entity_type kind : {EX_NODE_SET, EX_SIDE_SET}) {
        for (const auto& [id, set] : setsOf(kind)) {
            PutSetVariables(file, kind, static_cast<int>(id), set, nTimes);
        }
    }
    for (const auto& [id, block] : model.blocks) {
        PutValues(file, EX_ELEM_BLOCK, static_cast<int>(id), Keys(block.elements), model.elemental,
                  nTimes);
    }
}

class ExodusPiecesTest : public testing::Test {
  protected:
    fs::path FileOf(int piece, int count) const {
        return m_folder / ("cut.e." + std::to_string(count) + "." + std::to_string(piece));
    }
    std::vector<Model> Cut(const Model& whole, int count) const {
        // Elements that follow each other lie together, more or less.
        std::vector<int> labels;
        for (const auto& [id, block] : whole.blocks) {
            const std::vector<int> own = Keys(block.elements);
            labels.insert(labels.end(), own.begin(), own.end());
        }
        std::map<int, int> pieceOf;
        for (std::size_t i = 0; i < labels.size(); ++i) {
            pieceOf[labels[i]] =
                static_cast<int>(i * static_cast<std::size_t>(count) / labels.size());
        }
        std::vector<Model> pieces;
        for (int piece = 0; piece < count; ++piece) {
            pieces.push_back(PieceOf(
                whole, [&](int element) { return pieceOf.at(element) == piece; }, piece == 0));
        }
        return pieces;
    }
    CommandResult Import(const fs::path& file) const {
        return RunHere({"import", file, "-o", m_folder / "model.orq", "--force"});
    }
    Model Joined(const fs::path& file) const {
        const CommandResult imported = Import(file);
        EXPECT_EQ(imported.status, 0) << imported.err;
        const fs::path out = m_folder / "whole.e";
        const CommandResult exported =
            RunHere({"export", m_folder / "model.orq", "-o", out, "--force"});
        EXPECT_EQ(exported.status, 0) << exported.err;
        return Read(out);
    }

    ScratchFolder m_folder;
};

class ExodusPiecesOf : public ExodusPiecesTest, public testing::WithParamInterface<const char*> {};

/// Two blocks that share nodes, with results.
Model Small() {
    Model model;
    for (int i = 0; i < 9; ++i) {
        model.nodes[10 + i] = {1.0 * (i % 3), 1.0 * (i / 3), 0};
    }
    model.blocks[1] = {
        "left", "QUAD4", {{1, {10, 11, 14, 13}}, {3, {13, 14, 17, 16}}}, {{1, {}}, {3, {}}}};
    model.blocks[7] = {
        "right", "QUAD4", {{2, {11, 12, 15, 14}}, {4, {14, 15, 18, 17}}}, {{2, {}}, {4, {}}}};
    return model;
}

/// The same with sets that lie in both halves, whose members have factors and values that differ.
Model SmallWithSets() {
    Model model = Small();
    model.times = {0.5, 1.5};
    const auto add = [&](ex_entity_type kind, int id, std::set<Model::Member> members,
                         int nFactors) {
        Model::Set& set = model.sets[kind][id];
        set = {"set " + std::to_string(id), std::move(members), {}, {}};
        for (const Model::Member& member : set.members) {
            const double value = 100 * id + member.first + 0.1 * member.second;
            for (int i = 0; i < nFactors; ++i) {
                set.factors[member].push_back(value + 0.01 * i);
            }
            set.variables["flux"][member] = {-value, -value - 1000};
            set.variables["heat"][member] = {value, value + 1000};
        }
    };
    add(EX_NODE_SET, 3, {{10, 0}, {13, 0}}, 1);  // in the left half alone
    add(EX_NODE_SET, 4, {{13, 0}, {14, 0}, {15, 0}}, 1);
    add(EX_SIDE_SET, 8, {{1, 1}, {2, 1}, {3, 3}, {4, 3}}, 2);
    add(EX_SIDE_SET, 9, {{4, 2}}, 2);
    return model;
}

}  // namespace

TEST_P(ExodusPiecesOf, AreTheWholeModel) {
    const fs::path file = fs::path(ORQ_SHARED_MODELS) / GetParam();
    if (!fs::exists(file)) {
        GTEST_SKIP() << file << " is not here";
    }
    const Model whole = Read(file);
    const int dimension = std::string(GetParam()).starts_with("subduction") ? 2 : 3;
    const std::vector<Model> pieces = Cut(whole, 4);
    for (int piece = 0; piece < 4; ++piece) {
        Write(pieces[static_cast<std::size_t>(piece)], dimension, FileOf(piece, 4));
    }
    for (const int piece : {0, 2}) {  // any of them stands for all
        SCOPED_TRACE(piece);
        const Model joined = Joined(FileOf(piece, 4));
        EXPECT_EQ(joined.nodes, whole.nodes);
        EXPECT_EQ(joined.blocks, whole.blocks);
        EXPECT_EQ(joined.sets, whole.sets);
        EXPECT_EQ(joined.times, whole.times);
        EXPECT_EQ(joined.global, whole.global);
        EXPECT_EQ(joined.nodal, whole.nodal);
        EXPECT_EQ(joined.elemental, whole.elemental);
    }
}

INSTANTIATE_TEST_SUITE_P(Models, ExodusPiecesOf,
                         testing::Values("box_solid_shell_results.g", "subduction_tri.exo",
                                         "basemat_isolators.e", "block_crush_1.ex2"),
                         [](const auto& model) {
                             const std::string name = model.param;
                             return name.substr(0, name.find('.'));
                         });

TEST_F(ExodusPiecesTest, ThatIsMissingIsNamed) {
    const std::vector<Model> pieces = Cut(Small(), 3);
    Write(pieces[0], 3, FileOf(0, 3));
    Write(pieces[1], 3, FileOf(1, 3));
    const CommandResult result = Import(FileOf(1, 3));
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, AllOf(HasSubstr("cut.e.3.2"), HasSubstr("does not exist")));
}

TEST_F(ExodusPiecesTest, OfManyHaveNumbersWithZeros) {
    const Model whole = Small();
    const std::vector<Model> pieces = Cut(whole, 10);
    for (int piece = 0; piece < 10; ++piece) {
        Write(pieces[static_cast<std::size_t>(piece)], 3,
              m_folder / ("cut.e.10.0" + std::to_string(piece)));
    }
    EXPECT_EQ(Joined(m_folder / "cut.e.10.04").blocks, whole.blocks);
}

TEST_F(ExodusPiecesTest, HaveFactorsAndVariablesOfSetsByMember) {
    const Model whole = SmallWithSets();
    std::vector<Model> pieces = Cut(whole, 2);
    // A piece may know only the sets of which it has members, so that their numbers in it are others.
    std::erase_if(pieces[1].sets.at(EX_NODE_SET),
                  [](const auto& set) { return set.second.members.empty(); });
    Write(pieces[0], 3, FileOf(0, 2));
    Write(pieces[1], 3, FileOf(1, 2));
    EXPECT_EQ(Joined(FileOf(0, 2)).sets, whole.sets);
    EXPECT_THAT(Import(FileOf(0, 2)).out, Not(HasSubstr("joined without them")));

    pieces[1].sets.at(EX_NODE_SET).at(4).factors.clear();
    Write(pieces[1], 3, FileOf(1, 2));
    EXPECT_THAT(Import(FileOf(0, 2)).out, HasSubstr("some pieces have no values of it"));
    const Model::Set joined = Joined(FileOf(0, 2)).sets.at(EX_NODE_SET).at(4);
    EXPECT_EQ(joined.factors.at({15, 0}), std::vector<double>{1});  // the format's own value

    pieces[1] = Cut(whole, 2)[1];
    for (auto& [id, set] : pieces[1].sets.at(EX_SIDE_SET)) {
        auto flux = set.variables.extract("flux");
        flux.key() = "gas";
        set.variables.insert(std::move(flux));
    }
    Write(pieces[1], 3, FileOf(1, 2));
    EXPECT_THAT(Import(FileOf(0, 2)).err,
                AllOf(HasSubstr("name_sset_var"), HasSubstr("cut.e.2.0")));
}

TEST_F(ExodusPiecesTest, WithMapsThatContradictEachOtherAreErrors) {
    struct Case {
        const char* what;
        std::function<void(std::vector<Model>& pieces)> spoil;
        std::vector<std::string> texts;
    };
    const std::vector<Case> cases = {
        {"a node in two places",
         [](std::vector<Model>& pieces) {
             pieces[1].nodes.at(14) = {1, 1, 0.5};
         },
         {"cut.e.2.1", "node 14 is at 1 1 0.5", "cut.e.2.0 at 1 1 0"}},
        {"an element twice",
         [](std::vector<Model>& pieces) {
             pieces[1].blocks.at(7).elements[1] = pieces[1].blocks.at(7).elements.at(2);
             pieces[1].blocks.at(7).attributes[1] = {};
         },
         {"elements 1 and 3 in file order both have label 1"}},
        {"an element of one block twice",
         [](std::vector<Model>& pieces) {
             pieces[1].blocks.at(1) = pieces[0].blocks.at(1);
             pieces[1].nodes = Small().nodes;
         },
         {"cut.e.2.1", "element 1 is in cut.e.2.0 too"}},
        {"two shapes",
         [](std::vector<Model>& pieces) {
             pieces[1].blocks.at(1) = {"left", "SHELL4", pieces[1].blocks.at(7).elements,
                                       pieces[1].blocks.at(7).attributes};
             pieces[1].blocks.at(7).elements.clear();
             pieces[1].blocks.at(7).attributes.clear();
         },
         {"cut.e.2.1", "element block 1", "SHELL4", "QUAD4"}},
        {"other times",
         [](std::vector<Model>& pieces) {
             pieces[1].times = {1, 2};
         },
         {"cut.e.2.1", "time steps"}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        std::vector<Model> pieces = Cut(Small(), 2);
        one.spoil(pieces);
        Write(pieces[0], 3, FileOf(0, 2));
        Write(pieces[1], 3, FileOf(1, 2));
        const CommandResult result = Import(FileOf(0, 2));
        EXPECT_EQ(result.status, 3) << result.out;
        for (const std::string& text : one.texts) {
            EXPECT_THAT(result.err, HasSubstr(text));
        }
    }
}

// "plate.2.7" is the seventh version of something, not a piece.
TEST_F(ExodusPiecesTest, AreNotMeantByOtherNumbers) {
    Write(Small(), 3, m_folder / "plate.2.7");
    EXPECT_EQ(Import(m_folder / "plate.2.7").status, 0);
}

TEST_F(ExodusPiecesTest, OrWholeModelsKeepEmptyBlocksWithoutShape) {
    Model model = Small();
    model.blocks[9] = {"later", "NULL", {}, {}};
    Write(model, 3, m_folder / "whole_with_empty.e");
    EXPECT_EQ(Joined(m_folder / "whole_with_empty.e").blocks, model.blocks);
}
