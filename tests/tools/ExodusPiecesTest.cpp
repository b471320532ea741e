// Exodus models that were cut into pieces come in whole.
#include <exodusII.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "LabelledModel.h"
#include "formats/exodus/ExodusPieces.h"

namespace fs = std::filesystem;
using exodus_file::Keys;
using exodus_file::LabelledModel;
using exodus_file::ReadLabelled;
using exodus_file::ScratchFolder;
using exodus_file::WriteLabelled;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

/// The part of a model that has some of its elements. A node that is of no element is in the first.
LabelledModel PieceOf(const LabelledModel& whole, const std::function<bool(int element)>& isIn,
                      bool isFirst) {
    LabelledModel piece = whole;
    std::set<int> used;
    std::set<int> usedAnywhere;
    for (auto& [id, block] : piece.blocks) {
        for (const auto& [element, nodes] : block.elements) {
            usedAnywhere.insert(nodes.begin(), nodes.end());
        }
        std::erase_if(block.elements, [&](const auto& element) { return !isIn(element.first); });
        std::erase_if(block.attributes, [&](const auto& element) { return !isIn(element.first); });
        for (const auto& [element, nodes] : block.elements) {
            used.insert(nodes.begin(), nodes.end());
        }
    }
    const auto hasNode = [&](int node) {
        return used.contains(node) || (isFirst && !usedAnywhere.contains(node));
    };
    std::erase_if(piece.nodes, [&](const auto& node) { return !hasNode(node.first); });
    for (auto& [kind, sets] : piece.sets) {
        for (auto& [id, set] : sets) {
            const auto isOut = [&, kind = kind](const LabelledModel::Member& member) {
                return kind == EX_NODE_SET ? !hasNode(member.first) : !isIn(member.first);
            };
            std::erase_if(set.members, isOut);
            const auto isOfOut = [&](const auto& entry) { return isOut(entry.first); };
            std::erase_if(set.factors, isOfOut);
            for (auto& [name, values] : set.variables) {
                std::erase_if(values, isOfOut);
            }
        }
    }
    for (auto& [name, values] : piece.nodal) {
        std::erase_if(values, [&](const auto& value) { return !hasNode(value.first.second); });
    }
    for (auto& [name, values] : piece.elemental) {
        std::erase_if(values, [&](const auto& value) { return !isIn(value.first.second); });
    }
    return piece;
}

class ExodusPiecesTest : public testing::Test {
  protected:
    fs::path FileOf(int piece, int count) const {
        return m_folder / ("cut.e." + std::to_string(count) + "." + std::to_string(piece));
    }
    std::vector<LabelledModel> Cut(const LabelledModel& whole, int count) const {
        // Elements that follow each other lie together, more or less.
        std::vector<int> labels;
        for (const auto& [id, block] : whole.blocks) {
            const std::vector<int> own = Keys(block.elements);
            labels.insert(labels.end(), own.begin(), own.end());
        }
        std::map<int, int> pieceOf;
        for (std::size_t i = 0; i < labels.size(); ++i) {
            pieceOf[labels[i]] =
                static_cast<int>(i * static_cast<std::size_t>(count) / labels.size());
        }
        std::vector<LabelledModel> pieces;
        for (int piece = 0; piece < count; ++piece) {
            pieces.push_back(PieceOf(
                whole, [&](int element) { return pieceOf.at(element) == piece; }, piece == 0));
        }
        return pieces;
    }
    CommandResult Import(const fs::path& file) const {
        return RunHere({"import", file, "-o", m_folder / "model.orq", "--force"});
    }
    LabelledModel Joined(const fs::path& file) const {
        const CommandResult imported = Import(file);
        EXPECT_EQ(imported.status, 0) << imported.err;
        const fs::path out = m_folder / "whole.e";
        const CommandResult exported =
            RunHere({"export", m_folder / "model.orq", "-o", out, "--force"});
        EXPECT_EQ(exported.status, 0) << exported.err;
        return ReadLabelled(out);
    }

    ScratchFolder m_folder;
};

class ExodusPiecesOf : public ExodusPiecesTest, public testing::WithParamInterface<const char*> {};

/// Two blocks that share nodes, with results.
LabelledModel Small() {
    LabelledModel model;
    for (int i = 0; i < 9; ++i) {
        model.nodes[10 + i] = {1.0 * (i % 3), 1.0 * (i / 3), 0};
    }
    model.blocks[1] = {
        "left", "QUAD4", {{1, {10, 11, 14, 13}}, {3, {13, 14, 17, 16}}}, {{1, {}}, {3, {}}}};
    model.blocks[7] = {
        "right", "QUAD4", {{2, {11, 12, 15, 14}}, {4, {14, 15, 18, 17}}}, {{2, {}}, {4, {}}}};
    return model;
}

