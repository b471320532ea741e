#include <gtest/gtest.h>

#include <typeinfo>

#include "ORQBasAllocModule.h"
#include "ORQObjSimObjectsModModule.h"
#include "ORQSrvBasicModule.h"
#include "ORQSrvBulkShellLayers.h"
#include "ORQSrvDiagnosticsHandler.h"
#include "ORQSrvSurfaceNodalAreas.h"

namespace {

constexpr int s_own = 2;  // the module and its specific part
constexpr int s_subModules = 3;
constexpr int s_dependencies = 8;
constexpr int s_all = s_own + s_subModules + s_dependencies;

// True when nobody holds the module: then a first initialize brings it up.
bool IsDead(void (*initialize)(int&), void (*finalize)(int&)) {
    int tally = 0;
    initialize(tally);
    const bool wasDead = tally == 1;
    finalize(tally);
    return wasDead;
}

bool DependenciesAreDead() {
    return IsDead(ORQBasAlloc_initialize, ORQBasAlloc_finalize) &&
           IsDead(ORQObjSimObjectsMod_initialize, ORQObjSimObjectsMod_finalize);
}

template <class Singleton>
void* Registered() {
    return omi_SingletonRegistry::Instance()->Find(typeid(Singleton).name());
}
void* RegisteredLayers() {
    return Registered<ORQSrvBulkShellLayers>();
}

// Lets go of the loader's own reference, so that every counter begins at 0.
class Module : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(ORQSrvBasic_loaderEntry(ORQSrvLoaderReason::ProcessDetach), 1);
        ASSERT_TRUE(DependenciesAreDead());
    }
    void TearDown() override {
        EXPECT_TRUE(DependenciesAreDead());
        ORQSrvBasic_loaderEntry(ORQSrvLoaderReason::ProcessAttach);
    }

    int m_tally = 0;
};

}  // namespace

TEST(LoadedModule, HoldsItsOwnReference) {
    EXPECT_FALSE(DependenciesAreDead());
    int tally = 0;
    ORQSrvBasic_initialize(tally);
    EXPECT_EQ(tally, 0);
    ORQSrvBasic_finalize(tally);
    EXPECT_EQ(tally, 0);
    EXPECT_FALSE(DependenciesAreDead());
    EXPECT_EQ(ORQSrvBasic_marker(), 1);
}

TEST_F(Module, FirstInitializeAndLastFinalizeMoveTheTally) {
    ORQSrvBasic_initialize(m_tally);
    EXPECT_EQ(m_tally, s_all);
    ORQSrvBasic_initialize(m_tally);
    EXPECT_EQ(m_tally, s_all);
    ORQSrvBasic_finalize(m_tally);
    EXPECT_EQ(m_tally, s_all);
    EXPECT_FALSE(DependenciesAreDead());
    ORQSrvBasic_finalize(m_tally);
    EXPECT_EQ(m_tally, 0);
}

TEST_F(Module, StartsAfreshAfterACompleteFinalize) {
    for (int round = 0; round < 3; ++round) {
        ORQSrvBasic_initialize(m_tally);
        EXPECT_EQ(m_tally, s_all);
        ORQSrvBasic_finalize(m_tally);
        EXPECT_EQ(m_tally, 0);
    }
}

TEST_F(Module, FinalizeWithoutInitializeOnlyMovesTheCounterAndWraps) {
    ORQSrvBasic_finalize(m_tally);
    EXPECT_EQ(m_tally, 0);
    EXPECT_TRUE(DependenciesAreDead());
    ORQSrvBasic_initialize(m_tally);  // largest value -> 0, which is not a first initialize
    EXPECT_EQ(m_tally, 0);
    EXPECT_TRUE(DependenciesAreDead());
    ORQSrvBasic_initialize(m_tally);
    EXPECT_EQ(m_tally, s_all);
    ORQSrvBasic_finalize(m_tally);
}

TEST_F(Module, SpecificPartIsSharedWithTheFullEntryPoints) {
    ORQSrvBasic_specific_initialize(m_tally);
    EXPECT_EQ(m_tally, 1);
    EXPECT_TRUE(DependenciesAreDead());
    ORQSrvBasic_initialize(m_tally);
    EXPECT_EQ(m_tally, s_all);  // the specific part was not counted again
    ORQSrvBasic_finalize(m_tally);
    EXPECT_EQ(m_tally, 1);
    ORQSrvBasic_specific_finalize(m_tally);
    EXPECT_EQ(m_tally, 0);
}

