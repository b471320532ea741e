#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcAddField.h"
#include "ORQObjStep.h"
#include "model/FieldPlan.h"

using namespace orq::exchange;

namespace {

/// The plan of an array whose components are known to the table of output variables as those of one
/// variable of that name; else of a field that the model defines.
FieldPlan PlanOf(const ORQExcResultArray& array) {
    std::vector<ORQExcResultArray> single;
    for (const std::string& component : array.components) {
        single.push_back(array);
        single.back().name = component;
        single.back().components = {component};
    }
    if (const std::vector<FieldPlan> plans = PlanFields(single);
        plans.size() == 1 && plans[0].name == array.name) {
        return plans[0];
    }
    return PlanFields({&array, 1}).front();
}

}  // namespace

ORQObjMeshedField ORQExcAddField(const ORQObjDocument& document, const ORQSimPosition& step,
                                 const ORQExcResultArray& array) {
    ORQExcResultArray whole = array;
    whole.parts.clear();
    if (whole.components.empty()) {
        whole.components = {whole.name};
    }
    for (const ORQObjMeshedField& known : ORQObjStep(step).GetFieldResults()) {
        if (known.GetName() == ORQString(whole.name)) {
            ORQBasThrowUsage("the step has a field \"" + whole.name + "\" already");
        }
    }
    return AddField(document, step, PlanOf(whole));
}
