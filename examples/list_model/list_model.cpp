// What is in a model database, by the public headers alone.
//
//     list_model NAME.orq
#include <exception>
#include <iostream>

#include "ORQExcMaterials.h"
#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQExcSections.h"
#include "ORQObjDocument.h"
#include "ORQSimDatabase.h"

namespace {

void List(const ORQObjDocument& document) {
    const ORQExcModel model(document);
    for (const auto& block : model.Blocks()) {
        std::cout << "block " << block.name << ": " << block.elements.Size() << " "
                  << block.shape->name << '\n';
    }
    const ORQExcSections sections(document);
    for (const auto& section : sections.Sections()) {
        std::cout << "section " << section.name << ": " << section.elements.Size() << " elements\n";
        for (const auto& layer : sections.Read(section).layers) {
            std::cout << "  layer of " << layer.material << ", ply " << layer.ply << '\n';
        }
    }
    const ORQExcMaterials materials(document);
    for (const auto& material : materials.Materials()) {
        std::cout << "material " << material.name << '\n';
    }
    const ORQExcResults results(document);
    for (const auto& field : results.Fields()) {
        std::cout << "field " << field.name << ": " << field.components.size() << " components\n";
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc != 2) {
            std::cerr << "usage: list_model NAME.orq\n";
            return 2;
        }
        List(ORQObjDocument(ORQSimDatabase::Open(argv[1], ORQSimDatabase::Mode::ReadOnly)));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "list_model: " << error.what() << '\n';
        return 3;
    }
}
