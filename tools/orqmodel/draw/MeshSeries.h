#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "draw/Deformation.h"
#include "draw/FieldValues.h"
#include "draw/MeshPicture.h"

namespace orqmodel {

/// A mesh at some times: coloured by the values of results, or deformed by them, or both. All
/// pictures have the same colours for the same values, and the same scale.
class MeshSeries {
  public:
    struct Options {
        MeshPictureOptions picture;
        std::string field;    ///< as ShownField takes it; empty for none
        ShownPlace place;     ///< of the field
        std::string measure;  ///< one of MeasureNames, instead of a field; empty for none
        std::string deform;   ///< as Deformation takes it; empty for none
        /// The time, counted from 1; 0 for the last at which the field has values, else the
        /// deformation.
        int time = 0;
        bool isAllTimes = false;
    };

    /// `name` is the model's where it has no title. Reads the values of all times that will be
    /// drawn where there are several. Throws Usage for results that the model lacks.
    MeshSeries(const ORQObjDocument& document, const std::string& name, const Options& options);

    /// The times of the pictures, from 1 among those of the model; {0} where none depends on a time.
    const std::vector<int>& Times() const { return m_times; }
    /// Throws as MeshPicture does, and Usage for a time without values.
    MeshPicture PictureAt(int time, const Progress& progress = IgnoreProgress);

  private:
    void PlanTimes(const Options& options);

    ORQExcModel m_model;
    ORQExcResults m_results;
    std::string m_name;
    MeshPictureOptions m_picture;
    std::optional<ShownField> m_field;
    std::optional<Deformation> m_deformation;
    std::vector<int> m_times;
};

}  // namespace orqmodel
