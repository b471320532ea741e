#include <algorithm>

#include "ORQExcCheck.h"

namespace {

constexpr int kSlice = 1 << 17;  // nodes at a time; bounds the memory

}  // namespace

ORQExcCheckedModel::ORQExcCheckedModel(const ORQObjDocument& document,
                                       const ORQExcCheckOptions& options)
    : m_document(document), m_options(options) {}

ORQExcCheckedModel::~ORQExcCheckedModel() = default;

const ORQExcModel& ORQExcCheckedModel::Model() const {
    if (m_model == nullptr) {
        m_model = std::make_unique<ORQExcModel>(m_document);
    }
    return *m_model;
}

std::span<const double> ORQExcCheckedModel::Coordinates() const {
    const ORQExcModel& model = Model();
    const auto dimension = static_cast<std::size_t>(model.Dimension());
    const auto size = static_cast<std::size_t>(model.NumNodes()) * 3;
    if (m_coordinates.size() == size || dimension == 0) {
        return m_coordinates;
    }
    std::vector<double> all(size, 0.0);
    std::vector<double> slice;
    for (int begin = 0; begin < model.NumNodes(); begin += kSlice) {
        const int end = std::min(begin + kSlice, model.NumNodes());
        double* to = all.data() + static_cast<std::size_t>(begin) * 3;
        const auto count = static_cast<std::size_t>(end - begin);
        if (dimension == 3) {
            model.ReadCoordinates(begin, end, {to, count * 3});
            continue;
        }
        slice.resize(count * dimension);
        model.ReadCoordinates(begin, end, slice);
        for (std::size_t node = 0; node < count; ++node) {
            std::copy_n(slice.data() + node * dimension, dimension, to + node * 3);
        }
    }
    m_coordinates = std::move(all);
    return m_coordinates;
}

bool ORQExcCheckedModel::IsWanted(std::string_view rule) const {
    const auto names = [&](const std::string& text) { return rule.starts_with(text); };
    return (m_options.only.empty() || std::ranges::any_of(m_options.only, names)) &&
           std::ranges::none_of(m_options.skip, names);
}

double ORQExcCheckedModel::Limit(const ORQExcRule& rule) const {
    const auto own = m_options.limits.find(rule.id);
    return own != m_options.limits.end() ? own->second : rule.limit.value_or(0);
}

double ORQExcCheckedModel::Limit(const ORQExcRule& rule, const std::string& block) const {
    if (const auto ofBlock = m_options.blockLimits.find(block);
        ofBlock != m_options.blockLimits.end()) {
        if (const auto own = ofBlock->second.find(rule.id); own != ofBlock->second.end()) {
            return own->second;
        }
    }
    return Limit(rule);
}
