#include "formats/nastran/NastranNodes.h"

#include <fmt/format.h>

#include <algorithm>

namespace orq::exchange {

bool NastranNodes::Add(const BulkCard& card) {
    if (card.Name() == "GRID") {
        AddNode(card);
        return true;
    }
    if (card.Name() == "GRDSET") {
        m_defaultSystem = card.Int(2).value_or(0);
        m_nDefaultsLost += card.IsBlank(6) && card.IsBlank(7) && card.IsBlank(8) ? 0 : 1;
        return true;
    }
    return false;
}

void NastranNodes::AddNode(const BulkCard& card) {
    const auto label = card.NeededLabel(1);
    if (!label) {
        return;
    }
    const int ordinal = static_cast<int>(m_labels.size());
    m_labels.push_back(*label);
    m_places.push_back(card.Place());
    m_systems.push_back(card.Int(2).value_or(kBlank));
    for (int field = 3; field <= 5; ++field) {
        m_coordinates.push_back(card.RealOr(field, 0));
    }
    if (card.NumFields() > 5) {
        if (const int system = card.Int(6).value_or(0); system != 0) {
            ++m_displacementSystems[system];
        }
        if (const int constraints = card.Int(7).value_or(0); constraints != 0) {
            m_constraints[constraints].push_back(ordinal);
        }
    }
}

void NastranNodes::SortLabels() {
    std::vector<std::pair<int, int>> sorted;
    sorted.reserve(m_labels.size());
    for (std::size_t i = 0; i < m_labels.size(); ++i) {
        sorted.emplace_back(m_labels[i], static_cast<int>(i));
    }
    std::ranges::sort(sorted);
    for (std::size_t i = 1; i < sorted.size(); ++i) {
        const auto& [label, ordinal] = sorted[i];
        if (sorted[i - 1].first == label) {
            const auto before = static_cast<std::size_t>(sorted[i - 1].second);
            m_problems.Add(m_places[static_cast<std::size_t>(ordinal)],
                           fmt::format("GRID {}: {}: the label is given before, in {}", label,
                                       BulkFieldName(1), m_problems.NameOf(m_places[before])));
        }
    }
    m_index = LabelIndex(std::move(sorted));
}

NastranCoordinates::Point NastranNodes::Given(std::size_t ordinal) const {
    const double* const at = &m_coordinates[3 * ordinal];
    return {at[0], at[1], at[2]};
}

int NastranNodes::SystemOf(std::size_t ordinal) const {
    return m_systems[ordinal] == kBlank ? m_defaultSystem : m_systems[ordinal];
}

void NastranNodes::Resolve(NastranCoordinates& coordinates, ORQExcReport& losses) {
    SortLabels();
    coordinates.SetNodes([&](int label) -> std::optional<NastranCoordinates::GivenPoint> {
        const auto ordinal = m_index.Find(label);
        if (!ordinal) {
            return std::nullopt;
        }
        const auto place = static_cast<std::size_t>(*ordinal);
        return NastranCoordinates::GivenPoint{SystemOf(place), Given(place)};
    });
    for (const int number : coordinates.Numbers()) {
        coordinates.Find(number);  // while the nodes stand as they were given
    }
    int nMoved = 0;
    for (std::size_t i = 0; i < m_labels.size(); ++i) {
        const int number = SystemOf(i);
        if (number == 0) {
            continue;
        }
        const auto* const system = coordinates.Find(number);
        if (system == nullptr) {
            m_problems.Add(m_places[i],
                           fmt::format("GRID {}: {}: coordinate system {} is missing or wrong",
                                       m_labels[i], BulkFieldName(2), number));
            continue;
        }
        const auto basic = NastranCoordinates::Basic(*system, Given(i));
        std::ranges::copy(basic, m_coordinates.begin() + static_cast<std::ptrdiff_t>(3 * i));
        ++nMoved;
    }
    coordinates.SetNodes(nullptr);
    m_systems = {};
    m_places = {};
    if (nMoved > 0) {
        losses.Change("node coordinates", "", nMoved,
                      "they were given in other systems and stand in the model's");
    }
    for (const auto& [number, count] : m_displacementSystems) {
        losses.Drop("displacement system", fmt::format("{}", number), count,
                    "nodes have no place for it");
    }
    if (m_nDefaultsLost > 0) {
        losses.Drop("bulk data card", "GRDSET", m_nDefaultsLost, "only its field CP is taken");
    }
}

}  // namespace orq::exchange
