#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "draw/Deformation.h"
#include "draw/FieldValues.h"
#include "draw/PackedArrays.h"
#include "draw/PageMesh.h"
#include "draw/Progress.h"

namespace orqmodel {

/// The results of a page: fields over time, what elements measure, and a deformation, each of what
/// the page's mesh has. Refers to what it is made of.
class PageResults {
  public:
    struct Wanted {
        std::vector<std::string> fields;  ///< as ShownField takes them
        ShownPlace place;                 ///< of each of the fields
        std::string measure;              ///< one of MeasureNames; empty for none
        std::string deform;               ///< as Deformation takes it; empty for none
        int time = 0;                     ///< counted from 1; 0 for all
    };

    /// Throws Usage for results that the model lacks.
    PageResults(const ORQExcModel& model, const ORQExcResults& results, const PageMesh& mesh,
                const Wanted& wanted);

    /// The most that a field or the deformation has.
    std::size_t NumTimes() const;
    /// Leaves times out, evenly, so that so many bytes hold the rest before they are packed; one
    /// stays in any case.
    void KeepTimesFor(std::size_t room);

    /// What the script of the page takes apart again. Calls `progress` with what part is done, from
    /// 0 to 1. Holds one time of one field in memory.
    nlohmann::json Into(PackedArrays& arrays, const Progress& progress) const;

  private:
    struct Series {
        std::vector<int> times;  // counted from 1; 0 for what has none
        std::size_t timeBytes;   // of a time, before it is packed
    };

    void PlanTimes(const Wanted& wanted);
    nlohmann::json ValuesInto(PackedArrays& arrays, const FieldValues& field, int time) const;
    nlohmann::json FieldsInto(PackedArrays& arrays, const Progress& progress) const;
    nlohmann::json MovesInto(PackedArrays& arrays) const;

    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    const PageMesh& m_mesh;
    std::vector<ShownField> m_fields;
    std::optional<FieldValues> m_measure;
    std::optional<Deformation> m_deformation;
    std::vector<Series> m_series;  // of each field, then of the measure, then of the deformation
};

}  // namespace orqmodel
