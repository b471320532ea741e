// The label mapper beside a plain join of the same labels.
#include <algorithm>
#include <tuple>

#include "LabelModel.h"
#include "ORQSrvLabelMapper.h"
#include "omi_BlkBitVect.h"

namespace {

using Mapper = ORQSrvLabelMapper;

// The same operation for nodes and for elements.
struct Operations {
    ORQSimCSet (Mapper::*commonPrimary)();
    ORQSimCSet (Mapper::*commonSecondary)();
    ORQSimArray<int> (Mapper::*mapping)(ORQSimCSetID);
    ORQSimCSet (Mapper::*secondarySet)(const ORQSimCSetID&, bool);
    void (Mapper::*bits)(const omi_BlkBitVect&, omi_BlkBitVect&);
    const ORQString& (Mapper::*name)(int) const;
    int (Mapper::*label)(int) const;
};
constexpr Operations kNodes = {
    &Mapper::GetCommonPrimaryNodeSet,       &Mapper::GetCommonSecondaryNodeSet,
    &Mapper::GetMappingFromPrimaryNodeSet,  &Mapper::GetSecondaryNodeSet,
    &Mapper::GetSecondaryNodesBitVector,    &Mapper::GetNodeMappingOrdinalInstanceName,
    &Mapper::GetNodeMappingOrdinalUserLabel};
constexpr Operations kElements = {
    &Mapper::GetCommonPrimaryElementSet,       &Mapper::GetCommonSecondaryElementSet,
    &Mapper::GetMappingFromPrimaryElementSet,  &Mapper::GetSecondaryElementSet,
    &Mapper::GetSecondaryElementsBitVector,    &Mapper::GetElementMappingOrdinalInstanceName,
    &Mapper::GetElementMappingOrdinalUserLabel};

// The matches: primary ordinal to secondary ordinal, instance and label.
using Matches = std::map<int, std::tuple<int, std::string, int>>;

Matches Join(const Labelling& primary, const Labelling& secondary) {
    Matches matches;
    for (const auto& [instance, ordinalOf] : primary.ordinalOf) {
        for (const auto& [label, ordinal] : ordinalOf) {
            const auto there = secondary.ordinalOf.find(instance);
            if (there != secondary.ordinalOf.end() && there->second.contains(label)) {
                matches[ordinal] = {there->second.at(label), instance, label};
            }
        }
    }
    return matches;
}

int ImageOf(const Matches& matches, int ordinal) {
    const auto found = matches.find(ordinal);
    return found == matches.end() ? -1 : std::get<0>(found->second);
}

Ints Bits(const omi_BlkBitVect& bits) {
    Ints members;
    omi_BlkBitVectTrav traversal(bits);
    for (int bit = traversal.First(); bit >= 0; bit = traversal.Next()) {
        members.push_back(bit);
    }
    return members;
}

void ExpectMaps(Mapper& mapper, const Operations& of, const ORQSimCollection& primary,
                const ORQSimCollection& secondary, const Matches& matches, const Ints& asked) {
    Ints images;
    Ints found;
    omi_BlkBitVect in;
    omi_BlkBitVect out;
    out.SetBit(7);
    for (const int ordinal : asked) {
        images.push_back(ImageOf(matches, ordinal));
        in.SetBit(ordinal);
        if (images.back() >= 0) {
            found.push_back(images.back());
        }
    }
    std::ranges::sort(found);
    const ORQSimCSetID set = SetOf(primary, asked).RegisterWithTempCollection();
    const ORQSimArray<int> mapped = (mapper.*of.mapping)(set);
    EXPECT_EQ(Ints(mapped.begin(), mapped.end()), images);
    const ORQSimCSet mappedSet = (mapper.*of.secondarySet)(set, false);
    EXPECT_EQ(OrderedMembers(mappedSet), found);
    EXPECT_EQ(mappedSet.CollectionID(), secondary.ID());
    (mapper.*of.bits)(in, out);
    EXPECT_EQ(Bits(out), found);
}

void ExpectIsTheJoin(Mapper& mapper, const Operations& of, const ORQSimCollection& primary,
                     const ORQSimCollection& secondary, const Matches& matches,
                     std::mt19937& random) {
    Ints ordinals;
    Ints images;
    for (const auto& [ordinal, match] : matches) {
        ordinals.push_back(ordinal);
        images.push_back(std::get<0>(match));
    }
    std::ranges::sort(images);
    EXPECT_EQ(OrderedMembers((mapper.*of.commonPrimary)()), ordinals);
    EXPECT_EQ((mapper.*of.commonPrimary)().CollectionID(), primary.ID());
    EXPECT_EQ(OrderedMembers((mapper.*of.commonSecondary)()), images);
    EXPECT_EQ((mapper.*of.commonSecondary)().CollectionID(), secondary.ID());
    int mappingOrdinal = 0;
    for (const auto& [ordinal, match] : matches) {
        ASSERT_EQ((mapper.*of.name)(mappingOrdinal), std::get<1>(match).c_str()) << ordinal;
        ASSERT_EQ((mapper.*of.label)(mappingOrdinal), std::get<2>(match)) << ordinal;
        ++mappingOrdinal;
    }

    Ints all = Members(ORQSimCSet(primary.ID()));
    ExpectMaps(mapper, of, primary, secondary, matches, all);
    std::ranges::shuffle(all, random);
    ExpectMaps(mapper, of, primary, secondary, matches, all);
    all.resize(all.size() / 9);
    ExpectMaps(mapper, of, primary, secondary, matches, all);
    std::ranges::sort(all);
    ExpectMaps(mapper, of, primary, secondary, matches, all);
}

// Primary and secondary nodes; the elements are labelled the other way round.
struct TwoModels {
    Labelling first{3, {{"PART-1", {{30, 0}, {10, 1}, {20, 2}}}}};
    Labelling second{3, {{"PART-1", {{20, 0}, {40, 1}, {30, 2}}}}};
    LabelModel primary{first, second};
    LabelModel secondary{second, first};
    Mapper mapper{primary.database.Focus(), secondary.database.Focus()};
};

}  // namespace

