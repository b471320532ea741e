#include "queries/ElementPlaces.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <set>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcNearNames.h"
#include "ORQExcSections.h"

namespace orqmodel {
namespace {

using Field = ORQExcResults::Field;

class Choice {
  public:
    Choice(const ORQExcModel& model, const ORQExcResults& results, const Field& field,
           const ORQSimCSet& members, const PlaceOptions& options)
        : m_model(model), m_field(field), m_options(options) {
        CheckField();
        m_views = results.ViewsOf(field);
        for (ORQObjFieldView& view : m_views) {
            view.members = view.members.Intersection(members);
            m_nLayers = std::max(m_nLayers, view.layers.Last() + 1);
            m_nSectionPoints = std::max(m_nSectionPoints, view.sectionPoints.Last() + 1);
        }
    }

    /// Finds the places by layer and section point, then by class of elements.
    std::vector<ElementPlace> Find() const {
        const int only = m_options.layer.empty() || m_options.layer == "all" ? -1 : OneLayer();
        std::vector<ElementPlace> all;
        for (const ORQObjFieldView& view : m_views) {
            for (int layer = m_field.hasLayers ? 0 : -1; layer <= view.layers.Last(); ++layer) {
                const ORQSimCSet ofPly =
                    m_options.ply.empty() ? view.members : OfPly(layer, view.members);
                if ((only >= 0 && layer != only) || ofPly.IsEmpty()) {
                    continue;
                }
                for (const int sectionPoint : SectionPoints(view.sectionPoints.Last() + 1)) {
                    all.push_back({layer, sectionPoint, view.points.Last() + 1, ofPly});
                }
            }
        }
        std::ranges::stable_sort(all, {}, [](const ElementPlace& wanted) {
            return std::pair(wanted.layer, wanted.sectionPoint);
        });
        return all;
    }

  private:
    void CheckField() const {
        const bool namesLayers =
            !m_options.layer.empty() || !m_options.sectionPoint.empty() || !m_options.ply.empty();
        if (namesLayers && !m_field.hasLayers) {
            ORQBasThrowUsage(fmt::format("--{}: {} has no layers",
                                         !m_options.layer.empty()          ? "layer"
                                         : !m_options.sectionPoint.empty() ? "section-point"
                                                                           : "ply",
                                         m_field.name));
        }
    }
    int OneLayer() const {
        const int layer = PlaceFrom("--layer", m_options.layer);
        if (layer >= m_nLayers) {
            ORQBasThrowUsage(fmt::format("--layer {}: {} has the layers 1 to {}, or all",
                                         m_options.layer, m_field.name, m_nLayers));
        }
        return layer;
    }
    /// The section points that are wanted of elements with so many.
    std::vector<int> SectionPoints(int count) const {
        const std::string& wanted = m_options.sectionPoint;
        if (!m_field.hasLayers) {
            return {-1};
        }
        if (wanted == "bottom") {
            return {0};
        }
        if (wanted == "top") {
            return {count - 1};
        }
        if (wanted == "middle") {
            if (count % 2 == 0) {
                ORQBasThrowUsage(
                    fmt::format("--section-point middle: {} has {} section points in a layer, none "
                                "in its middle",
                                m_field.name, count));
            }
            return {count / 2};
        }
        if (!wanted.empty()) {
            const int number = PlaceFrom("--section-point", wanted);
            if (number >= m_nSectionPoints) {
                ORQBasThrowUsage(
                    fmt::format("--section-point {}: {} has the section points 1 to {} in a layer",
                                wanted, m_field.name, m_nSectionPoints));
            }
            return number < count ? std::vector{number} : std::vector<int>();
        }
        std::vector<int> all;
        for (int i = 0; i < count; ++i) {
            all.push_back(i);
        }
        return all;
    }
    /// The elements of which a layer is of the ply.
    ORQSimCSet OfPly(int layer, const ORQSimCSet& members) const {
        if (m_pliesOf.empty()) {
            ReadPlies();
        }
        ORQSimCSet found;
        for (const auto& [plies, elements] : m_pliesOf) {
            if (layer < std::ssize(plies) &&
                plies[static_cast<std::size_t>(layer)] == m_options.ply) {
                found = found.Union(elements.Intersection(members));
            }
        }
        return found;
    }
    void ReadPlies() const {
        const ORQExcSections sections(m_model.Document());
        std::set<std::string> known;
        for (const ORQExcSections::Section& section : sections.Sections()) {
            std::vector<std::string> plies;
            for (const ORQExcSections::Layer& layer : sections.Read(section).layers) {
                plies.push_back(layer.ply);
                known.insert(layer.ply);
            }
            m_pliesOf.emplace_back(std::move(plies), section.elements);
        }
        if (!known.contains(m_options.ply)) {
            const std::vector<std::string> names(known.begin(), known.end());
            ORQBasThrowUsage(fmt::format("--ply {}: no section has a layer of it{}", m_options.ply,
                                         ORQExcNearNames(m_options.ply, names)));
        }
    }

    const ORQExcModel& m_model;
    const Field& m_field;
    const PlaceOptions& m_options;
    std::vector<ORQObjFieldView> m_views;
    int m_nLayers = 0;
    int m_nSectionPoints = 0;
    mutable std::vector<std::pair<std::vector<std::string>, ORQSimCSet>> m_pliesOf;
};

}  // namespace

std::vector<ElementPlace> FindPlaces(const ORQExcModel& model, const ORQExcResults& results,
                                     const Field& field, const ORQSimCSet& members,
                                     const PlaceOptions& options) {
    return Choice(model, results, field, members, options).Find();
}

int PlaceFrom(const char* option, const std::string& text) {
    int number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size() || number < 1) {
        ORQBasThrowUsage(fmt::format("{} {}: a number from 1 is wanted", option, text));
    }
    return number - 1;
}

}  // namespace orqmodel
