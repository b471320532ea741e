#include <algorithm>
#include <utility>
#include <vector>

#include "ORQExcCheck.h"
#include "check/Checks.h"
#include "check/ShellNeighbours.h"

namespace orq::exchange {
namespace {

const ORQExcRule kTurnedShell = {
    .id = "ELM008",
    .level = ORQExcLevel::Warning,
    .title = "shell whose normal is turned against its neighbours'",
    .meaning =
        "the shell goes around an edge in the direction of the shell beside it, which "
        "continues its surface",
    .breaks = "pressure, offsets, layers and upper and lower stresses change sides there",
    .mending = "turn the order of its nodes",
    .limit = 60.0,
    .limitOf = "degrees between the planes of shells that continue each other"};

class NormalsRun : public ORQExcCheckRun {
  public:
    explicit NormalsRun(const ORQExcCheckedModel& model)
        : m_model(model), m_shells(model.Limit(kTurnedShell)) {}

    bool VisitsElements() const override { return m_model.Model().Dimension() > 0; }
    void Visit(const ORQExcCheckedElements& elements) override { m_shells.Add(elements); }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        m_neighbours = m_shells.Find();
        if (std::ranges::any_of(m_neighbours, &Neighbour::isAgainst)) {
            findings.push_back({.rule = kTurnedShell.id,
                                .message = "faces the other way than the shells around it",
                                .place = ORQExcFinding::Place::Element,
                                .members = Turned()});
        }
    }

  private:
    using Neighbour = ShellNeighbours::Neighbour;

    /// The shells of each connected surface that face the other way than most. A surface with one
    /// side only, such as a Moebius strip, has some as well.
    std::vector<int> Turned() const {
        constexpr int kUnknown = -1;
        const std::vector<int>& shells = m_shells.Elements();
        std::vector<int> way(shells.size(), kUnknown);
        std::vector<int> turned;
        for (std::size_t first = 0; first < shells.size(); ++first) {
            if (way[first] != kUnknown) {
                continue;
            }
            std::vector<int> surface = {static_cast<int>(first)};
            way[first] = 0;
            std::size_t nTurned = 0;
            for (std::size_t i = 0; i < surface.size(); ++i) {
                const int shell = surface[i];
                auto next = std::ranges::lower_bound(m_neighbours, shell, {}, &Neighbour::shell);
                for (; next != m_neighbours.end() && next->shell == shell; ++next) {
                    int& other = way[static_cast<std::size_t>(next->other)];
                    if (other == kUnknown) {
                        other = way[static_cast<std::size_t>(shell)] ^ (next->isAgainst ? 1 : 0);
                        nTurned += static_cast<std::size_t>(other);
                        surface.push_back(next->other);
                    }
                }
            }
            const int few = 2 * nTurned <= surface.size() ? 1 : 0;
            for (const int shell : surface) {
                if (way[static_cast<std::size_t>(shell)] == few) {
                    turned.push_back(shells[static_cast<std::size_t>(shell)]);
                }
            }
        }
        std::ranges::sort(turned);
        return turned;
    }

    const ORQExcCheckedModel& m_model;
    ShellNeighbours m_shells;
    std::vector<Neighbour> m_neighbours;
};

}  // namespace

ORQExcCheck NormalsCheck() {
    return {{kTurnedShell}, BeginRun<NormalsRun>};
}

}  // namespace orq::exchange
