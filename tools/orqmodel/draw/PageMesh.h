#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "draw/MeshPicture.h"
#include "draw/PackedArrays.h"
#include "draw/Skin.h"

namespace orqmodel {

/// A colour as pages name it, "#0072b2".
std::string HexOf(Colour colour);

/// The mesh of a page: the skin, its blocks, sections or materials, and its sets. Refers to the
/// model and the options.
class PageMesh {
  public:
    /// Throws as SkinOf and BlocksNamed do.
    PageMesh(const ORQExcModel& model, const MeshPictureOptions& options, const Progress& progress);

    const Skin& Contents() const { return m_skin; }
    /// Ordinals of the skin's nodes, in the order in which parts use them first: that of the page.
    const std::vector<int>& Nodes() const { return m_nodes; }
    /// Ordinals of the elements of the parts; -1 for none.
    const std::vector<int>& Elements() const { return m_elements; }

    /// What the script of the page takes apart again. Throws as PartsOfSets and Groups do.
    nlohmann::json Into(PackedArrays& arrays) const;

  private:
    nlohmann::json NodesInto(PackedArrays& arrays) const;
    nlohmann::json PartsInto(PackedArrays& arrays) const;
    nlohmann::json BlocksOf() const;
    nlohmann::json GroupsInto(PackedArrays& arrays) const;
    nlohmann::json SetsInto(PackedArrays& arrays) const;
    nlohmann::json InstancesInto(PackedArrays& arrays) const;
    static int LabelsInto(PackedArrays& arrays, const std::vector<int>& labels,
                          const std::vector<int>& members);

    const ORQExcModel& m_model;
    const MeshPictureOptions& m_options;
    Skin m_skin;
    std::vector<int> m_nodes;
    std::vector<int> m_placeOf;  // of an ordinal in m_nodes; -1 inside
    std::vector<int> m_elements;
};

}  // namespace orqmodel
