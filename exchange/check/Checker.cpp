#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcCheck.h"
#include "ORQExcNearNames.h"
#include "ORQObjLabeler.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "check/Checks.h"
#include "check/MembersHash.h"
#include "model/OrdinalSet.h"
#include "quality/ElementMeasures.h"

using orq::exchange::GroupOf;
using orq::exchange::kElementsAtOnce;

namespace {

// Elements that all rules see before the next: their points stay in the processor's cache.
constexpr std::size_t kBatch = 1 << 10;

/// One run over a model: the checks that are wanted, and what they find.
class CheckRun {
  public:
    CheckRun(const std::vector<ORQExcCheck>& checks, const ORQObjDocument& document,
             const ORQExcCheckOptions& options)
        : m_options(options), m_optionsOfRuns(OptionsOfRuns()), m_model(document, m_optionsOfRuns) {
        for (const ORQExcCheck& check : checks) {
            for (const ORQExcRule& rule : check.rules) {
                m_rules.emplace(rule.id, &rule);
            }
            const auto isWanted = [&](const ORQExcRule& rule) { return m_model.IsWanted(rule.id); };
            if (std::ranges::any_of(check.rules, isWanted)) {
                Attempt([&] { m_runs.push_back({&check, check.begin(m_model)}); });
            }
        }
    }

    ORQExcCheckResult Run() {
        RequireBlocks();
        bool areAllSeen = false;
        Attempt([&] { areAllSeen = VisitBlocks(); });
        for (std::size_t i = 0; i < m_runs.size(); ++i) {
            m_nFinished = i;
            std::unique_ptr<ORQExcCheckRun>& run = m_runs[i].run;
            if ((areAllSeen || !run->NeedsAllElements()) &&
                Attempt([&] { run->Finish(m_result.findings); })) {
                AddTried(*m_runs[i].check);
            }
            run.reset();  // what it held is no longer needed
            m_model.Tell(1);
        }
        std::erase_if(m_result.findings, [&](const ORQExcFinding& finding) {
            return !m_model.IsWanted(finding.rule);
        });
        Complete();
        return std::move(m_result);
    }

  private:
    /// The first half of the work is to visit elements; the runs finish in equal parts of the other.
    ORQExcCheckOptions OptionsOfRuns() {
        ORQExcCheckOptions options = m_options;
        options.progress = [this](double done) {
            Tell(0.5 + 0.5 * (static_cast<double>(m_nFinished) + done) /
                           static_cast<double>(m_runs.size()));
        };
        return options;
    }

    /// One check that fails leaves the others alone. The same reason is kept once: several checks
    /// read the same. Answers whether it went well.
    template <class Work>
    bool Attempt(const Work& work) {
        try {
            work();
            return true;
        } catch (const ORQBasFailure& failure) {
            AddFailure({failure.Text(), false});
        } catch (ORQBasException& exception) {
            AddFailure({exception.DeveloperReport(ORQBasStringMode::Unicode).c_str(), true});
        }
        return false;
    }

    void AddTried(const ORQExcCheck& check) {
        for (const ORQExcRule& rule : check.rules) {
            if (m_model.IsWanted(rule.id)) {
                m_result.tried.push_back(rule.id);
            }
        }
    }

    void AddFailure(ORQExcCheckResult::Failure failure) {
        if (std::ranges::find(m_result.failures, failure.text, &ORQExcCheckResult::Failure::text) ==
            m_result.failures.end()) {
            m_result.failures.push_back(std::move(failure));
        }
    }

    void RequireBlocks() {
        std::vector<std::string> names;
        const auto readNames = [&] {
            for (const ORQExcModel::Block& block : m_model.Model().Blocks()) {
                names.push_back(block.name);
            }
        };
        if (m_options.blockLimits.empty() || !Attempt(readNames)) {
            return;
        }
        for (const auto& [block, limits] : m_options.blockLimits) {
            if (std::ranges::find(names, block) == names.end()) {
                ORQBasThrowUsage(fmt::format("limits: there is no block \"{}\"{}", block,
                                             ORQExcNearNames(block, names)));
            }
        }
    }

    void Tell(double done) const {
        if (m_options.progress) {
            m_options.progress(done);
        }
    }

    /// Answers whether all elements were seen.
    bool VisitBlocks() {
        const auto visits = [](const Begun& begun) { return begun.run->VisitsElements(); };
        if (std::ranges::none_of(m_runs, visits)) {
            return true;
        }
        bool areAllSeen = true;
        std::int64_t done = 0;
        for (const ORQExcModel::Block& block : m_model.Model().Blocks()) {
            // A block whose connectivity cannot be read leaves the others alone.
            areAllSeen = Attempt([&] { VisitBlock(block, done); }) && areAllSeen;
        }
        return areAllSeen;
    }