/// The same with sets that lie in both halves, whose members have factors and values that differ.
LabelledModel SmallWithSets() {
    LabelledModel model = Small();
    model.times = {0.5, 1.5};
    const auto add = [&](ex_entity_type kind, int id, std::set<LabelledModel::Member> members,
                         int nFactors) {
        LabelledModel::Set& set = model.sets[kind][id];
        set = {"set " + std::to_string(id), std::move(members), {}, {}};
        for (const LabelledModel::Member& member : set.members) {
            const double value = 100 * id + member.first + 0.1 * member.second;
            for (int i = 0; i < nFactors; ++i) {
                set.factors[member].push_back(value + 0.01 * i);
            }
            set.variables["flux"][member] = {-value, -value - 1000};
            set.variables["heat"][member] = {value, value + 1000};
        }
    };
    add(EX_NODE_SET, 3, {{10, 0}, {13, 0}}, 1);  // in the left half alone
    add(EX_NODE_SET, 4, {{13, 0}, {14, 0}, {15, 0}}, 1);
    add(EX_SIDE_SET, 8, {{1, 1}, {2, 1}, {3, 3}, {4, 3}}, 2);
    add(EX_SIDE_SET, 9, {{4, 2}}, 2);
    return model;
}

/// Some members of each array read as they do among all.
void ExpectEveryThirdOfTheWhole(ORQExcResultSource& results) {
    for (int array = 0; array < std::ssize(results.Arrays()); ++array) {
        const auto& parts = results.Arrays()[static_cast<std::size_t>(array)].parts;
        for (int part = 0; part < std::ssize(parts); ++part) {
            const ORQExcResultArray::Part& of = parts[static_cast<std::size_t>(part)];
            const int last = static_cast<int>(of.times.size()) - 1;
            std::vector<double> all(static_cast<std::size_t>(of.NumMembers()));
            results.ReadResult(array, part, last, last + 1, all);
            const int third = std::max(1, of.NumMembers() / 3);
            for (int first = 0; first + third <= of.NumMembers(); first += third) {
                std::vector<double> some(static_cast<std::size_t>(third));
                results.ReadMembers(array, part, last, first, third, some);
                ASSERT_TRUE(std::equal(some.begin(), some.end(), all.begin() + first));
            }
        }
    }
}

}  // namespace

TEST_P(ExodusPiecesOf, AreTheWholeModel) {
    const fs::path file = fs::path(ORQ_SHARED_MODELS) / GetParam();
    if (!fs::exists(file)) {
        GTEST_SKIP() << file << " is not here";
    }
    const LabelledModel whole = ReadLabelled(file);
    const int dimension = std::string(GetParam()).starts_with("subduction") ? 2 : 3;
    const std::vector<LabelledModel> pieces = Cut(whole, 4);
    for (int piece = 0; piece < 4; ++piece) {
        WriteLabelled(pieces[static_cast<std::size_t>(piece)], dimension, FileOf(piece, 4));
    }
    for (const int piece : {0, 2}) {  // any of them stands for all
        SCOPED_TRACE(piece);
        const LabelledModel joined = Joined(FileOf(piece, 4));
        EXPECT_EQ(joined.nodes, whole.nodes);
        EXPECT_EQ(joined.blocks, whole.blocks);
        EXPECT_EQ(joined.sets, whole.sets);
        EXPECT_EQ(joined.times, whole.times);
        EXPECT_EQ(joined.global, whole.global);
        EXPECT_EQ(joined.nodal, whole.nodal);
        EXPECT_EQ(joined.elemental, whole.elemental);
    }
    ExpectEveryThirdOfTheWhole(
        *orq::exchange::ExodusPieces(orq::exchange::ExodusPieceFiles(FileOf(0, 4))).Results());
}

INSTANTIATE_TEST_SUITE_P(Models, ExodusPiecesOf,
                         testing::Values("box_solid_shell_results.g", "subduction_tri.exo",
                                         "basemat_isolators.e", "block_crush_1.ex2"),
                         [](const auto& model) {
                             const std::string name = model.param;
                             return name.substr(0, name.find('.'));
                         });

TEST_F(ExodusPiecesTest, ThatIsMissingIsNamed) {
    const std::vector<LabelledModel> pieces = Cut(Small(), 3);
    WriteLabelled(pieces[0], 3, FileOf(0, 3));
    WriteLabelled(pieces[1], 3, FileOf(1, 3));
    const CommandResult result = Import(FileOf(1, 3));
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, AllOf(HasSubstr("cut.e.3.2"), HasSubstr("does not exist")));
}

TEST_F(ExodusPiecesTest, OfManyHaveNumbersWithZeros) {
    const LabelledModel whole = Small();
    const std::vector<LabelledModel> pieces = Cut(whole, 10);
    for (int piece = 0; piece < 10; ++piece) {
        WriteLabelled(pieces[static_cast<std::size_t>(piece)], 3,
                      m_folder / ("cut.e.10.0" + std::to_string(piece)));
    }
    EXPECT_EQ(Joined(m_folder / "cut.e.10.04").blocks, whole.blocks);
}

