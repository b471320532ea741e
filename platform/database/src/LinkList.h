// What iterators of links walk: a copy of keys and targets in few bytes, as there may be a million.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "ORQSimLinks.h"

namespace orq::database {

class LinkList {
  public:
    void Add(std::string_view key, const ORQSimPosition& target);

    // Moves to the next (at first, the first) link; false when there is none.
    bool Next(LinkPlace& place) const;

  private:
    // Links lie in blocks that never move, as a vector of all would: making room in it takes longer
    // than reading the rows.
    struct Block {
        std::unique_ptr<std::byte[]> bytes;
        std::size_t size = 0;
        std::size_t room = 0;
    };
    std::vector<Block> m_blocks;
};

}  // namespace orq::database
