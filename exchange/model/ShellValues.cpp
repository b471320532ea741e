#include <cmath>

#include "ORQExcNearNames.h"
#include "ORQExcShellValues.h"
#include "model/NoValue.h"
#include "model/ShellColumns.h"

using namespace orq::exchange;

namespace {

bool IsColumnOf(const ORQExcModel::Block& block, const std::string& name, std::size_t column,
                ORQExcShellValue value) {
    const bool isAttribute = column < block.attributes.size();
    if (value == ORQExcShellValue::Thickness) {
        return isAttribute ? IsThicknessAttribute(block, column) : name == kThicknessAttribute;
    }
    return (isAttribute ? WithoutCase(name) : name) == kOffsetAttribute;
}

}  // namespace

std::vector<double> ORQExcShellValuesOf(const ORQExcModel& model, ORQExcShellValue value) {
    std::vector<double> values(static_cast<std::size_t>(model.NumElements()), kNoValue);
    const ShellColumns shells(model);
    for (const ORQExcModel::Block& block : model.Blocks()) {
        const std::vector<std::string>& names = shells.NamesOf(block);
        for (std::size_t column = 0; column < names.size(); ++column) {
            if (!IsColumnOf(block, names[column], column, value)) {
                continue;
            }
            const std::vector<double> ofBlock = shells.Read(block, column);
            std::size_t row = 0;
            for (ORQSimCSetIterator i(block.elements); !i.IsDone(); i.Next(), ++row) {
                double& own = values[static_cast<std::size_t>(i.CurrentValue())];
                // Attributes come first and stay.
                own = std::isnan(own) ? ofBlock[row] : own;
            }
        }
    }
    return values;
}
