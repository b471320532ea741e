// The model that tests of layered sections share.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "NewDatabase.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjSectionBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "SoundAtEnd.h"

/// A model of 20 elements in memory, to which a test adds materials, sections and regions.
class SectionModel : public testing::Test {
  protected:
    SectionModel() { builder.AddElements(20); }

    int NewMaterial(const char* name) const { return Member(sections.AddMaterial(name, 1)); }
    int NewSection(const char* name, int count) const {
        return Member(sections.AddShellSection(name, 1, count));
    }
    int Member(const ORQSimPosition& object) const {
        return builder.Document().GetCMemberIndex(object);
    }
    ORQSimPosition Record(int slot, int member) const {
        return ORQSimCollection(builder.Model().GetPosition(slot).GetCollection())
            .GetMember(member);
    }
    ORQSimPosition SectionAt(int member) const {
        return Record(ORQSimSchema::Model_sections, member);
    }
    ORQSimCSetID Elements(const std::vector<int>& members) const {
        return Set(ORQObjMesh(builder.Mesh()).GetElementCollection().GetCollection(), members);
    }
    static ORQSimCSetID Set(const ORQSimCollectionID& collection, const std::vector<int>& members) {
        return ORQSimCollection(collection)
            .CreateTempOrderedCSet(members.data(), static_cast<int>(members.size()));
    }
    static std::vector<int> Members(const ORQSimCSet& set) {
        std::vector<int> members(static_cast<std::size_t>(set.Size()));
        set.OrderedMembers(members.data());
        return members;
    }
    ORQSimPosition Region(const char* name, const std::vector<int>& elements) const {
        return builder.AddElementSet(name, 1, Elements(elements));
    }
    ORQSimPosition Assign(const char* name, const std::vector<int>& elements, int section) const {
        return sections.AddSectionAssignment(Region(name, elements), SectionAt(section));
    }

    ORQSimDatabase database = NewDatabase();
    ORQSimTransaction transaction{database.ContextID()};
    ORQObjModelBuilder builder{database};
    ORQObjSectionBuilder sections{builder.Document()};
    SoundAtEnd sound{database};
};