    void VisitBlock(const ORQExcModel::Block& block, std::int64_t& done) {
        const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
        std::vector<int> ordinals;
        std::vector<int> nodes;
        for (int begin = 0; begin < block.elements.Size(); begin += kElementsAtOnce) {
            const int end = std::min(begin + kElementsAtOnce, block.elements.Size());
            const auto count = static_cast<std::size_t>(end - begin);
            ordinals.resize(count);
            orq::exchange::SliceOf(block.elements, begin, end).OrderedMembers(ordinals.data());
            nodes.resize(count * nEach);
            m_model.Model().ReadConnectivity(block, begin, end, nodes);
            for (std::size_t first = 0; first < count; first += kBatch) {
                const std::size_t size = std::min(kBatch, count - first);
                VisitBatch(block, std::span(ordinals).subspan(first, size),
                           std::span(nodes).subspan(first * nEach, size * nEach));
            }
            done += end - begin;
            Tell(0.5 * static_cast<double>(done) /
                 static_cast<double>(std::max(1, m_model.Model().NumElements())));
        }
    }

    void VisitBatch(const ORQExcModel::Block& block, std::span<const int> ordinals,
                    std::span<const int> nodes) {
        GatherPoints(nodes);
        m_batch.hashes.resize(nodes.size());
        std::ranges::transform(nodes, m_batch.hashes.begin(), orq::exchange::MembersHash::Of);
        m_batch.measures.Measure(*block.shape, m_batch.points);
        const ORQExcCheckedElements elements{block,
                                             ordinals,
                                             nodes,
                                             m_batch.hashes,
                                             m_batch.points,
                                             m_batch.measures.shortestEdges,
                                             m_batch.measures.longestEdges,
                                             m_batch.measures.roughJacobians};
        for (const auto& [check, run] : m_runs) {
            if (run->VisitsElements()) {
                run->Visit(elements);
            }
        }
    }

    /// Zeros in a model without coordinates.
    void GatherPoints(std::span<const int> nodes) {
        const std::span<const orq::exchange::Point> places = m_model.Points();
        m_batch.points.resize(nodes.size() * 3);
        double* to = m_batch.points.data();
        for (std::size_t i = 0; i < nodes.size() && !places.empty(); ++i, to += 3) {
            const double* const from = places[static_cast<std::size_t>(nodes[i])].data();
            to[0] = from[0];
            to[1] = from[1];
            to[2] = from[2];
        }
    }

    /// Sets what every finding has alike: level, labels, and where its first member is.
    void Complete() {
        for (ORQExcFinding& finding : m_result.findings) {
            finding.level = m_rules.at(finding.rule)->level;
            for (const int member : finding.members) {
                finding.labels.push_back({-1, member});
            }
        }
        using Place = ORQExcFinding::Place;
        const auto has = [&](Place place) {
            return std::ranges::find(m_result.findings, place, &ORQExcFinding::place) !=
                   m_result.findings.end();
        };
        for (const Place place : {Place::Node, Place::Element}) {
            if (has(place)) {
                Attempt([&] { Label(place); });
            }
        }
        Attempt([&] {
            for (ORQExcFinding& finding : m_result.findings) {
                if (!finding.members.empty() && m_model.Model().Dimension() > 0) {
                    finding.position = PositionOf(finding.place, finding.members[0]);
                }
            }
        });
    }

    /// Puts labels in place of the ordinals of members that have one.
    void Label(ORQExcFinding::Place place) {
        const ORQExcModel& model = m_model.Model();
        const bool areNodes = place == ORQExcFinding::Place::Node;
        const std::vector<int> labels = areNodes ? model.NodeLabels() : model.ElementLabels();
        std::vector<int> instanceOf(labels.size(), -1);
        m_result.instances.clear();
        for (const ORQExcModel::Instance& instance : model.Instances()) {
            for (const int ordinal : areNodes ? instance.nodes : instance.elements) {
                instanceOf[static_cast<std::size_t>(ordinal)] =
                    static_cast<int>(m_result.instances.size());
            }
            m_result.instances.push_back(instance.name);
        }
        for (ORQExcFinding& finding : m_result.findings) {
            if (finding.place != place) {
                continue;
            }
            for (ORQExcFinding::Label& label : finding.labels) {
                const auto at = static_cast<std::size_t>(label.label);
                if (instanceOf[at] >= 0) {
                    label = {instanceOf[at], labels[at]};
                }
            }
        }
    }