TEST_F(Module, PlainEntriesShareTheModuleAndATallyOfTheirOwn) {
    ORQSrvBasic_initializeC();
    EXPECT_FALSE(DependenciesAreDead());
    ORQSrvBasic_initialize(m_tally);
    ORQSrvBasic_finalizeC();
    EXPECT_EQ(m_tally, 0);
    EXPECT_FALSE(DependenciesAreDead());
    ORQSrvBasic_finalize(m_tally);
    EXPECT_EQ(m_tally, -s_all);  // the last one out pays, whoever came in first
}

TEST_F(Module, LoaderHasOneReferenceAndIgnoresThreads) {
    EXPECT_EQ(ORQSrvBasic_loaderEntry(ORQSrvLoaderReason::ThreadAttach), 1);
    EXPECT_TRUE(DependenciesAreDead());
    EXPECT_EQ(ORQSrvBasic_loaderEntry(ORQSrvLoaderReason::ProcessAttach), 1);
    EXPECT_EQ(ORQSrvBasic_loaderEntry(ORQSrvLoaderReason::ThreadDetach), 1);
    EXPECT_FALSE(DependenciesAreDead());
    ORQSrvBasic_initialize(m_tally);
    EXPECT_EQ(m_tally, 0);
    EXPECT_EQ(ORQSrvBasic_loaderEntry(ORQSrvLoaderReason::ProcessDetach), 1);
    EXPECT_FALSE(DependenciesAreDead());
    ORQSrvBasic_finalize(m_tally);
}

TEST_F(Module, SubModulesCountApart) {
    ORQSrvSsm_initialize(m_tally);
    ORQSrvKwd_initialize(m_tally);
    ORQSrvKwd_initialize(m_tally);
    EXPECT_EQ(m_tally, 2);
    ORQSrvBasic_initialize(m_tally);
    EXPECT_EQ(m_tally, s_all);
    ORQSrvBasic_finalize(m_tally);
    EXPECT_EQ(m_tally, 2);
    ORQSrvKwd_finalize(m_tally);
    ORQSrvKwd_finalize(m_tally);
    ORQSrvSsm_finalize(m_tally);
    EXPECT_EQ(m_tally, 0);
}

TEST_F(Module, LayersEndWithTheLastUserOfTheirSubModule) {
    ORQSrvFsm_initialize(m_tally);
    ORQSrvBasic_initialize(m_tally);
    ORQSrvBulkShellLayers& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
    EXPECT_EQ(&omi_Singleton<ORQSrvBulkShellLayers>::Instance(), &layers);
    ORQSrvBasic_finalize(m_tally);
    EXPECT_EQ(RegisteredLayers(), &layers);
    ORQSrvFsm_finalize(m_tally);
    EXPECT_EQ(RegisteredLayers(), nullptr);
    EXPECT_EQ(m_tally, 0);

    ORQSrvBulkShellLayers& fresh = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
    EXPECT_EQ(RegisteredLayers(), &fresh);
    omi_SingletonBase<ORQSrvBulkShellLayers>::Finalize();
    omi_SingletonBase<ORQSrvBulkShellLayers>::Finalize();
    EXPECT_EQ(RegisteredLayers(), nullptr);
}

// The others are the host's to end.
TEST_F(Module, OnlyLayersEndWithTheModule) {
    ORQSrvBasic_initialize(m_tally);
    omi_Singleton<ORQSrvBulkShellLayers>::Instance();
    auto& diagnostics = omi_Singleton<ORQSrvDiagnosticsHandler>::Instance();
    auto& areas = omi_Singleton<ORQSrvSurfaceNodalAreas>::Instance();
    ORQSrvBasic_finalize(m_tally);
    EXPECT_EQ(RegisteredLayers(), nullptr);
    EXPECT_EQ(Registered<ORQSrvDiagnosticsHandler>(), &diagnostics);
    EXPECT_EQ(Registered<ORQSrvSurfaceNodalAreas>(), &areas);
    EXPECT_EQ(&omi_Singleton<ORQSrvDiagnosticsHandler>::Instance(), &diagnostics);
    omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();
    omi_SingletonBase<ORQSrvSurfaceNodalAreas>::Finalize();
    EXPECT_EQ(Registered<ORQSrvDiagnosticsHandler>(), nullptr);
}
