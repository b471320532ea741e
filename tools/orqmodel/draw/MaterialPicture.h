#pragma once

#include <string>
#include <vector>

#include "ORQExcMaterials.h"
#include "draw/Graph.h"
#include "draw/Picture.h"

namespace orqmodel {

/// A material as graphs of its properties over temperature, or over a field variable where they do
/// not depend on temperature; rows of other field variables are curves of their own. Components
/// share a graph where their values are of one property, of the same units and alike in size.
/// Components that do not vary are listed below or, when nothing varies, drawn as level lines.
class MaterialPicture : public Picture {
  public:
    MaterialPicture(const ORQExcMaterials::Material& material,
                    const std::vector<ORQExcMaterialTable>& tables, PictureSize size);

    std::size_t NumGraphs() const { return m_graphs.size(); }

  private:
    /// A component of a table with what is needed to find its graph.
    struct Component {
        std::string property;
        std::string name;
        std::string units;
        std::string xLabel;  // empty for a constant
        double largest;      // of its numbers, without their signs
        std::vector<Curve> curves;
    };

    static Component ComponentOf(const ORQExcMaterialTable& table, std::size_t component);
    void AddGraph(const std::vector<Component>& components);
    void Paint(Canvas& canvas) const override;
    double PaintConstants(Canvas& canvas, double textSize) const;

    std::string m_title;
    std::string m_details;
    std::vector<Graph> m_graphs;
    std::vector<std::string> m_constants;  // a text each
};

}  // namespace orqmodel
