#include "compare/Matching.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "ORQBasFailure.h"

namespace orq::exchange {
namespace {

/// Refuses an ordinal that the collection lacks, which labels of a damaged model may have.
std::size_t Checked(int ordinal, std::size_t count, const ORQString& instance) {
    if (ordinal < 0 || static_cast<std::size_t>(ordinal) >= count) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            fmt::format("instance \"{}\": labels the member {} of {}",
                                        instance.UTF8(), ordinal, count));
    }
    return static_cast<std::size_t>(ordinal);
}

}  // namespace

Matching::Matching(const ORQObjDocument& before, int nBefore, const ORQObjDocument& after,
                   int nAfter, ORQObjLabelerType type, std::vector<std::string>& instances)
    : m_type(type),
      m_instances(instances),
      m_images(static_cast<std::size_t>(nBefore), kNone),
      m_namesBefore(before.Focus()),
      m_namesAfter(after.Focus()) {
    ORQObjLabeler labelsBefore(before, type);
    ORQObjLabeler labelsAfter(after, type);
    labelsBefore.Read();
    labelsAfter.Read();
    std::vector<bool> isImage(static_cast<std::size_t>(nAfter));
    if (labelsBefore.Occurrences().Size() == 0 && labelsAfter.Occurrences().Size() == 0) {
        // Without labels on both sides, members match by ordinal.
        std::iota(m_images.begin(), m_images.begin() + std::min(nBefore, nAfter), 0);
    } else {
        Match(labelsBefore, labelsAfter, isImage.size());
    }
    for (std::size_t i = 0; i < m_images.size(); ++i) {
        if (m_images[i] == kNone) {
            m_removed.push_back(static_cast<int>(i));
        } else {
            isImage[static_cast<std::size_t>(m_images[i])] = true;
        }
    }
    for (std::size_t i = 0; i < isImage.size(); ++i) {
        if (!isImage[i]) {
            m_added.push_back(static_cast<int>(i));
        }
    }
}

/// Matches by label. Labels ascend, so one pass over both lists finds the common ones.
void Matching::Match(const ORQObjLabeler& before, const ORQObjLabeler& after, std::size_t nAfter) {
    for (const ORQString& instance : before.Occurrences()) {
        if (!after.IsInstanceValid(instance)) {
            continue;
        }
        ORQSimArray<int> labelsBefore;
        ORQSimArray<int> ordinalsBefore;
        ORQSimArray<int> labelsAfter;
        ORQSimArray<int> ordinalsAfter;
        before.GetInstanceLabelsAndOrdinals(instance, labelsBefore, ordinalsBefore);
        after.GetInstanceLabelsAndOrdinals(instance, labelsAfter, ordinalsAfter);
        auto other = labelsAfter.begin();
        auto ordinal = ordinalsBefore.begin();
        for (const int label : labelsBefore) {
            other = std::find_if(other, labelsAfter.end(), [&](int l) { return l >= label; });
            if (other != labelsAfter.end() && *other == label) {
                const int image = *(ordinalsAfter.begin() + (other - labelsAfter.begin()));
                m_images[Checked(*ordinal, m_images.size(), instance)] =
                    static_cast<int>(Checked(image, nAfter, instance));
            }
            ++ordinal;
        }
    }
}

Matching::Pairs Matching::PairsOf(std::span<const int> before) const {
    Pairs pairs;
    for (const int ordinal : before) {
        if (ImageOf(ordinal) != kNone) {
            pairs.before.push_back(ordinal);
            pairs.after.push_back(ImageOf(ordinal));
        }
    }
    return pairs;
}

Matching::Pairs Matching::PairsOf(int begin, int end) const {
    std::vector<int> before(static_cast<std::size_t>(end - begin));
    std::iota(before.begin(), before.end(), begin);
    return PairsOf(before);
}

ORQExcDifference::Member Matching::Member(ORQSrvGlobalLabelMap& names, int ordinal) {
    const bool isNode = m_type == ORQObjLabelerType::Node;
    const int label = isNode ? names.GetNodeLabel(ordinal) : names.GetElementLabel(ordinal);
    if (label < 0) {
        return {-1, ordinal};
    }
    const std::string instance =
        (isNode ? names.GetNodeInstanceName(ordinal) : names.GetElementInstanceName(ordinal))
            .UTF8();
    auto at = std::ranges::find(m_instances, instance);
    if (at == m_instances.end()) {
        at = m_instances.insert(at, instance);
    }
    return {static_cast<int>(at - m_instances.begin()), label};
}

}  // namespace orq::exchange
