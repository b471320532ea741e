#include "check/Checks.h"

// A row for each file: the function that it defines.
#define ORQ_EXC_CHECKS(ROW)   \
    ROW(DisplayCheck)         \
    ROW(NodeValuesCheck)      \
    ROW(UnusedNodesCheck)     \
    ROW(SidesCheck)           \
    ROW(FarNodesCheck)        \
    ROW(CoincidentNodesCheck) \
    ROW(RepeatedNodesCheck)   \
    ROW(DuplicatesCheck)      \
    ROW(PartsCheck)           \
    ROW(BlocksCheck)          \
    ROW(ElementShapeCheck)    \
    ROW(ShapeLimitsCheck)     \
    ROW(MiddleNodesCheck)     \
    ROW(NormalsCheck)         \
    ROW(RigidElementsCheck)   \
    ROW(SetsCheck)            \
    ROW(SurfacesCheck)        \
    ROW(SectionsCheck)        \
    ROW(LayersCheck)          \
    ROW(ThicknessCheck)       \
    ROW(OrientationsCheck)    \
    ROW(DroppedPliesCheck)    \
    ROW(MaterialsCheck)       \
    ROW(DensitiesCheck)       \
    ROW(ResultsCheck)         \
    ROW(JobsCheck)            \
    ROW(StorageCheck)

namespace orq::exchange {

#define ORQ_EXC_DECLARE(check) ORQExcCheck check();
ORQ_EXC_CHECKS(ORQ_EXC_DECLARE)
#undef ORQ_EXC_DECLARE

std::vector<ORQExcCheck> AllChecks() {
#define ORQ_EXC_CALL(check) check(),
    return {ORQ_EXC_CHECKS(ORQ_EXC_CALL)};
#undef ORQ_EXC_CALL
}

}  // namespace orq::exchange
