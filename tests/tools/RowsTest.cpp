// What tables are made of, where numbers are missing, infinite or very large.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "NewDatabase.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "commands/CommandLine.h"
#include "model/NoValue.h"
#include "queries/Invariants.h"
#include "queries/MemberRange.h"
#include "queries/RowStatistics.h"

namespace {

using orqmodel::Magnitude;
using orqmodel::PrincipalValues;
using orqmodel::SymmetricTensor;
using orqmodel::VonMises;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
using orq::exchange::kNoValue;

orqmodel::RowStatistics::OfColumn Taken(std::vector<double> values) {
    orqmodel::RowStatistics statistics(1);
    for (const double value : values) {
        orqmodel::RowBlock block;
        block.values = {value};
        statistics.Take(block);
    }
    return statistics.Columns()[0];
}

TEST(RowStatistics, SumsMayBeInfinite) {
    EXPECT_EQ(Taken({1, kInfinity, 2}).Sum(), kInfinity);
    EXPECT_EQ(Taken({-kInfinity, 1}).Mean(), -kInfinity);
    EXPECT_EQ(Taken({1e308, 1e308, 1e308}).Sum(), kInfinity);
    EXPECT_TRUE(std::isnan(Taken({kInfinity, -kInfinity}).Sum()));
    EXPECT_EQ(Taken({1e16, 1, kNoValue, -1e16}).Sum(), 1) << "what a plain sum loses";
}

TEST(Invariants, NeitherOverflowNorVanish) {
    for (const double scale : {1e-300, 1e-160, 1.0, 1e160, 1e300}) {
        EXPECT_DOUBLE_EQ(Magnitude(std::vector{3 * scale, 4 * scale, 0.0}), 5 * scale);
        const SymmetricTensor shear = {0, 0, 0, scale, 0, 0};
        EXPECT_DOUBLE_EQ(VonMises(shear), std::sqrt(3.0) * scale);
        EXPECT_DOUBLE_EQ(PrincipalValues(shear)[0], scale);
        EXPECT_DOUBLE_EQ(PrincipalValues(shear)[2], -scale);
    }
    EXPECT_EQ(Magnitude(std::vector{0.0, 0.0}), 0);
    EXPECT_EQ(VonMises({}), 0);
    EXPECT_EQ(Magnitude(std::vector{kInfinity, 1.0}), kInfinity);
}

TEST(Invariants, OfWhatIsNotKnownInFullAreNotKnown) {
    EXPECT_TRUE(std::isnan(Magnitude(std::vector{1.0, kNoValue})));
    // Whatever the place, and also where nothing has to be turned.
    for (std::size_t i = 0; i < 6; ++i) {
        SymmetricTensor tensor = {3, 2, 1, 0, 0, 0};
        tensor.at(i) = kNoValue;
        EXPECT_TRUE(std::isnan(VonMises(tensor))) << i;
        for (const double value : PrincipalValues(tensor)) {
            EXPECT_TRUE(std::isnan(value)) << i;
        }
    }
}

TEST(ElementParts, TellHowFarTheyAreWithinABlock) {
    exodus_file::Content content;
    content.blocks = {{1, "one", "QUAD4", 4, {1, 2, 3, 4, 1, 2, 3, 4, 1, 2, 3, 4, 1, 2, 3, 4}, {}}};
    const exodus_file::ScratchFolder folder;
    exodus_file::Write(content, folder / "m.e");
    ASSERT_EQ(RunHere({"import", folder / "m.e", "-o", folder / "m.orq"}).status, 0);
    const ORQExcModel model{ORQObjDocument(
        ORQSimDatabase::Open(ModelAt(folder / "m.orq"), ORQSimDatabase::Mode::ReadOnly))};
    orqmodel::ElementParts parts(model, model.Elements());
    std::vector<double> done = {parts.Done()};
    while (parts.Next(1) != nullptr) {
        done.push_back(parts.Done());
    }
    EXPECT_THAT(done, testing::ElementsAre(0, 0.25, 0.5, 0.75, 1));
}

TEST(Middles, OfAnElementInNoBlockAreNotKnown) {
    const ORQSimDatabase database = NewDatabase();
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    builder.AddNodes(3);
    builder.AddElements(2);
    const ORQExcModel model{ORQObjDocument(database)};
    const std::vector<double> middles = orqmodel::MiddlesOf(model, false, model.Elements());
    ASSERT_EQ(middles.size(), 6U);
    for (const double coordinate : middles) {
        EXPECT_TRUE(std::isnan(coordinate));
    }
}

TEST(Info, FitsAVeryNarrowTerminal) {
    const exodus_file::ScratchFolder folder;
    std::string deck = "BEGIN BULK\n";
    for (char kind = 'A'; kind <= 'Z'; ++kind) {
        deck += std::string("OWN") + kind + ",1,2\n";
    }
    PutBytes(folder / "m.bdf", deck + "GRID,1,,0.,0.,0.\nENDDATA\n");
    ASSERT_EQ(RunHere({"import", folder / "m.bdf", "-o", folder / "m.orq"}).status, 0);
    std::ostringstream out;
    std::ostringstream err;
    orqmodel::Console console{out, err, false};
    console.width = 30;
    EXPECT_EQ(orqmodel::RunCommandLine({"info", folder / "m.orq"}, console), 0);
    EXPECT_THAT(out.str(), testing::HasSubstr("more kinds"));
}

}  // namespace