TEST(LabelMapper, MatchesAreThoseOfAPlainJoin) {
    std::mt19937 random(20);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const Labelling nodesA = RandomLabelling(random);
        const Labelling nodesB = round == 0 ? nodesA : RandomLabelling(random);
        const Labelling elementsA = RandomLabelling(random);
        const Labelling elementsB = RandomLabelling(random);
        const LabelModel primary(nodesA, elementsA);
        const LabelModel secondary(nodesB, elementsB);
        Mapper mapper(primary.database.Focus(), secondary.database.Focus());
        ExpectIsTheJoin(mapper, kElements, primary.ElementCollection(),
                        secondary.ElementCollection(), Join(elementsA, elementsB), random);
        ExpectIsTheJoin(mapper, kNodes, primary.NodeCollection(), secondary.NodeCollection(),
                        Join(nodesA, nodesB), random);
        if (HasFailure()) {
            return;
        }
    }
}

TEST(LabelMapper, MembersThatAreNoOrdinalsHaveNoMatch) {
    TwoModels models;
    const ORQSimCSetID set =
        SetOf(models.primary.NodeCollection(), {2, -1, 0, 99}).RegisterWithTempCollection();
    const ORQSimArray<int> images = models.mapper.GetMappingFromPrimaryNodeSet(set);
    EXPECT_EQ(Ints(images.begin(), images.end()), (Ints{0, -1, 2, -1}));
    EXPECT_EQ(models.mapper.GetMappingFromPrimaryNodeSet({}).Size(), 0);
    EXPECT_TRUE(models.mapper.GetSecondaryNodeSet({}, true).IsEmpty());
}

