#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

#include "ORQExcEdit.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransfer.h"
#include "edit/KeptParts.h"
#include "model/OrdinalSet.h"

using namespace orq::exchange;

namespace {

// Labels that are written at a time: 4 MB.
constexpr int kLabelsAtOnce = 1'000'000;

/// The labels of one instance as they are stored: in a drawer, ascending.
class LabelTable {
  public:
    LabelTable(const ORQSimDistribution& labels, const ORQSimDrawerDescription& drawer)
        : m_labels(labels),
          m_drawer(drawer),
          m_instance(drawer.CSet(0)),
          m_members(static_cast<std::size_t>(ORQSimCSet(drawer.CSet(1)).Size())) {
        ORQSimCSet(drawer.CSet(1)).OrderedMembers(m_members.data());
    }

    std::string Instance() const {
        return ORQSimCollection(m_instance.CollectionID()).GetMember(m_instance[0]).Name().UTF8();
    }

    /// Writes labels from 1 on. Answers the former ones that changed.
    std::vector<int> Renumber() const {
        std::vector<int> changed;
        std::vector<int> labels;
        const auto nMembers = static_cast<int>(m_members.size());
        for (int begin = 0; begin < nMembers; begin += kLabelsAtOnce) {
            const int end = std::min(begin + kLabelsAtOnce, nMembers);
            labels.resize(static_cast<std::size_t>(end - begin));
            Aim(ORQSimTransfer(m_labels).SetRead(), begin, labels).ExecRead();
            const std::size_t nBefore = changed.size();
            for (std::size_t i = 0; i < labels.size(); ++i) {
                if (labels[i] != begin + static_cast<int>(i) + 1) {
                    changed.push_back(labels[i]);
                }
            }
            if (changed.size() > nBefore) {
                std::iota(labels.begin(), labels.end(), begin + 1);
                Aim(ORQSimTransfer(m_labels).SetWrite(), begin, labels).ExecWrite();
            }
        }
        return changed;
    }

  private:
    ORQSimTransfer& Aim(ORQSimTransfer& transfer, int begin, std::vector<int>& labels) const {
        return transfer.SetDrawer(m_drawer.DrawerID())
            .SetDim(0, m_instance)
            .SetDim(1, OrdinalSet(ORQSimCollection(m_labels.Grid().Collection(1)),
                                  std::span(m_members).subspan(static_cast<std::size_t>(begin),
                                                               labels.size())))
            .SetBuffer(ORQSimbufMain, labels.data(),
                       static_cast<std::int64_t>(labels.size() * sizeof(int)));
    }

    ORQSimDistribution m_labels;
    ORQSimDrawerDescription m_drawer;
    ORQSimCSet m_instance;
    std::vector<int> m_members;  // in the order of their labels
};

}  // namespace

void ORQExcRenumber(const ORQObjDocument& document, ORQExcReport& report,
                    const std::function<void(double)>& progress) {
    const ORQObjMesh mesh(document.GetMesh());
    std::vector<InstanceLabels> changed;
    double done = 0;
    for (const auto& [what, stored] : {std::pair("node labels", mesh.GetNodeLabels()),
                                       std::pair("element labels", mesh.GetElementLabels())}) {
        const ORQSimDistribution labels(stored.GetDistribution());
        for (const ORQSimDrawerDescription& drawer : labels.QueryDrawers()) {
            const LabelTable table(labels, drawer);
            InstanceLabels& of =
                changed.emplace_back(InstanceLabels{table.Instance(), table.Renumber()});
            const std::int64_t nMembers = ORQSimCSet(drawer.CSet(1)).Size();
            const auto nChanged = static_cast<std::int64_t>(of.labels.size());
            if (nChanged > 0) {
                report.Change(what, of.instance, nChanged, "numbered from 1 in their order");
            }
            if (nMembers > nChanged) {
                report.Keep(what, of.instance, nMembers - nChanged);
            }
            progress(done);
        }
        done += 0.5;
    }
    ReportCardsNaming(changed, document, report);
}
