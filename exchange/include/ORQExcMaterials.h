#pragma once

#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcMaterialTable.h"
#include "ORQObjDocument.h"

/// The materials of a model, for what lists or draws them. Tables are read when they are asked for.
class ORQ_EXPORT ORQExcMaterials {
  public:
    struct Material {
        std::string name;
        int number;        ///< in its file
        std::string kind;  ///< as in ORQExcLayup::Material
        ORQSimPosition position;
    };

    explicit ORQExcMaterials(const ORQObjDocument& document);

    /// The materials in the order of their numbers in the collection.
    const std::vector<Material>& Materials() const { return m_materials; }
    /// Throws ORQBasFailure (Usage), naming what is near, when there is none of the name.
    const Material& Named(const std::string& name) const;

  private:
    std::vector<Material> m_materials;
};
