#include "LabelledModel.h"

#include <exodusII.h>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace exodus_file {

namespace {

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
                      const std::vector<LabelledModel::Member>& members, LabelledModel::Set& set) {
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
              LabelledModel& model) {
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
        LabelledModel::Set& set = model.sets[kind][id];
        set.name = NameOf(file, kind, id);
        auto factor = factors.begin();
        std::vector<LabelledModel::Member> keys;
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
                std::map<std::string, LabelledModel::Values>& all,
                const std::vector<int>& truth = {}) {
    const std::vector<std::string> names = VariablesOf(file, kind);
    const auto nTimes = static_cast<int>(ex_inquire_int(file, EX_INQ_TIME));
    for (std::size_t i = 0; i < names.size(); ++i) {
        LabelledModel::Values& values = all[names[i]];
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

void PutVariables(int file, ex_entity_type kind,
                  const std::map<std::string, LabelledModel::Values>& all) {
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
               const std::map<std::string, LabelledModel::Values>& all, int nTimes) {
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

/// All sets of a kind have the same variables here.
void PutSetVariableNames(int file, ex_entity_type kind, const LabelledModel::Sets& sets) {
    if (sets.empty()) {
        return;
    }
    std::map<std::string, LabelledModel::Values> names;
    for (const auto& [name, values] : sets.begin()->second.variables) {
        names[name];
    }
    PutVariables(file, kind, names);
}

void PutSetVariables(int file, ex_entity_type kind, int id, const LabelledModel::Set& set,
                     int nTimes) {
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

}  // namespace

LabelledModel ReadLabelled(const fs::path& path) {
    const File file(path, EX_READ);
    LabelledModel model;
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
        LabelledModel::Block& block = model.blocks[inFile.id];
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

void WriteLabelled(const LabelledModel& model, int dimension, const fs::path& path) {
    const File file(path, EX_CLOBBER);
    ex_init_params sizes{};
    sizes.num_dim = dimension;
    sizes.num_nodes = std::ssize(model.nodes);
    for (const auto& [id, block] : model.blocks) {
        sizes.num_elem += std::ssize(block.elements);
    }
    const auto setsOf = [&](ex_entity_type kind) {
        const auto found = model.sets.find(kind);
        return found == model.sets.end() ? LabelledModel::Sets() : found->second;
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

}  // namespace exodus_file
