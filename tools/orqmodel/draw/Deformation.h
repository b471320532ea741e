#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "draw/Space.h"

namespace orqmodel {

/// The displacements of the nodes of a model, scaled so that they can be seen.
class Deformation {
  public:
    /// `text` is the name of a vector field at nodes, or that and its scale, "DISPL:50". Throws
    /// Usage, naming what is near, for what is no such field.
    Deformation(const ORQExcModel& model, const ORQExcResults& results, const std::string& text);

    /// The times at which the field has values, from 1.
    std::vector<int> Times() const;
    /// Sets the scale. REQUIRES: called before what follows, with the times that will be drawn,
    /// which are read. Without a scale of its own, the largest displacement becomes a twentieth of
    /// the model's diagonal. Throws Usage for a time without values.
    void Scale(const std::vector<int>& times);
    /// The scaled displacement of each node; 0 where the field has no value.
    std::vector<Point> At(int time) const;
    std::vector<Point> Unscaled(int time) const;
    double Factor() const { return *m_scale; }
    const std::string& Name() const { return m_field->name; }
    /// The length of the largest, scaled.
    double Reach() const { return *m_scale * m_largest; }
    /// "DISPL x 50"
    std::string Text() const;

  private:
    const ORQExcModel& m_model;
    const ORQExcResults& m_results;
    const ORQExcResults::Field* m_field = nullptr;
    std::optional<double> m_scale;
    double m_largest = 0;
};

}  // namespace orqmodel
