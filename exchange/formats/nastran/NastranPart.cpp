#include "formats/nastran/NastranPart.h"

namespace orq::exchange {

BulkTaken NastranPart::Add(const BulkCard& card) {
    const auto one = [&](auto& cards) { return cards.Add(card); };
    // Nodes and elements are most of a deck, so they are tried first.
    BulkTaken taken = one(nodes);
    const auto next = [&](auto& cards) { taken = taken == BulkTaken::No ? one(cards) : taken; };
    next(elements);
    next(materials);
    next(properties);
    next(sets);
    next(coordinates);
    if (taken != BulkTaken::Wholly) {
        kept.Add(card, taken);
    }
    return taken;
}

void NastranPart::Resolve() {
    // Elements and sets refer to the ordinals of nodes, so nodes come first.
    nodes.Resolve(coordinates, kept, m_losses);
    elements.Resolve(nodes, properties, kept);
    materials.Resolve();
    sets.Resolve(nodes.Index(), elements.Index(),
                 [this](int label) { return nodes.IsScalar(label); });
}

}  // namespace orq::exchange
