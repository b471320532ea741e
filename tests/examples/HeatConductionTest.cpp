// Heat conduction beside solutions on paper, and what it leaves in the database.
#include <gmock/gmock.h>

#include <cmath>
#include <numbers>

#include "BarModel.h"
#include "HeatAnalysis.h"
#include "HeatModel.h"
#include "HeatSolver.h"
#include "ORQObjDiagnostics.h"
#include "ORQObjModel.h"
#include "ORQObjStep.h"
#include "ORQSimLinks.h"
#include "ORQSrvDiagnosticsHandler.h"
#include "Vocabulary.h"

namespace {

using heat::Bar;
using heat::Conductivity;
using heat::HeatModel;
using heat::HeatOptions;
using heat::HeatSolver;

// A bar in a database of its own, open for writing.
class HeatConduction : public testing::Test {
  protected:
    ~HeatConduction() override { omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize(); }

    ORQObjDocument Make(const Bar& bar) {
        const std::string path = m_folder / ("bar" + std::to_string(m_nBars++) + ".orq");
        heat::WriteBar(bar, path);
        return ORQSimDatabase::Open(path, Mode::ReadWrite);
    }

    Folder m_folder;
    int m_nBars = 0;
};

class HeatConductionIn : public HeatConduction, public testing::WithParamInterface<const char*> {};

// The temperature in a slab of unit length, conductivity and capacity, at first 0, whose surface at
// x = 0 has the temperature 1 from time 0 on and lets no heat pass at x = 1.
double SlabAt(double x, double time) {
    double temperature = 1.0;
    for (int n = 0; n < 200; ++n) {
        const double a = (2 * n + 1) * std::numbers::pi / 2;
        temperature -= 2 / a * std::sin(a * x) * std::exp(-a * a * time);
    }
    return temperature;
}

constexpr double kSlabTime = 0.25;

// The slab's temperatures at that time.
Eigen::VectorXd Slab(const HeatModel& model, int increments) {
    HeatSolver solver(model, Conductivity({{0, 1}}), 1.0, 0.0);
    solver.Hold(model.NodesOf("LEFT"), 1.0);
    for (int i = 0; i < increments; ++i) {
        solver.BeginAttempt(kSlabTime / increments);
        solver.Iterate();
        solver.Accept();
    }
    return solver.Temperatures();
}

double LargestError(const HeatModel& model, const Eigen::VectorXd& temperatures) {
    double error = 0;
    for (int node = 0; node < model.NumNodes(); ++node) {
        error = std::max(
            error, std::abs(temperatures[node] - SlabAt(model.Coordinates()(0, node), kSlabTime)));
    }
    return error;
}

std::vector<ORQObjCondition> ConditionsOf(const ORQObjDocument& document, const char* step) {
    std::vector<ORQObjCondition> conditions;
    const ORQSimVector all =
        ORQObjStep(ORQObjModel(document.GetModel()).GetStep(step)).GetConditions();
    for (auto i = all.Begin(); i.NotDone(); ++i) {
        conditions.emplace_back(*i);
    }
    return conditions;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Shapes, HeatConductionIn, testing::Values("HEX8", "TET4", "WEDGE6"),
                         [](const auto& shape) { return std::string(shape.param); });

TEST_P(HeatConductionIn, ErrorsOfTheSlabShrinkWithTheMeshAndTheTimeStep) {
    // What remains when the error of the time step is extrapolated away.
    const auto errorInSpace = [](const HeatModel& model) {
        return LargestError(model, 2 * Slab(model, 120) - Slab(model, 60));
    };
    const double inSpace = errorInSpace(HeatModel(Make({1.0, 0.2, 5, 1, GetParam()}))) /
                           errorInSpace(HeatModel(Make({1.0, 0.1, 10, 1, GetParam()})));
    EXPECT_GT(inSpace, 3.5);
    EXPECT_LT(inSpace, 4.7);

    const HeatModel fine(Make({1.0, 0.05, 40, 1, GetParam()}));
    const double error = LargestError(fine, Slab(fine, 40));
    const double inTime = LargestError(fine, Slab(fine, 20)) / error;
    EXPECT_GT(inTime, 1.8);
    EXPECT_LT(inTime, 2.2);
    EXPECT_LT(error, 5e-3);
}

// With a conductivity of 1 + a T, T + a T^2 / 2 is a straight line at rest, and the flux constant.
TEST_P(HeatConductionIn, TheStateAtRestIsThatOfTheTransformedTemperature) {
    const ORQObjDocument document = Make({2.0, 0.2, 20, 2, GetParam()});
    HeatOptions options;
    options.conductivity = {{0, 1}, {100, 3}};
    options.held = {{"LEFT", 100}, {"RIGHT", 0}};
    options.endTime = 200;
    options.timeStep = 20;
    options.maxIterations = 60;
    options.tolerance = 1e-9;
    ASSERT_TRUE(heat::RunHeatAnalysis(document, options));

    const ORQObjStep step(ORQObjModel(document.GetModel()).GetStep("Heat conduction"));
    const int last = step.GetTimes().Size() - 1;
    EXPECT_DOUBLE_EQ(step.ReadTimes().back(), 200);
    const HeatModel model(document);
    const auto fields = step.GetFieldResults();
    ASSERT_EQ(fields.size(), 2U);
    Eigen::VectorXd temperatures(model.NumNodes());
    Eigen::Matrix3Xd fluxes(3, model.NumNodes());
    ASSERT_EQ(fields[0].Read(last, model.Nodes(), temperatures.data()), temperatures.size());
    ASSERT_EQ(fields[1].Read(last, model.Nodes(), fluxes.data()), fluxes.size());
    // Cells of HEX8 are as good as elements of one dimension, whose nodes are exact.
    const bool isHexahedron = GetParam() == std::string_view("HEX8");
    const double tolerance = isHexahedron ? 1e-6 : 0.05;
    for (int node = 0; node < model.NumNodes(); ++node) {
        const double x = model.Coordinates()(0, node);
        const double transformed = 200 * (1 - x / 2);
        ASSERT_NEAR(temperatures[node], (std::sqrt(1 + 0.04 * transformed) - 1) / 0.02, tolerance);
        // At the ends all elements lie on one side of the node, and of cells that are split more
        // on one side than on the other.
        const bool isAtEnd = x == 0 || x == 2;
        ASSERT_NEAR(fluxes(0, node), 100, isAtEnd ? 10 : isHexahedron ? 1.5 : 6);
        ASSERT_NEAR(fluxes.col(node).tail<2>().norm(), 0, 6);
    }
    EXPECT_EQ(ORQObjReadJobStatus(document), ORQObjJobStatus::Completed);
    EXPECT_EQ(document.Database().Verify(), Texts());
}

TEST_F(HeatConduction, AnIncrementThatDoesNotConvergeIsCutBackUntilItDoes) {
    const ORQObjDocument document = Make({});
    HeatOptions options;
    options.conductivity = {{0, 1}, {100, 3}};
    options.held = {{"LEFT", 100}};
    options.maxIterations = 8;
    options.endTime = 0.2;
    EXPECT_TRUE(heat::RunHeatAnalysis(document, options));
    const auto conditions = ConditionsOf(document, "Heat conduction");
    ASSERT_FALSE(conditions.empty());
    double timeStep = options.timeStep / 2;
    for (const ORQObjCondition& condition : conditions) {
        EXPECT_EQ(condition.GetCode(), heat::CutBack);
        EXPECT_EQ(condition.GetSeverity(), ORQObjSeverity::Warning);
    }
    const auto arguments = conditions.front().ReadArguments();
    ASSERT_EQ(arguments.size(), 5U);
    EXPECT_EQ(std::get<int>(arguments[0]), 1);
    EXPECT_EQ(std::get<double>(arguments[3]), timeStep);

    // With nowhere to cut back to, it ends; and the material knows its conductivity by now.
    options.conductivity.clear();
    options.step = "Again";
    options.smallestTimeStep = 0.02;
    EXPECT_FALSE(heat::RunHeatAnalysis(document, options));
    const auto again = ConditionsOf(document, "Again");
    ASSERT_FALSE(again.empty());
    EXPECT_EQ(again.back().GetCode(), heat::NoConvergence);
    EXPECT_EQ(again.back().GetSeverity(), ORQObjSeverity::Error);
    EXPECT_EQ(ORQObjReadJobStatus(document), ORQObjJobStatus::Failed);
}

TEST_F(HeatConduction, WhatMakesNoAnalysisIsRefusedBeforeAnythingIsWritten) {
    const ORQObjDocument document = Make({});
    const std::int64_t before = document.Database().Generation();
    const auto refusal = [&](const std::function<void(HeatOptions&)>& change) -> std::string {
        HeatOptions options;
        options.conductivity = {{0, 1}};
        change(options);
        try {
            heat::RunHeatAnalysis(document, options);
        } catch (const heat::HeatError& error) {
            EXPECT_EQ(document.Database().Generation(), before);
            return error.what();
        }
        return "";
    };
    using testing::HasSubstr;
    EXPECT_THAT(refusal([](auto& o) { o.held = {{"left", 1}}; }), HasSubstr("\"left\""));
    EXPECT_THAT(refusal([](auto& o) { o.held = {{"\"left", 1}}; }), HasSubstr("\"\"left\""));
    EXPECT_THAT(refusal([](auto& o) { o.conductivity.clear(); }), HasSubstr("\"SOLID\""));
    EXPECT_THAT(refusal([](auto& o) { o.conductivity = {{5, 1}, {5, 2}}; }), HasSubstr("ascend"));
    EXPECT_THAT(refusal([](auto& o) { o.conductivity = {{5, 0}}; }), HasSubstr("above 0"));
    EXPECT_THAT(refusal([](auto& o) { o.timeStep = std::nan(""); }), HasSubstr("time step"));
    HeatOptions good;
    good.conductivity = {{0, 1}};
    EXPECT_TRUE(heat::RunHeatAnalysis(document, good));
    EXPECT_THAT([&] { heat::RunHeatAnalysis(document, good); },
                testing::ThrowsMessage<heat::HeatError>(HasSubstr("\"Heat conduction\"")));
}

TEST_F(HeatConduction, ElementsCarryLinearFieldsFromTheirPointsToTheirNodes) {
    for (const char* name : {"HEX8", "TET4", "WEDGE6"}) {
        const heat::Element* element = heat::FindElement(name);
        ASSERT_NE(element, nullptr) << name;
        const auto n = element->points.size();
        for (std::size_t node = 0; node < n; ++node) {
            // A shape is 1 at its own node and 0 at the others.
            for (std::size_t other = 0; other < n; ++other) {
                double value = 0;
                for (std::size_t p = 0; p < n; ++p) {
                    value += static_cast<double>(element->extrapolation[other * n + p]) *
                             element->points[p].shapes[static_cast<Eigen::Index>(node)];
                }
                EXPECT_NEAR(value, node == other, 1e-6) << name;
            }
        }
    }
    EXPECT_EQ(heat::FindElement("SHELL4"), nullptr);
}
