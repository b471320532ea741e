#include "ExodusFile.h"

#include <exodusII.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <string>

#include "ORQSimDatabase.h"

namespace exodus_file {
namespace {

int Checked(int status) {
    if (status < 0) {
        throw std::runtime_error(std::string("the Exodus library failed in a test: status ") +
                                 std::to_string(status));
    }
    return status;
}

int Open(const std::filesystem::path& path) {
    ex_opts(0);
    int callerBytes = sizeof(double);
    int storedBytes = 0;
    float version = 0;
    return Checked(ex_open(path.c_str(), EX_READ, &callerBytes, &storedBytes, &version));
}

std::string NameOf(int file, ex_entity_type type, std::int64_t id) {
    std::array<char, MAX_NAME_LENGTH + 1> name{};
    Checked(ex_get_name(file, type, id, name.data()));
    return name.data();
}

std::vector<int> Ids(int file, ex_entity_type type, std::int64_t count) {
    std::vector<int> ids(static_cast<std::size_t>(count));
    if (count > 0) {
        Checked(ex_get_ids(file, type, ids.data()));
    }
    return ids;
}

std::vector<Block> ReadBlocks(int file, const ex_init_params& sizes) {
    std::vector<int> labels(static_cast<std::size_t>(sizes.num_elem));
    Checked(ex_get_id_map(file, EX_ELEM_MAP, labels.data()));
    auto label = labels.begin();
    std::vector<Block> blocks;
    for (const int id : Ids(file, EX_ELEM_BLOCK, sizes.num_elem_blk)) {
        ex_block stored{};
        stored.id = id;
        stored.type = EX_ELEM_BLOCK;
        Checked(ex_get_block_param(file, &stored));
        const auto width = static_cast<std::size_t>(stored.num_nodes_per_entry);
        std::vector<int> connectivity(static_cast<std::size_t>(stored.num_entry) * width);
        Checked(ex_get_conn(file, EX_ELEM_BLOCK, id, connectivity.data(), nullptr, nullptr));
        Block block{id, NameOf(file, EX_ELEM_BLOCK, id), stored.topology, {}, {}};
        for (std::size_t at = 0; at < connectivity.size(); at += width) {
            auto& element = block.elements.emplace_back();
            for (std::size_t node = 0; node < width; ++node) {
                element.push_back(connectivity[at + node] - 1);
            }
            block.labels.push_back(*label++);
        }
        blocks.push_back(block);
    }
    return blocks;
}

std::vector<Set> ReadSets(int file, ex_entity_type type, std::int64_t count) {
    std::vector<Set> sets;
    for (const int id : Ids(file, type, count)) {
        int members = 0;
        int factors = 0;
        Checked(ex_get_set_param(file, type, id, &members, &factors));
        Set set{id, NameOf(file, type, id), {}, {}};
        set.members.resize(static_cast<std::size_t>(members));
        set.sides.resize(type == EX_SIDE_SET ? set.members.size() : 0);
        Checked(ex_get_set(file, type, id, set.members.data(), set.sides.data()));
        for (int& member : set.members) {
            --member;
        }
        sets.push_back(set);
    }
    return sets;
}

std::int64_t SizeOf(const BlockContent& block) {
    return block.claimedElements.value_or(block.width > 0 ? std::ssize(block.nodes) / block.width
                                                          : 0);
}

void WriteBlock(int file, const BlockContent& content) {
    Checked(ex_put_block(file, EX_ELEM_BLOCK, content.id, content.shape.c_str(), SizeOf(content),
                         content.width, 0, 0, 0));
    if (!content.name.empty()) {
        Checked(ex_put_name(file, EX_ELEM_BLOCK, content.id, content.name.c_str()));
    }
    if (!content.nodes.empty()) {
        Checked(
            ex_put_conn(file, EX_ELEM_BLOCK, content.id, content.nodes.data(), nullptr, nullptr));
    }
}

void WriteSets(int file, ex_entity_type type, const std::vector<SetContent>& sets) {
    for (const SetContent& set : sets) {
        Checked(ex_put_set_param(file, type, set.id, std::ssize(set.members), 0));
        if (!set.name.empty()) {
            Checked(ex_put_name(file, type, set.id, set.name.c_str()));
        }
        if (!set.members.empty()) {
            Checked(ex_put_set(file, type, set.id, set.members.data(),
                               set.sides.empty() ? nullptr : set.sides.data()));
        }
    }
}

}  // namespace

void Write(const Content& content, const std::filesystem::path& file) {
    ex_opts(0);
    int callerBytes = sizeof(double);
    int storedBytes = content.isSinglePrecision ? sizeof(float) : sizeof(double);
    const int container = content.isHdf5 ? EX_NETCDF4 : EX_NORMAL_MODEL;
    const int id = Checked(ex_create(
        file.c_str(), EX_CLOBBER | container | EX_ALL_INT64_API | EX_ALL_INT64_DB * content.isHdf5,
        &callerBytes, &storedBytes));
    ex_set_max_name_length(id, content.longestName);
    ex_init_params sizes{};
    std::strncpy(sizes.title, content.title.c_str(), MAX_LINE_LENGTH);
    sizes.num_dim = content.dimension;
    sizes.num_nodes = content.claimedNodes.value_or(static_cast<std::int64_t>(content.x.size()));
    for (const BlockContent& block : content.blocks) {
        sizes.num_elem += SizeOf(block);
    }
    sizes.num_elem = content.claimedElements.value_or(sizes.num_elem);
    sizes.num_elem_blk = std::ssize(content.blocks);
    sizes.num_node_sets = std::ssize(content.nodeSets);
    sizes.num_elem_sets = std::ssize(content.elementSets);
    sizes.num_side_sets = std::ssize(content.sideSets);
    Checked(ex_put_init_ext(id, &sizes));
    if (content.hasCoordinates) {
        Checked(ex_put_coord(id, content.x.data(), content.y.data(), content.z.data()));
    }
    if (!content.labels.empty()) {
        Checked(ex_put_id_map(id, EX_NODE_MAP, content.labels.data()));
    }
    for (const BlockContent& block : content.blocks) {
        WriteBlock(id, block);
    }
    if (!content.elementLabels.empty()) {
        Checked(ex_put_id_map(id, EX_ELEM_MAP, content.elementLabels.data()));
    }
    WriteSets(id, EX_NODE_SET, content.nodeSets);
    WriteSets(id, EX_ELEM_SET, content.elementSets);
    WriteSets(id, EX_SIDE_SET, content.sideSets);
    Checked(ex_close(id));
}

Mesh Read(const std::filesystem::path& path) {
    const int file = Open(path);
    ex_init_params sizes{};
    Checked(ex_get_init_ext(file, &sizes));
    const auto nodes = static_cast<std::size_t>(sizes.num_nodes);
    std::vector<double> x(nodes), y(nodes), z(nodes);
    Checked(ex_get_coord(file, x.data(), y.data(), z.data()));
    Mesh mesh{
        static_cast<int>(sizes.num_dim), sizes.title, {}, std::vector<int>(nodes), {}, {}, {}, {}};
    for (std::size_t node = 0; node < nodes; ++node) {
        mesh.positions.push_back({x[node], y[node], z[node]});
    }
    Checked(ex_get_id_map(file, EX_NODE_MAP, mesh.labels.data()));
    mesh.blocks = ReadBlocks(file, sizes);
    mesh.nodeSets = ReadSets(file, EX_NODE_SET, sizes.num_node_sets);
    mesh.elementSets = ReadSets(file, EX_ELEM_SET, sizes.num_elem_sets);
    mesh.sideSets = ReadSets(file, EX_SIDE_SET, sizes.num_side_sets);
    Checked(ex_close(file));
    return mesh;
}

namespace {

std::vector<std::string> ReadNames(int file, ex_entity_type kind) {
    int count = 0;
    Checked(ex_get_variable_param(file, kind, &count));
    std::vector<std::string> names;
    for (int i = 1; i <= count; ++i) {
        std::array<char, 256> name{};
        Checked(ex_get_variable_name(file, kind, i, name.data()));
        names.emplace_back(name.data());
    }
    return names;
}

}  // namespace

void AddElementResults(const std::filesystem::path& path,
                       const std::vector<ElementVariable>& variables) {
    int computer = 8;
    int stored = 8;
    float version = 0;
    const int file = ex_open(path.c_str(), EX_WRITE, &computer, &stored, &version);
    Checked(file);
    ex_set_max_name_length(file, 64);
    std::vector<int> blocks(static_cast<std::size_t>(ex_inquire_int(file, EX_INQ_ELEM_BLK)));
    Checked(ex_get_ids(file, EX_ELEM_BLOCK, blocks.data()));
    std::vector<std::string> names;
    std::vector<int> truth;
    std::size_t nTimes = 0;
    for (const ElementVariable& variable : variables) {
        names.push_back(variable.name);
    }
    for (const int block : blocks) {
        for (const ElementVariable& variable : variables) {
            truth.push_back(variable.values.contains(block) ? 1 : 0);
        }
    }
    std::vector<char*> pointers;
    for (std::string& name : names) {
        pointers.push_back(name.data());
    }
    const int nVariables = static_cast<int>(variables.size());
    Checked(ex_put_variable_param(file, EX_ELEM_BLOCK, nVariables));
    Checked(ex_put_variable_names(file, EX_ELEM_BLOCK, nVariables, pointers.data()));
    Checked(ex_put_truth_table(file, EX_ELEM_BLOCK, static_cast<int>(blocks.size()), nVariables,
                               truth.data()));
    for (int variable = 1; variable <= nVariables; ++variable) {
        for (const auto& [block, times] :
             variables[static_cast<std::size_t>(variable - 1)].values) {
            for (std::size_t time = 0; time < times.size(); ++time) {
                const auto value = static_cast<double>(time);
                if (time >= nTimes) {
                    Checked(ex_put_time(file, static_cast<int>(++nTimes), &value));
                }
                Checked(ex_put_var(file, static_cast<int>(time) + 1, EX_ELEM_BLOCK, variable, block,
                                   std::ssize(times[time]), times[time].data()));
            }
        }
    }
    ex_close(file);
}

Results ReadResults(const std::filesystem::path& path) {
    const int file = Open(path);
    ex_set_max_name_length(file, 255);
    ex_init_params sizes{};
    Checked(ex_get_init_ext(file, &sizes));
    Results results{{},
                    ReadNames(file, EX_GLOBAL),
                    ReadNames(file, EX_NODAL),
                    ReadNames(file, EX_ELEM_BLOCK),
                    {},
                    {}};
    results.times.resize(static_cast<std::size_t>(ex_inquire_int(file, EX_INQ_TIME)));
    if (!results.times.empty()) {
        Checked(ex_get_all_times(file, results.times.data()));
    }
    std::vector<int> blocks(static_cast<std::size_t>(sizes.num_elem_blk));
    if (!blocks.empty()) {
        Checked(ex_get_ids(file, EX_ELEM_BLOCK, blocks.data()));
    }
    const auto nElemental = results.elemental.size();
    results.truth.resize(blocks.size() * nElemental);
    if (!results.truth.empty()) {
        Checked(ex_get_truth_table(file, EX_ELEM_BLOCK, static_cast<int>(blocks.size()),
                                   static_cast<int>(nElemental), results.truth.data()));
    }
    const auto read = [&](int step, ex_entity_type kind, std::size_t variable, std::int64_t id,
                          std::int64_t count, const std::string& name) {
        std::vector<double> values(static_cast<std::size_t>(count));
        Checked(
            ex_get_var(file, step, kind, static_cast<int>(variable) + 1, id, count, values.data()));
        auto& bits = results.values[name + " " + std::to_string(step)];
        for (const double value : values) {
            bits.push_back(std::bit_cast<std::uint64_t>(value));
        }
    };
    for (int step = 1; step <= std::ssize(results.times); ++step) {
        if (!results.global.empty()) {
            read(step, EX_GLOBAL, 0, 1, std::ssize(results.global), "global");
        }
        for (std::size_t i = 0; i < results.nodal.size(); ++i) {
            read(step, EX_NODAL, i, 1, sizes.num_nodes, results.nodal[i]);
        }
        for (std::size_t block = 0; block < blocks.size(); ++block) {
            ex_block inFile{};
            inFile.id = blocks[block];
            inFile.type = EX_ELEM_BLOCK;
            Checked(ex_get_block_param(file, &inFile));
            for (std::size_t i = 0; i < nElemental; ++i) {
                if (results.truth[block * nElemental + i] != 0) {
                    read(step, EX_ELEM_BLOCK, i, blocks[block], inFile.num_entry,
                         results.elemental[i] + " " + std::to_string(blocks[block]));
                }
            }
        }
    }
    Checked(ex_close(file));
    return results;
}

namespace {

void VerifyModel(const std::string& path) {
    try {
        const auto database = ORQSimDatabase::Open(path, ORQSimDatabase::Mode::ReadOnly);
        for (const std::string& flaw : database.Verify()) {
            ADD_FAILURE() << path << ": " << flaw;
        }
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
    }
}

}  // namespace

ScratchFolder::ScratchFolder() {
    auto pattern = (std::filesystem::temp_directory_path() / "orqmodel_test_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot make a scratch folder");
    }
    m_path = pattern;
}

ScratchFolder::~ScratchFolder() {
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
        const bool isModel = std::filesystem::exists(entry.path() / "catalogue.sqlite");
        if (isModel && !m_holdsDamage) {
            VerifyModel(entry.path().string());
        }
    }
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace exodus_file