TEST(LabelMapper, ATableIsAsOldAsItsFirstUse) {
    TwoModels models;
    models.mapper.GetCommonPrimaryElementSet();
    const int label = 40;
    models.primary.builder.SetLabels(ORQObjLabelerType::Node,
                                     models.primary.builder.AddInstance("PART-2"),
                                     models.primary.builder.AddNodes(1), &label);
    models.secondary.builder.SetLabels(ORQObjLabelerType::Node,
                                       models.secondary.builder.AddInstance("PART-2"),
                                       models.secondary.builder.AddNodes(1), &label);
    EXPECT_EQ(OrderedMembers(models.mapper.GetCommonPrimaryNodeSet()), (Ints{0, 2, 3}));
    EXPECT_EQ(models.mapper.GetNodeMappingOrdinalInstanceName(2), "PART-2");
    EXPECT_EQ(models.mapper.GetElementMappingOrdinalInstanceName(1), "PART-1");
}

TEST(LabelMapper, AMemberOfTwoInstancesMapsByOneOfThem) {
    const Labelling shared{2, {{"A", {{1, 1}}}, {"B", {{5, 0}, {6, 1}}}}};
    const LabelModel primary(shared, {});
    const LabelModel secondary(shared, {});
    Mapper mapper(primary.database.Focus(), secondary.database.Focus());
    EXPECT_EQ(OrderedMembers(mapper.GetCommonPrimaryNodeSet()), (Ints{0, 1}));
    const ORQSimArray<int> images = mapper.GetMappingFromPrimaryNodeSet(
        ORQSimPosition(primary.NodeCollection().ID()).GetCSet());
    EXPECT_EQ(Ints(images.begin(), images.end()), (Ints{0, 1}));
}

TEST(LabelMapperDeathTest, TablesMustBeThereAndOrdinalsBelowTheirCount) {
    TwoModels models;
    Mapper& mapper = models.mapper;
    const auto exits = testing::ExitedWithCode(1);
    mapper.GetCommonPrimaryNodeSet();
    EXPECT_EQ(mapper.GetNodeMappingOrdinalUserLabel(1), 20);
    EXPECT_EXIT(mapper.GetElementMappingOrdinalInstanceName(0), exits, ": m_elements != 0\n");
    EXPECT_EXIT(mapper.GetElementMappingOrdinalUserLabel(0), exits, ": m_elements != 0\n");
    EXPECT_EXIT(mapper.GetNodeMappingOrdinalInstanceName(2), exits,
                ": mappingOrdinal < m_nnodes\n");
    EXPECT_EXIT(mapper.GetNodeMappingOrdinalUserLabel(2), exits, ": mappingOrdinal < m_nnodes\n");
    mapper.GetCommonSecondaryElementSet();
    EXPECT_EXIT(mapper.GetElementMappingOrdinalInstanceName(2), exits,
                ": mappingOrdinal < m_nelements\n");
    EXPECT_EXIT(Mapper(models.primary.database.Focus(), models.secondary.database.Focus())
                    .GetNodeMappingOrdinalUserLabel(0),
                exits, ": m_nodes != 0\n");
    // Also without any match the table is there.
    Mapper none(models.primary.database.Focus(), {});
    EXPECT_EXIT((none.GetCommonPrimaryNodeSet(), none.GetNodeMappingOrdinalUserLabel(0)), exits,
                ": mappingOrdinal < m_nnodes\n");
}

TEST(LabelMapperDeathTest, ASetOfTheSecondaryModelIsRefused) {
    TwoModels models;
    const auto exits = testing::ExitedWithCode(1);
    const ORQSimCSetID nodes =
        SetOf(models.secondary.NodeCollection(), {0}).RegisterWithTempCollection();
    const ORQSimCSetID elements =
        SetOf(models.secondary.ElementCollection(), {0}).RegisterWithTempCollection();
    EXPECT_EXIT(models.mapper.GetSecondaryNodeSet(nodes, false), exits,
                ": primaryNodeSet.CollectionID\\(\\) != nodeCol\n");
    EXPECT_EXIT(models.mapper.GetSecondaryElementSet(elements, false), exits,
                ": primaryElementSet.CollectionID\\(\\) != elementCol\n");
}
