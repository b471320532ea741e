#include "formats/nastran/NastranNodes.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "formats/nastran/NastranGridFields.h"

namespace orq::exchange {
namespace {

// An int holds every label of nine digits.
constexpr std::size_t kDigitsOfLargeLabels = 10;

}  // namespace

BulkTaken NastranNodes::Add(const BulkCard& card) {
    if (card.Name() == "GRID") {
        return AddNode(card);
    }
    if (card.Name() == "GRDSET") {
        m_defaultSystem = card.Int(2).value_or(0);
        m_defaultConstraints = card.Int(grid::kConstraints).value_or(0);
        NoteDisplacementSystem(card);
        return BulkTaken::Partly;
    }
    if (card.Name() == "SPOINT" || card.Name() == "EPOINT") {
        AddScalars(card);
    }
    return BulkTaken::No;
}

BulkTaken NastranNodes::AddNode(const BulkCard& card) {
    const bool hasMore = card.NumFields() > grid::kLastCoordinate;
    const int constraints = hasMore ? card.Int(grid::kConstraints).value_or(0) : 0;
    // A label that is too large for the model is a finding, and the card is kept; any other label
    // that cannot be read is an error.
    if (card.Text(1).find_first_not_of("0123456789") != std::string_view::npos ||
        card.Text(1).size() < kDigitsOfLargeLabels) {
        card.Need();
    }
    const auto label = card.NeededLabel(1);
    if (!label) {
        return BulkTaken::No;
    }
    card.Need();
    m_labels.push_back(*label);
    m_places.push_back(card.Place());
    m_sources.push_back(card.Source());
    m_systems.push_back(card.IsBlank(2) ? kBlank : card.Int(2).value_or(kBlank));
    for (int field = grid::kFirstCoordinate; field <= grid::kLastCoordinate; ++field) {
        m_coordinates.push_back(card.RealOr(field, 0));
    }
    m_constraints.push_back(constraints);
    if (hasMore && !card.IsBlank(grid::kDisplacementSystem)) {
        NoteDisplacementSystem(card);
    }
    const bool lacksNumber = card.IsBlank(3) || card.IsBlank(4) || card.IsBlank(5);
    m_saysMore.push_back(hasMore || lacksNumber || !card.IsBlank(2) ? 1 : 0);
    return BulkTaken::Wholly;
}

/// Notes the system of displacements. 0 is the basic system, and -1 marks a node of a fluid.
void NastranNodes::NoteDisplacementSystem(const BulkCard& card) {
    // A field that is no number stays on the card: the mesh has no displacements.
    const int number =
        card.IsInt(grid::kDisplacementSystem) ? card.Int(grid::kDisplacementSystem).value_or(0) : 0;
    if (number <= 0) {
        return;
    }
    const auto [at, isNew] = m_displacementSystems.try_emplace(number);
    if (isNew) {
        at->second = {
            card.Name() == "GRID" ? fmt::format("GRID {}", card.Text(1)) : std::string(card.Name()),
            card.Place(), 0};
    }
    ++at->second.nCards;
}

void NastranNodes::ComplainOfDisplacementSystems(NastranCoordinates& coordinates) const {
    for (const auto& [number, named] : m_displacementSystems) {
        if (coordinates.Find(number) == nullptr) {
            m_problems.Find(
                named.place, "node", named.card,
                fmt::format(
                    "{}: {}: coordinate system {} of its displacements is missing or "
                    "wrong{}",
                    named.card, BulkFieldName(grid::kDisplacementSystem), number,
                    named.nCards == 1 ? "" : fmt::format("; {} cards name it", named.nCards)));
        }
    }
}

/// Labels, and ranges with THRU.
void NastranNodes::AddScalars(const BulkCard& card) {
    for (int field = 1; field <= card.NumFields(); ++field) {
        if (card.Is(field, "THRU") && !m_scalars.empty()) {
            m_scalars.back().second = card.NeededLabel(++field).value_or(0);
        } else if (const auto label = card.Label(field)) {
            m_scalars.emplace_back(*label, *label);
        }
    }
}

bool NastranNodes::IsScalar(int label) const {
    return std::ranges::any_of(m_scalars, [&](const auto& range) {
        return range.first <= label && label <= range.second;
    });
}

void NastranNodes::LeaveOutRepeated(NastranKept& kept) {
    std::vector<std::pair<int, int>> sorted;
    sorted.reserve(m_labels.size());
    for (std::size_t i = 0; i < m_labels.size(); ++i) {
        sorted.emplace_back(m_labels[i], static_cast<int>(i));
    }
    // Decks mostly list nodes by label, and a check costs less than a sort.
    if (!std::ranges::is_sorted(sorted)) {
        std::ranges::sort(sorted);
    }
    std::vector<std::size_t> repeated;
    for (std::size_t i = 1, first = 0; i < sorted.size(); ++i) {
        if (sorted[i].first != sorted[first].first) {
            first = i;
            continue;
        }
        const auto place = static_cast<std::size_t>(sorted[i].second);
        repeated.push_back(place);
        const std::string name = fmt::format("GRID {}", sorted[i].first);
        m_problems.Find(
            m_places[place], "node", name,
            fmt::format(
                "{}: {}: the label is given before, in {}", name, BulkFieldName(1),
                m_problems.NameOf(m_places[static_cast<std::size_t>(sorted[first].second)])));
    }
    if (repeated.empty()) {
        m_index = LabelIndex(std::move(sorted));
        return;
    }
    std::ranges::sort(repeated);
    std::size_t next = 0;
    std::size_t n = 0;
    for (std::size_t i = 0; i < m_labels.size(); ++i) {
        if (next < repeated.size() && repeated[next] == i) {
            ++next;
            kept.Add("GRID", m_sources[i], BulkTaken::No);
            continue;
        }
        m_labels[n] = m_labels[i];
        std::copy_n(&m_coordinates[3 * i], 3, &m_coordinates[3 * n]);
        m_systems[n] = m_systems[i];
        m_constraints[n] = m_constraints[i];
        m_places[n] = m_places[i];
        m_sources[n] = m_sources[i];
        m_saysMore[n] = m_saysMore[i];
        ++n;
    }
    m_labels.resize(n);
    m_coordinates.resize(3 * n);
    m_systems.resize(n);
    m_constraints.resize(n);
    m_places.resize(n);
    m_sources.resize(n);
    m_saysMore.resize(n);
    LeaveOutRepeated(kept);  // finds none, and makes the index
}

NastranCoordinates::Point NastranNodes::Given(std::size_t ordinal) const {
    const double* const at = &m_coordinates[3 * ordinal];
    return {at[0], at[1], at[2]};
}

int NastranNodes::SystemOf(std::size_t ordinal) const {
    return m_systems[ordinal] == kBlank ? m_defaultSystem : m_systems[ordinal];
}

void NastranNodes::Resolve(NastranCoordinates& coordinates, NastranKept& kept,
                           ORQExcReport& losses) {
    LeaveOutRepeated(kept);
    coordinates.SetNodes([&](int label) -> std::optional<NastranCoordinates::GivenPoint> {
        const auto ordinal = m_index.Find(label);
        if (!ordinal) {
            return m_others ? m_others(label) : std::nullopt;
        }
        const auto place = static_cast<std::size_t>(*ordinal);
        return NastranCoordinates::GivenPoint{SystemOf(place), Given(place)};
    });
    // Systems may stand on nodes, so all are found while the nodes have their given numbers.
    for (const int number : coordinates.Numbers()) {
        coordinates.Find(number);
    }
    ComplainOfDisplacementSystems(coordinates);
    int nMoved = 0;
    for (std::size_t i = 0; i < m_labels.size(); ++i) {
        // GRDSET may stand behind the nodes that take its values.
        const int number = SystemOf(i);
        if (m_constraints[i] == 0) {
            m_constraints[i] = m_defaultConstraints;
        }
        const bool saysMore = m_saysMore[i] != 0 || number != 0 || m_constraints[i] != 0;
        if (saysMore) {
            kept.Add("GRID", m_sources[i], BulkTaken::Partly);
        }
        if (number == 0) {
            continue;
        }
        const auto* const system = coordinates.Find(number);
        if (system == nullptr) {
            const std::string name = fmt::format("GRID {}", m_labels[i]);
            m_problems.Find(
                m_places[i], "node", name,
                fmt::format("{}: {}: coordinate system {} is missing or wrong; the node stands as "
                            "if its numbers were of the basic system",
                            name, BulkFieldName(2), number));
            continue;
        }
        const auto basic = NastranCoordinates::Basic(*system, Given(i));
        std::ranges::copy(basic, m_coordinates.begin() + static_cast<std::ptrdiff_t>(3 * i));
        ++nMoved;
    }
    // From here on the function would give basic coordinates as those of other systems.
    coordinates.SetNodes(nullptr);
    m_systems = {};
    m_places = {};
    m_saysMore = {};
    if (nMoved > 0) {
        losses.Change("node coordinates", "", nMoved,
                      "they were given in other systems and stand in the model's");
    }
}

}  // namespace orq::exchange