    std::optional<std::array<double, 3>> PositionOf(ORQExcFinding::Place place, int member) const {
        std::vector<int> nodes = {member};
        if (place == ORQExcFinding::Place::Element) {
            nodes.clear();
            for (const ORQExcModel::Block& block : m_model.Model().Blocks()) {
                if (block.elements.SeekMember(member) >= 0) {
                    nodes.resize(static_cast<std::size_t>(block.shape->nNodes));
                    m_model.Model().ReadConnectivity(
                        block,
                        orq::exchange::OrdinalSet(ORQSimCollection(block.elements.CollectionID()),
                                                  std::span(&member, 1)),
                        nodes);
                    nodes.resize(static_cast<std::size_t>(block.shape->nCorners));
                    break;
                }
            }
        }
        if (nodes.empty()) {
            return std::nullopt;
        }
        std::array<double, 3> middle{};
        for (const int node : nodes) {
            for (std::size_t c = 0; c < 3; ++c) {
                middle[c] += m_model.Points()[static_cast<std::size_t>(node)][c] /
                             static_cast<double>(nodes.size());
            }
        }
        return middle;
    }

    const ORQExcCheckOptions& m_options;
    const ORQExcCheckOptions m_optionsOfRuns;
    ORQExcCheckedModel m_model;
    std::map<std::string_view, const ORQExcRule*> m_rules;
    struct Begun {
        const ORQExcCheck* check;
        std::unique_ptr<ORQExcCheckRun> run;
    };
    std::vector<Begun> m_runs;
    std::size_t m_nFinished = 0;
    struct {
        std::vector<double> points;
        std::vector<std::uint64_t> hashes;
        orq::exchange::ElementMeasures measures;
    } m_batch;
    ORQExcCheckResult m_result;
};

}  // namespace

const char* ORQExcLevelName(ORQExcLevel level) {
    constexpr std::array kNames = {"error", "warning", "note"};
    return kNames.at(static_cast<std::size_t>(level));
}

void ORQExcCheckRun::Visit(const ORQExcCheckedElements& /*elements*/) {}

ORQExcChecker::ORQExcChecker() : m_checks(orq::exchange::AllChecks()) {}

void ORQExcChecker::Add(ORQExcCheck check) {
    for (const ORQExcRule& rule : check.rules) {
        for (const ORQExcRule* known : Rules()) {
            if (std::string_view(known->id) == rule.id) {
                ORQBasThrowUsage(fmt::format("there is a rule \"{}\" already", rule.id));
            }
        }
    }
    m_checks.push_back(std::move(check));
}

std::vector<const ORQExcRule*> ORQExcChecker::Rules() const {
    std::vector<const ORQExcRule*> rules;
    for (const ORQExcCheck& check : m_checks) {
        for (const ORQExcRule& rule : check.rules) {
            rules.push_back(&rule);
        }
    }
    return rules;
}

void ORQExcChecker::Require(const std::string& ruleOrGroup) const {
    std::set<std::string> names;
    for (const ORQExcRule* rule : Rules()) {
        names.insert(rule->id);
        names.emplace(GroupOf(rule->id));
    }
    if (!names.contains(ruleOrGroup)) {
        ORQBasThrowUsage(
            fmt::format("there is no rule or group \"{}\"{}", ruleOrGroup,
                        ORQExcNearNames(ruleOrGroup, std::vector(names.begin(), names.end()))));
    }
}

void ORQExcChecker::RequireLimit(const std::string& rule, bool isOfBlock) const {
    const std::vector<const ORQExcRule*> rules = Rules();
    const auto found = std::ranges::find(
        rules, rule, [](const ORQExcRule* one) { return std::string_view(one->id); });
    if (found == rules.end()) {
        Require(rule);
        ORQBasThrowUsage(fmt::format("limits are of rules; \"{}\" is a group", rule));
    }
    if (!(*found)->limit) {
        ORQBasThrowUsage(fmt::format("rule \"{}\" has no limit", rule));
    }
    if (isOfBlock && !(*found)->isByBlock) {
        ORQBasThrowUsage(fmt::format("rule \"{}\" has one limit for all blocks", rule));
    }
}

ORQExcCheckResult ORQExcChecker::Run(const ORQObjDocument& document,
                                     const ORQExcCheckOptions& options) const {
    for (const auto& names : {options.only, options.skip}) {
        for (const std::string& name : names) {
            Require(name);
        }
    }
    for (const auto& [rule, limit] : options.limits) {
        RequireLimit(rule, false);
    }
    for (const auto& [block, limits] : options.blockLimits) {
        for (const auto& [rule, limit] : limits) {
            RequireLimit(rule, true);
        }
    }
    return CheckRun(m_checks, document, options).Run();
}
