// Models of nothing but labelled nodes and elements.
#pragma once

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <utility>

#include "NewDatabase.h"
#include "ORQObjLabeler.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "SoundAtEnd.h"
#include "Vocabulary.h"

// Which member of the mesh carries which label of which instance.
struct Labelling {
    int nMembers = 0;
    std::map<std::string, std::map<int, int>> ordinalOf;  // by instance and label
};

struct LabelModel {
    LabelModel(const Labelling& nodes, const Labelling& elements) {
        builder.AddNodes(nodes.nMembers);
        builder.AddElements(elements.nMembers);
        Label(ORQObjLabelerType::Node, NodeCollection(), nodes);
        Label(ORQObjLabelerType::Element, ElementCollection(), elements);
    }

    ORQSimCollection NodeCollection() const {
        return ORQSimCollection(ORQObjMesh(builder.Mesh()).GetNodeCollection().GetCollection());
    }
    ORQSimCollection ElementCollection() const {
        return ORQSimCollection(ORQObjMesh(builder.Mesh()).GetElementCollection().GetCollection());
    }

    ORQSimDatabase database = NewDatabase();
    ORQSimTransaction transaction{database.ContextID()};
    ORQObjModelBuilder builder{database};
    SoundAtEnd sound{database};

  private:
    void Label(ORQObjLabelerType type, const ORQSimCollection& collection,
               const Labelling& labelling) const {
        for (const auto& [name, ordinalOf] : labelling.ordinalOf) {
            Ints labels;
            Ints members;
            for (const auto& [label, ordinal] : ordinalOf) {
                labels.push_back(label);
                members.push_back(ordinal);
            }
            std::reverse(labels.begin(), labels.end());
            std::reverse(members.begin(), members.end());
            builder.SetLabels(type, builder.AddInstance(name),
                              SetOf(collection, members).RegisterWithTempCollection(),
                              labels.data());
        }
    }
};

// Some hundred members in a few instances, whose labels have gaps and repeat across instances;
// neighbours belong to different instances, and some members have no label at all.
inline Labelling RandomLabelling(std::mt19937& random) {
    const auto upTo = [&](int n) { return std::uniform_int_distribution(0, n)(random); };
    Labelling labelling;
    labelling.nMembers = upTo(300);
    const int highest = 100 + upTo(400);
    for (int ordinal = 0; ordinal < labelling.nMembers; ++ordinal) {
        auto& ordinalOf = labelling.ordinalOf["PART-" + std::to_string(upTo(4))];
        ordinalOf.emplace(1 + upTo(highest), ordinal);  // one that is taken stays as it is
    }
    if (upTo(2) == 0) {
        labelling.ordinalOf.erase("PART-1");
    }
    return labelling;
}
