#pragma once

#include <cstddef>
#include <span>

#include "ORQBasAllocator.h"

namespace orq::exchange {

/// Values grouped by a node of each, in the order in which they came: a sort whose cost grows with
/// the values and the nodes alone. Takes 4 bytes for each node, and a copy of the values.
template <class Value>
class ByNode {
  public:
    ByNode() = default;
    /// REQUIRES: nodeOf(value) is not below 0, and below the number of nodes; there are fewer than
    /// 2^32 values.
    template <class NodeOf>
    ByNode(std::span<const Value> values, std::size_t nNodes, const NodeOf& nodeOf)
        : m_begin(nNodes + 1), m_values(values.size()) {
        const auto beginOf = [&](const Value& value) -> unsigned& {
            return m_begin[static_cast<std::size_t>(nodeOf(value))];
        };
        for (const Value& value : values) {
            ++beginOf(value);
        }
        unsigned end = 0;
        for (unsigned& begin : m_begin) {
            begin = end += begin;
        }
        // Values are put from the end of each group to its beginning, so taking them backwards
        // keeps the order.
        for (std::size_t i = values.size(); i-- > 0;) {
            m_values[--beginOf(values[i])] = values[i];
        }
    }

    std::size_t NumNodes() const { return m_begin.size() - 1; }
    std::span<Value> Of(std::size_t node) {
        return std::span(m_values).subspan(m_begin[node], m_begin[node + 1] - m_begin[node]);
    }

  private:
    ORQBasLargeVector<unsigned> m_begin = {0};  // by node, and the end of the last
    ORQBasLargeVector<Value> m_values;
};

}  // namespace orq::exchange
