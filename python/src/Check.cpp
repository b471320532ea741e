// The checker: rules and findings.
#include "ModelHandle.h"
#include "ORQExcCheck.h"

namespace orqmodel {
namespace {

const char* NameOf(ORQExcFinding::Place place) {
    return place == ORQExcFinding::Place::Node      ? "node"
           : place == ORQExcFinding::Place::Element ? "element"
                                                    : "model";
}

/// (rule, level, object, message, place, members, labels, position) of a finding.
py::tuple ToPython(const ORQExcFinding& finding) {
    std::vector<int> labels;
    for (const ORQExcFinding::Label& label : finding.labels) {
        labels.push_back(label.label);
    }
    return py::make_tuple(finding.rule, ORQExcLevelName(finding.level), finding.object,
                          finding.message, NameOf(finding.place),
                          ToArray(std::span<const int>(finding.members)),
                          ToArray(std::span<const int>(labels)), finding.position);
}

/// Findings, and why some checks could not be made.
py::tuple Check(ModelHandle& handle, std::vector<std::string> only, std::vector<std::string> skip,
                std::map<std::string, double> limits, const py::object& progress) {
    const ORQExcCheckResult result = InLibrary([&] {
        const ModelHandle::InUse inUse(handle);
        ORQExcCheckOptions options;
        options.only = std::move(only);
        options.skip = std::move(skip);
        options.limits.insert(limits.begin(), limits.end());
        options.progress = ProgressTo(progress);
        return ORQExcChecker().Run(handle.Document(), options);
    });
    py::list findings;
    for (const ORQExcFinding& finding : result.findings) {
        findings.append(ToPython(finding));
    }
    py::list failures;
    for (const ORQExcCheckResult::Failure& failure : result.failures) {
        failures.append(failure.text);
    }
    return py::make_tuple(findings, failures);
}

}  // namespace

void DefineCheck(HandleClass& handle) {
    handle.def("check", &Check);
}

}  // namespace orqmodel