TEST_F(ExodusPiecesTest, HaveFactorsAndVariablesOfSetsByMember) {
    const LabelledModel whole = SmallWithSets();
    std::vector<LabelledModel> pieces = Cut(whole, 2);
    // A piece may know only the sets of which it has members, so that their numbers in it are others.
    std::erase_if(pieces[1].sets.at(EX_NODE_SET),
                  [](const auto& set) { return set.second.members.empty(); });
    WriteLabelled(pieces[0], 3, FileOf(0, 2));
    WriteLabelled(pieces[1], 3, FileOf(1, 2));
    EXPECT_EQ(Joined(FileOf(0, 2)).sets, whole.sets);
    EXPECT_THAT(Import(FileOf(0, 2)).out, Not(HasSubstr("joined without them")));

    pieces[1].sets.at(EX_NODE_SET).at(4).factors.clear();
    WriteLabelled(pieces[1], 3, FileOf(1, 2));
    EXPECT_THAT(Import(FileOf(0, 2)).out, HasSubstr("some pieces have no values of it"));
    const LabelledModel::Set joined = Joined(FileOf(0, 2)).sets.at(EX_NODE_SET).at(4);
    EXPECT_EQ(joined.factors.at({15, 0}), std::vector<double>{1});  // the format's own value

    pieces[1] = Cut(whole, 2)[1];
    for (auto& [id, set] : pieces[1].sets.at(EX_SIDE_SET)) {
        auto flux = set.variables.extract("flux");
        flux.key() = "gas";
        set.variables.insert(std::move(flux));
    }
    WriteLabelled(pieces[1], 3, FileOf(1, 2));
    EXPECT_THAT(Import(FileOf(0, 2)).err,
                AllOf(HasSubstr("name_sset_var"), HasSubstr("cut.e.2.0")));
}

TEST_F(ExodusPiecesTest, WithMapsThatContradictEachOtherAreErrors) {
    struct Case {
        const char* what;
        std::function<void(std::vector<LabelledModel>& pieces)> spoil;
        std::vector<std::string> texts;
    };
    const std::vector<Case> cases = {
        {"a node in two places",
         [](std::vector<LabelledModel>& pieces) {
             pieces[1].nodes.at(14) = {1, 1, 0.5};
         },
         {"cut.e.2.1", "node 14 is at 1 1 0.5", "cut.e.2.0 at 1 1 0"}},
        {"an element twice",
         [](std::vector<LabelledModel>& pieces) {
             pieces[1].blocks.at(7).elements[1] = pieces[1].blocks.at(7).elements.at(2);
             pieces[1].blocks.at(7).attributes[1] = {};
         },
         {"elements 1 and 3 in file order both have label 1"}},
        {"an element of one block twice",
         [](std::vector<LabelledModel>& pieces) {
             pieces[1].blocks.at(1) = pieces[0].blocks.at(1);
             pieces[1].nodes = Small().nodes;
         },
         {"cut.e.2.1", "element 1 is in cut.e.2.0 too"}},
        {"two shapes",
         [](std::vector<LabelledModel>& pieces) {
             pieces[1].blocks.at(1) = {"left", "SHELL4", pieces[1].blocks.at(7).elements,
                                       pieces[1].blocks.at(7).attributes};
             pieces[1].blocks.at(7).elements.clear();
             pieces[1].blocks.at(7).attributes.clear();
         },
         {"cut.e.2.1", "element block 1", "SHELL4", "QUAD4"}},
        {"other times",
         [](std::vector<LabelledModel>& pieces) {
             pieces[1].times = {1, 2};
         },
         {"cut.e.2.1", "time steps"}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        std::vector<LabelledModel> pieces = Cut(Small(), 2);
        one.spoil(pieces);
        WriteLabelled(pieces[0], 3, FileOf(0, 2));
        WriteLabelled(pieces[1], 3, FileOf(1, 2));
        const CommandResult result = Import(FileOf(0, 2));
        EXPECT_EQ(result.status, 3) << result.out;
        for (const std::string& text : one.texts) {
            EXPECT_THAT(result.err, HasSubstr(text));
        }
    }
}

// "plate.2.7" is the seventh version of something, not a piece.
TEST_F(ExodusPiecesTest, AreNotMeantByOtherNumbers) {
    WriteLabelled(Small(), 3, m_folder / "plate.2.7");
    EXPECT_EQ(Import(m_folder / "plate.2.7").status, 0);
}

TEST_F(ExodusPiecesTest, OrWholeModelsKeepEmptyBlocksWithoutShape) {
    LabelledModel model = Small();
    model.blocks[9] = {"later", "NULL", {}, {}};
    WriteLabelled(model, 3, m_folder / "whole_with_empty.e");
    EXPECT_EQ(Joined(m_folder / "whole_with_empty.e").blocks, model.blocks);
}
