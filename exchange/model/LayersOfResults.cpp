#include "model/LayersOfResults.h"

#include <fmt/format.h>

#include <algorithm>

#include "ORQExcResults.h"
#include "ORQExcSections.h"

namespace orq::exchange {

void FindLayersAboveSections(const ORQObjDocument& document, ORQExcReport& report) {
    const ORQExcResults results(document);
    const auto hasLayers = [](const ORQExcResults::Field& field) { return field.hasLayers; };
    if (std::ranges::none_of(results.Fields(), hasLayers)) {
        return;
    }
    const ORQExcSections sections(document);
    for (const ORQExcSections::Section& section : sections.Sections()) {
        const auto nLayers = std::ssize(sections.Read(section).layers);
        for (const ORQExcResults::Field& field : results.Fields()) {
            for (const ORQObjFieldView& view : results.ViewsOf(field)) {
                const ORQSimCSet common = view.members.Intersection(section.elements);
                if (view.layers.Last() >= nLayers && !common.IsEmpty()) {
                    report.Find(ORQExcFieldKind(field.place), field.name, common.Size(),
                                fmt::format("it has values in layer {} of elements of section "
                                            "\"{}\", which has {}",
                                            view.layers.Last() + 1, section.name, nLayers));
                }
            }
        }
    }
}

}  // namespace orq::exchange
