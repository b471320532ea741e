#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcCheck.h"

namespace orq::exchange {

/// Elements that break a rule, block by block, each with the value that breaks it.
class ElementFindings {
  public:
    void Add(const ORQExcModel::Block& block, int element, double value) {
        if (m_blocks.empty() || m_blocks.back().block != &block) {
            const auto known = std::ranges::find(m_blocks, &block, &OfBlock::block);
            if (known != m_blocks.end()) {
                known->found.emplace_back(value, element);
                return;
            }
            m_blocks.push_back({&block, {}});
        }
        m_blocks.back().found.emplace_back(value, element);
    }

    /// One finding for each block, with the element of the lowest value first, or of the highest.
    /// message(value) says what is wrong with that one.
    template <class Message>
    void Report(const ORQExcRule& rule, bool isLowestWorst, const Message& message,
                std::vector<ORQExcFinding>& findings) {
        for (OfBlock& of : m_blocks) {
            std::ranges::stable_sort(of.found, [&](const auto& a, const auto& b) {
                return isLowestWorst ? a.first < b.first : a.first > b.first;
            });
            std::vector<int> members;
            for (const auto& [value, element] : of.found) {
                members.push_back(element);
            }
            findings.push_back({.rule = rule.id,
                                .object = fmt::format("block \"{}\"", of.block->name),
                                .message = message(of.found[0].first),
                                .place = ORQExcFinding::Place::Element,
                                .members = std::move(members)});
        }
    }

  private:
    struct OfBlock {
        const ORQExcModel::Block* block;
        std::vector<std::pair<double, int>> found;
    };
    std::vector<OfBlock> m_blocks;
};

}  // namespace orq::exchange
