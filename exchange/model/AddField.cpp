#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcAddField.h"
#include "ORQObjStep.h"
#include "model/FieldPlan.h"

using namespace orq::exchange;

namespace {

/// The plan of an array by the names of its components, if these are of one field: a variable of the
/// table of output variables, a vector or a tensor; else by their number.
FieldPlan PlanOf(const ORQExcResultArray& array) {
    std::vector<ORQExcResultArray> single;
    for (const std::string& component : array.components) {
        single.push_back(array);
        single.back().name = component;
        single.back().components = {component};
    }
    if (std::vector<FieldPlan> plans = PlanFields(single); plans.size() == 1) {
        plans[0].name = array.name;
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
