#include <exodusII.h>
#include <fmt/format.h>

#include <stdexcept>
#include <utility>

#include "WingBox.h"

namespace wing_box {
namespace {

/// An Exodus file being written. Its text attributes hold no date, user or host.
class Output {
  public:
    explicit Output(const std::filesystem::path& file) : m_file(file) {
        ex_opts(0);
        int bytesPerReal = sizeof(double);
        int storedBytesPerReal = sizeof(double);
        m_id = ex_create(file.c_str(), EX_CLOBBER | EX_NORMAL_MODEL, &bytesPerReal,
                         &storedBytesPerReal);
        Check(m_id, "create");
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() {
        if (m_id >= 0) {
            ex_close(m_id);
        }
    }

    int Id() const { return m_id; }

    void Check(int status, const char* step) const {
        if (status < 0) {
            throw std::runtime_error(fmt::format("{}: {} failed", m_file.string(), step));
        }
    }

    void Close() { Check(ex_close(std::exchange(m_id, -1)), "close"); }

  private:
    std::filesystem::path m_file;
    int m_id = -1;
};

std::size_t CountElements(const Mesh& mesh) {
    std::size_t count = 0;
    for (const auto& block : mesh.blocks) {
        count += block.elements.size();
    }
    return count;
}

void WriteNodes(const Output& output, const Mesh& mesh) {
    std::array<std::vector<double>, 3> axes;
    std::vector<int> labels;
    for (const auto& node : mesh.nodes) {
        for (std::size_t axis = 0; axis < axes.size(); ++axis) {
            axes[axis].push_back(node.position[axis]);
        }
        labels.push_back(node.label);
    }
    output.Check(ex_put_coord(output.Id(), axes[0].data(), axes[1].data(), axes[2].data()),
                 "coordinates");
    char* names[] = {const_cast<char*>("x"), const_cast<char*>("y"), const_cast<char*>("z")};
    output.Check(ex_put_coord_names(output.Id(), names), "coordinate names");
    output.Check(ex_put_id_map(output.Id(), EX_NODE_MAP, labels.data()), "node labels");
}

void WriteBlock(const Output& output, const Block& block) {
    const auto nodesPerElement = block.elements.front().nodes.size();
    std::vector<int> connectivity;
    for (const auto& element : block.elements) {
        for (const int node : element.nodes) {
            connectivity.push_back(node + 1);
        }
    }
    output.Check(
        ex_put_block(output.Id(), EX_ELEM_BLOCK, block.id, nodesPerElement == 4 ? "SHELL4" : "TRI3",
                     static_cast<int64_t>(block.elements.size()),
                     static_cast<int64_t>(nodesPerElement), 0, 0, 0),
        "block");
    output.Check(
        ex_put_conn(output.Id(), EX_ELEM_BLOCK, block.id, connectivity.data(), nullptr, nullptr),
        "connectivity");
    output.Check(ex_put_name(output.Id(), EX_ELEM_BLOCK, block.id, block.name.c_str()),
                 "block name");
}

void WriteElements(const Output& output, const Mesh& mesh) {
    std::vector<int> labels;
    for (const auto& block : mesh.blocks) {
        WriteBlock(output, block);
        for (const auto& element : block.elements) {
            labels.push_back(element.label);
        }
    }
    output.Check(ex_put_id_map(output.Id(), EX_ELEM_MAP, labels.data()), "element labels");
}

void WriteSet(const Output& output, ex_entity_type type, int id, const std::string& name,
              const std::vector<int>& members, const std::vector<int>& sides) {
    output.Check(ex_put_set_param(output.Id(), type, id, static_cast<int64_t>(members.size()), 0),
                 "set");
    output.Check(ex_put_set(output.Id(), type, id, members.data(), sides.data()), "set members");
    output.Check(ex_put_name(output.Id(), type, id, name.c_str()), "set name");
}

void WriteSets(const Output& output, const Mesh& mesh) {
    for (const auto& set : mesh.nodeSets) {
        std::vector<int> members;
        for (const int node : set.nodes) {
            members.push_back(node + 1);
        }
        WriteSet(output, EX_NODE_SET, set.id, set.name, members, {});
    }
    for (const auto& set : mesh.sideSets) {
        std::vector<int> elements;
        std::vector<int> sides;
        for (const auto& side : set.sides) {
            elements.push_back(side.element + 1);
            sides.push_back(side.side);
        }
        WriteSet(output, EX_SIDE_SET, set.id, set.name, elements, sides);
    }
}

}  // namespace

void Write(const Mesh& mesh, const std::filesystem::path& file) {
    Output output(file);
    output.Check(
        ex_put_init(
            output.Id(), mesh.title.c_str(), 3, static_cast<int64_t>(mesh.nodes.size()),
            static_cast<int64_t>(CountElements(mesh)), static_cast<int64_t>(mesh.blocks.size()),
            static_cast<int64_t>(mesh.nodeSets.size()), static_cast<int64_t>(mesh.sideSets.size())),
        "sizes");
    WriteNodes(output, mesh);
    WriteElements(output, mesh);
    WriteSets(output, mesh);
    output.Close();
}

}  // namespace wing_box
