#pragma once

#include <algorithm>
#include <cstddef>
#include <span>

#include "ORQBasAllocator.h"
namespace orq::exchange {

/// Nodes joined into parts: each points to one of lower number, and so at last to the root, which is
/// the lowest of its part. Takes four bytes for each node.
class NodeForest {
  public:
    explicit NodeForest(std::size_t nNodes) : m_parent(nNodes, kUnused) {}

    /// Makes one part of the nodes and all that they are joined with; there is one at least.
    void Join(std::span<const int> nodes) {
        int root = Root(nodes[0]);
        for (const int node : nodes.subspan(1)) {
            if (Parent(node) != root) {
                const int other = Root(node);
                Parent(std::max(root, other)) = std::min(root, other);
                root = std::min(root, other);
            }
        }
    }
    /// The node itself when it was not joined.
    int Root(int node) {
        if (Parent(node) == kUnused) {
            return Parent(node) = node;
        }
        // Each step halves the path for those that come after.
        while (Parent(node) != node) {
            Parent(node) = Parent(Parent(node));
            node = Parent(node);
        }
        return node;
    }
    bool IsUsed(int node) const { return m_parent[static_cast<std::size_t>(node)] != kUnused; }
    std::size_t Size() const { return m_parent.size(); }

  private:
    static constexpr int kUnused = -1;

    int& Parent(int node) { return m_parent[static_cast<std::size_t>(node)]; }

    ORQBasLargeVector<int> m_parent;
};

}  // namespace orq::exchange
