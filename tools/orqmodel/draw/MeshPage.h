#pragma once

#include <cstddef>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "draw/MeshPicture.h"
#include "draw/PageMesh.h"
#include "draw/PageResults.h"

namespace orqmodel {

/// A mesh as one page that a browser shows by itself: turned, zoomed, cut, its blocks and sets
/// switched on and off, coloured by fields over time, deformed; a click names what is there. The
/// page asks no network for anything.
///
/// It holds what the skin shows and no more. Coordinates are rounded to a 65,535th of the extent,
/// or a 16,777,215th where edges of elements are short beside it; values to a 65,534th of their
/// range at that time, of which the ends are exact; displacements to a 32,767th of the largest.
class MeshPage {
  public:
    struct Options {
        MeshPictureOptions
            picture;  ///< of it the view, blocks, sets, clips, edges, groups and progress
        PageResults::Wanted results;
        /// Size of the file. Times that have no room are left out, evenly.
        std::size_t mostBytes = 20'000'000;
    };

    // Parts of a page refer to each other.
    MeshPage(const MeshPage&) = delete;
    MeshPage& operator=(const MeshPage&) = delete;

    /// `name` is the model's where it has no title. Throws as MeshPicture and MeshSeries do.
    MeshPage(const ORQObjDocument& document, const std::string& name, const Options& options);

    /// Holds in memory the skin and one time of one field. Throws ORQExcExportError, and Usage where the mesh alone has no room.
    void Write(const std::filesystem::path& path);

    const Skin& Contents() const { return m_mesh.Contents(); }
    /// After Write, what was left out, one sentence each.
    const std::vector<std::string>& Notes() const { return m_notes; }

  private:
    nlohmann::json Description() const;

    ORQExcModel m_model;
    ORQExcResults m_results;
    MeshPictureOptions m_picture;
    std::string m_title;
    std::size_t m_mostBytes;
    PageMesh m_mesh;
    PageResults m_shown;
    std::vector<std::string> m_notes;
};

}  // namespace orqmodel
