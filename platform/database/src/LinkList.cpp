#include "LinkList.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <type_traits>

namespace orq::database {

namespace {

// In front of the key.
struct LinkHead {
    ORQSimPosition target;
    std::size_t keySize;
};
static_assert(std::is_trivially_copyable_v<LinkHead>);

}  // namespace

void LinkList::Add(std::string_view key, const ORQSimPosition& target) {
    constexpr std::size_t kBlock = 32 << 10;
    const LinkHead head{target, key.size()};
    const std::size_t wanted = sizeof head + key.size();
    if (m_blocks.empty() || m_blocks.back().room - m_blocks.back().size < wanted) {
        const std::size_t room = std::max(kBlock, wanted);
        m_blocks.push_back({std::make_unique_for_overwrite<std::byte[]>(room), 0, room});
    }
    Block& block = m_blocks.back();
    std::memcpy(block.bytes.get() + block.size, &head, sizeof head);
    std::ranges::copy(std::as_bytes(std::span(key)), block.bytes.get() + block.size + sizeof head);
    block.size += wanted;
}

bool LinkList::Next(LinkPlace& place) const {
    if (place.block < m_blocks.size() && place.next == m_blocks[place.block].size) {
        ++place.block;
        place.next = 0;
    }
    if (place.block == m_blocks.size()) {
        return false;
    }
    const std::byte* link = m_blocks[place.block].bytes.get() + place.next;
    LinkHead head;
    std::memcpy(&head, link, sizeof head);
    place.target = head.target;
    place.key = {reinterpret_cast<const char*>(link) + sizeof head, head.keySize};
    place.next += sizeof head + head.keySize;
    return true;
}

}  // namespace orq::database
