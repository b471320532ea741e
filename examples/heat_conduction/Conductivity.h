#pragma once

#include <utility>
#include <vector>

#include "ORQObjDocument.h"
#include "ORQSimTransaction.h"
#include "ORQString.h"

namespace heat {

/// Thermal conductivity by temperature: straight lines between the rows of a table, constant
/// outside of them.
class Conductivity {
  public:
    using Row = std::pair<double, double>;  ///< temperature, conductivity

    /// Throws HeatError for a table without rows, with a conductivity that is not above 0, or whose
    /// temperatures do not ascend.
    explicit Conductivity(std::vector<Row> rows);

    /// Keeps the table in the model, as a property of the material of that name, which is made
    /// when there is none. An earlier table is replaced.
    void Save(ORQSimTransaction& transaction, const ORQObjDocument& document,
              const ORQString& material) const;
    /// The table of a material. Throws HeatError when there is none.
    static Conductivity Read(const ORQObjDocument& document, const ORQString& material);

    double At(double temperature) const;
    const std::vector<Row>& Rows() const { return m_rows; }

  private:
    std::vector<Row> m_rows;
};

}  // namespace heat
