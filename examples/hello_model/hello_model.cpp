// A model made, read again and checked: two shells of three layers, and their displacements.
//
//     hello_model NAME.orq
#include <iostream>

#include "ORQExcAddField.h"
#include "ORQExcCheck.h"
#include "ORQExcHeldMesh.h"
#include "ORQExcMeshWriter.h"
#include "ORQExcResults.h"
#include "ORQExcSections.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimSchema.h"

void Create(const char* name) {
    ORQExcHeldMesh mesh("hello");
    const std::vector<double> points{0, 0, 0, 1, 0, 0, 2, 0, 0, 0, 1, 0, 1, 1, 0, 2, 1, 0};
    mesh.AddNodes(points);
    mesh.AddBlock("plate", "SHELL4", std::vector{0, 1, 4, 3, 1, 2, 5, 4});
    mesh.AddNodeSet("root", {0, 3});
    ORQExcLayup layup{.materials = {{"carbon", 1}},
                      .sections = {{"laminate", 1, {}}},
                      .assignments = {{"plate", 0}}};
    for (const double angle : {45.0, 0.0, 45.0}) {  // from the bottom
        layup.sections[0].layers.push_back({.material = 0, .thickness = 0.2, .angle = angle});
    }
    mesh.SetSections(layup);

    const ORQSimDatabase database = ORQSimDatabase::Create(name);
    ORQSimTransaction transaction(database.ContextID());  // undoes all unless it is committed
    ORQExcReport report;
    ORQExcWriteMesh(mesh, database, transaction, {}, report);
    const ORQObjDocument document(database);
    const ORQObjStepBuilder builder(document);
    const ORQSimPosition step = builder.AddStep("Loading", ORQSimSchema::Step_General);
    ORQExcAddField(document, step, {ORQExcResultArray::Place::Node, "U", {"U1", "U2", "U3"}, {}})
        .Write(builder.AddTimes(step, std::vector{1.0}), ORQExcModel(document).Nodes(), &points[0]);
    transaction.Commit();
}

int main(int argc, char** argv) try {
    const char* name = argc == 2 ? argv[1] : "hello.orq";
    Create(name);
    const ORQObjDocument document(ORQSimDatabase::Open(name, ORQSimDatabase::Mode::ReadOnly));
    const ORQExcModel model(document);
    const ORQExcSections sections(document);
    const ORQExcResults results(document);
    std::cout << model.NumNodes() << " nodes, root of " << model.NodeSets()[0].members.Size();
    std::cout << ", " << sections.Read(sections.Named("laminate")).layers.size() << " layers\n";
    std::vector<double> u(static_cast<std::size_t>(3 * model.NumNodes()));
    results.Read(results.Fields()[0], 0, model.Nodes(), u);
    std::cout << "U1 of the last node: " << u[u.size() - 3] << '\n';
    for (const ORQExcFinding& finding : ORQExcChecker().Run(document).findings) {
        std::cout << finding.rule << ' ' << finding.message << '\n';
    }
} catch (const std::exception& error) {
    std::cerr << "hello_model: " << error.what() << '\n';
    return 3;
}
