/// The collection of section layers. For the object layer's own sources.
#pragma once

#include "FindOrMake.h"
#include "ORQSimCollection.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"

/// The one collection of section layers that model and libraries share, made when there is none.
/// Early databases have two, of which both count layers from the bottom; so the model's, made long
/// enough, replaces the libraries'.
inline ORQSimPosition NeedSectionLayers(const ORQSimPosition& model,
                                        const ORQSimPosition& libraries) {
    using namespace ORQSimSchema;
    const ORQSimPosition layers =
        NeedCollection(model, Model_sectionLayers, SectionLayerCollection);
    const ORQSimPosition others = libraries.GetPosition(Libraries_sectionLayers);
    if (others != layers) {
        ORQSimCollection(layers.GetCollection())
            .ExtendSpace(ORQSimCollection(others.GetCollection()).Space());
        libraries.SetPosition(Libraries_sectionLayers, layers);
    }
    return layers;
}
